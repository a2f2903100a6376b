#include "QuendalFoundation/Logging/LogRecord.h"

#include <fmt/format.h>

#include <array>
#include <cmath>
#include <ctime>

namespace quendal {

const char* levelName(LogLevel level)
{
    static constexpr std::array names{"Debug", "Info", "Notice", "Warning", "Error", "Critical"};
    return names[static_cast<std::size_t>(level)];
}

std::string syslogLine(const LogRecord& record)
{
    const auto seconds = static_cast<std::time_t>(std::floor(record.unixTime));
    const auto micros = static_cast<int>((record.unixTime - std::floor(record.unixTime)) * 1e6);
    std::tm utc{};
    ::gmtime_r(&seconds, &utc);
    char stamp[32];
    std::strftime(stamp, sizeof stamp, "%Y-%m-%d %H:%M:%S", &utc);
    return fmt::format("{}.{:06d}+0000  {}[{}] <{}> ({}) [{}] {}", stamp, micros, record.process, record.pid,
                       levelName(record.level), record.subsystem, record.category, record.text);
}

} // namespace quendal
