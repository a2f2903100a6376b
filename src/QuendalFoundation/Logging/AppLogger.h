#pragma once

#include "QuendalFoundation/Logging/LogRecord.h"

#include <exception>
#include <memory>
#include <optional>
#include <source_location>
#include <string>
#include <string_view>
#include <vector>

namespace quendal {

class LogStore;

// The one logging door of every program of Tarnel. Lines carry the caller's file, function and
// line, taken at the call site by default arguments.
class AppLogger {
public:
    struct Configuration {
        std::string subsystem = "com.quendal.app";
        std::optional<std::string> role;
        std::string category = "main";
    };
    struct LogSource {
        std::optional<std::string> subsystem;
        std::optional<std::string> process;
    };

    // Labels in use.
    static constexpr const char* lifecycle = "lifecycle";
    static constexpr const char* daemon = "daemon";
    static constexpr const char* xpc = "xpc";
    static constexpr const char* monitor = "monitor";

    using Where = std::source_location;

    static void configure(std::optional<std::string> subsystem, std::optional<std::string> category = std::nullopt,
                          std::optional<std::string> role = std::nullopt);
    static Configuration configuration();
    // The emoji of every line logged from `file`, by default the calling file.
    static void registerEmoji(std::string emoji, std::string file = Where::current().file_name());
    // Where lines go; by default journald where it runs, else the JSON-lines store.
    static void setStore(std::shared_ptr<LogStore> store);
    static std::shared_ptr<LogStore> store();
    // The lowest level written; below it a line costs only its string building.
    static void setMinimumLevel(LogLevel level);
    // Echo every line to standard error as well (the daemon in a terminal).
    static void setEchoToStandardError(bool echo);

    static void debug(std::string_view message, const char* label = nullptr, Where where = Where::current());
    static void info(std::string_view message, const char* label = nullptr, Where where = Where::current());
    static void notice(std::string_view message, const char* label = nullptr, Where where = Where::current());
    static void warning(std::string_view message, const char* label = nullptr, Where where = Where::current());
    static void error(std::string_view message, const char* label = nullptr, Where where = Where::current());
    static void critical(std::string_view message, const char* label = nullptr, Where where = Where::current());
    // One error-level line that describes the error.
    static void error(const std::exception& failure, const char* label = nullptr, Where where = Where::current());
    // How a followed stream ended: nothing for a cancellation (true), else an error line, the
    // error's text after `operation` when one is named, or `unknown` for a non-standard error.
    static bool errorUnlessCancelled(std::exception_ptr failure, std::string_view operation, std::string_view unknown,
                                     Where where = Where::current());
    static void log(LogLevel level, std::string_view message, const char* label, Where where);

    // The text of a line as it is written.
    static std::string lineText(LogLevel level, std::string_view message, const char* label, std::string_view file,
                                std::string_view function, unsigned line);
    static std::string errorText(const std::exception& failure);
    static std::string predicate(const std::vector<LogSource>& sources);
    // Reads lines back from the store; throws PredicateSyntaxError for a bad predicate.
    static std::vector<std::string> collectLogs(const std::string& predicate, int lastHours,
                                                std::optional<std::size_t> maxEntries);

    static const char* defaultEmoji(LogLevel level);
    // "start()" from the compiler's full signature of a function.
    static std::string functionName(std::string_view signature);
};

} // namespace quendal
