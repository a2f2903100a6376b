#pragma once

#include <functional>
#include <mutex>
#include <source_location>
#include <string>
#include <string_view>

namespace tarnel {

enum class ScanLogLevel { debug, info, notice, warning, error, critical };

struct ScanLogLine {
    ScanLogLevel level;
    std::string message;
    std::source_location where;
};

// Where the scanning engine's log lines go. The shell points the sink at the application's
// logger at start-up; until then notice and above go to standard error.
class ScanLog {
public:
    using Sink = std::function<void(const ScanLogLine&)>;

    static ScanLog& shared();

    // An empty sink restores the standard error default.
    void setSink(Sink sink);
    void log(ScanLogLevel level, std::string_view message,
             std::source_location where = std::source_location::current());

private:
    std::mutex mutex_;
    Sink sink_;
};

const char* scanLogLevelName(ScanLogLevel level);

} // namespace tarnel
