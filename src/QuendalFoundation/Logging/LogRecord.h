#pragma once

#include <cstdint>
#include <string>
#include <sys/types.h>

namespace quendal {

enum class LogLevel { debug, info, notice, warning, error, critical };

// One line of the log as a store keeps it.
struct LogRecord {
    double unixTime = 0;
    LogLevel level = LogLevel::info;
    std::string subsystem;
    std::string category;
    std::string process;
    pid_t pid = 0;
    std::string text;
};

const char* levelName(LogLevel level);
// The line as read back: "<date time>  <process>[<pid>] <level> (<subsystem>) [<category>] <text>".
std::string syslogLine(const LogRecord& record);

} // namespace quendal
