#include "Scanning/ScanLog.h"

#include <cstdio>

namespace tarnel {

ScanLog& ScanLog::shared()
{
    static ScanLog log;
    return log;
}

void ScanLog::setSink(Sink sink)
{
    std::lock_guard lock(mutex_);
    sink_ = std::move(sink);
}

void ScanLog::log(ScanLogLevel level, std::string_view message, std::source_location where)
{
    Sink sink;
    {
        std::lock_guard lock(mutex_);
        sink = sink_;
    }
    ScanLogLine line{level, std::string(message), where};
    if (sink) {
        sink(line);
        return;
    }
    if (level >= ScanLogLevel::notice)
        std::fprintf(stderr, "[%s] %s\n", scanLogLevelName(level), line.message.c_str());
}

const char* scanLogLevelName(ScanLogLevel level)
{
    switch (level) {
    case ScanLogLevel::debug: return "debug";
    case ScanLogLevel::info: return "info";
    case ScanLogLevel::notice: return "notice";
    case ScanLogLevel::warning: return "warning";
    case ScanLogLevel::error: return "error";
    case ScanLogLevel::critical: return "critical";
    }
    return "unknown";
}

} // namespace tarnel
