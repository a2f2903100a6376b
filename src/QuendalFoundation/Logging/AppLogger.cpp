#include "QuendalFoundation/Logging/AppLogger.h"

#include "QuendalFoundation/Logging/LogPredicate.h"
#include "QuendalFoundation/Logging/LogStore.h"
#include "QuendalFoundation/Runtime/Cancellation.h"

#include <fmt/format.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cxxabi.h>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <system_error>
#include <typeinfo>
#include <unistd.h>

namespace quendal {

namespace {

struct State {
    std::mutex mutex;
    AppLogger::Configuration configuration;
    std::map<std::string, std::string> emojiByFile;
    std::shared_ptr<LogStore> store;
    std::atomic<int> minimumLevel{static_cast<int>(LogLevel::debug)};
    std::atomic<bool> echo{false};
};

State& state()
{
    static State s;
    return s;
}

std::string processName()
{
    std::ifstream in("/proc/self/comm");
    std::string name;
    std::getline(in, name);
    return name.empty() ? "tarnel" : name;
}

std::shared_ptr<LogStore> makeDefaultStore()
{
    if (JournalLogStore::isAvailable())
        return std::make_shared<JournalLogStore>();
    return std::make_shared<JsonLinesLogStore>(JsonLinesLogStore::defaultDirectory(), processName());
}

std::string demangled(const char* name)
{
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> out(abi::__cxa_demangle(name, nullptr, nullptr, &status), std::free);
    return status == 0 && out ? out.get() : name;
}

} // namespace

const char* AppLogger::defaultEmoji(LogLevel level)
{
    switch (level) {
    case LogLevel::debug:
        return "🐞";
    case LogLevel::info:
        return nullptr;
    case LogLevel::notice:
        return "📢";
    case LogLevel::warning:
        return "⚠️";
    case LogLevel::error:
        return "❌";
    case LogLevel::critical:
        return "🔥";
    }
    return nullptr;
}

void AppLogger::configure(std::optional<std::string> subsystem, std::optional<std::string> category,
                          std::optional<std::string> role)
{
    auto& s = state();
    std::lock_guard lock(s.mutex);
    if (subsystem)
        s.configuration.subsystem = std::move(*subsystem);
    if (category)
        s.configuration.category = std::move(*category);
    if (role)
        s.configuration.role = std::move(*role);
}

AppLogger::Configuration AppLogger::configuration()
{
    auto& s = state();
    std::lock_guard lock(s.mutex);
    return s.configuration;
}

void AppLogger::registerEmoji(std::string emoji, std::string file)
{
    auto& s = state();
    std::lock_guard lock(s.mutex);
    s.emojiByFile[std::move(file)] = std::move(emoji);
}

void AppLogger::setStore(std::shared_ptr<LogStore> store)
{
    auto& s = state();
    std::lock_guard lock(s.mutex);
    s.store = std::move(store);
}

std::shared_ptr<LogStore> AppLogger::store()
{
    auto& s = state();
    std::lock_guard lock(s.mutex);
    if (!s.store)
        s.store = makeDefaultStore();
    return s.store;
}

void AppLogger::setMinimumLevel(LogLevel level) { state().minimumLevel = static_cast<int>(level); }
void AppLogger::setEchoToStandardError(bool echo) { state().echo = echo; }

std::string AppLogger::functionName(std::string_view signature)
{
    auto open = signature.find('(');
    auto head = signature.substr(0, open);
    auto colon = head.rfind("::");
    if (colon != std::string_view::npos)
        head = head.substr(colon + 2);
    auto space = head.rfind(' ');
    if (space != std::string_view::npos)
        head = head.substr(space + 1);
    return std::string(head) + "()";
}

namespace {

// What one line needs of the shared state, copied under the lock in one go.
struct LineContext {
    AppLogger::Configuration configuration;
    std::optional<std::string> registeredEmoji;
};

LineContext lineContext(std::string_view file)
{
    auto& s = state();
    std::lock_guard lock(s.mutex);
    LineContext context{s.configuration, std::nullopt};
    if (auto it = s.emojiByFile.find(std::string(file)); it != s.emojiByFile.end())
        context.registeredEmoji = it->second;
    return context;
}

std::string composeLine(const LineContext& context, LogLevel level, std::string_view message, const char* label,
                        std::string_view file, std::string_view function, unsigned line)
{
    std::string prefix;
    auto part = [&](std::string_view p) {
        if (!p.empty())
            prefix += fmt::format("[{}]", p);
    };
    part(context.configuration.role.value_or(""));
    part(context.configuration.category);
    if (label && *label)
        part(std::string("flow:") + label);
    if (!prefix.empty())
        prefix += ' ';
    const char* emoji = context.registeredEmoji ? context.registeredEmoji->c_str() : AppLogger::defaultEmoji(level);
    if (!emoji)
        return prefix + std::string(message);
    const auto fileName = std::filesystem::path(std::string(file)).filename().string();
    return fmt::format("{}{} [{}:{}] {} {}", prefix, emoji, fileName, line, function, message);
}

} // namespace

std::string AppLogger::lineText(LogLevel level, std::string_view message, const char* label, std::string_view file,
                                std::string_view function, unsigned line)
{
    return composeLine(lineContext(file), level, message, label, file, function, line);
}

void AppLogger::log(LogLevel level, std::string_view message, const char* label, Where where)
{
    auto& s = state();
    if (static_cast<int>(level) < s.minimumLevel.load())
        return;
    const auto context = lineContext(where.file_name());
    LogRecord record;
    record.text = composeLine(context, level, message, label, where.file_name(), functionName(where.function_name()),
                              where.line());
    record.level = level;
    record.unixTime = std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
    record.subsystem = context.configuration.subsystem;
    record.category = context.configuration.category;
    static const std::string process = processName();
    record.process = process;
    record.pid = ::getpid();
    if (s.echo)
        std::fprintf(stderr, "%s\n", record.text.c_str());
    store()->write(record);
}

void AppLogger::debug(std::string_view m, const char* l, Where w) { log(LogLevel::debug, m, l, w); }
void AppLogger::info(std::string_view m, const char* l, Where w) { log(LogLevel::info, m, l, w); }
void AppLogger::notice(std::string_view m, const char* l, Where w) { log(LogLevel::notice, m, l, w); }
void AppLogger::warning(std::string_view m, const char* l, Where w) { log(LogLevel::warning, m, l, w); }
void AppLogger::error(std::string_view m, const char* l, Where w) { log(LogLevel::error, m, l, w); }
void AppLogger::critical(std::string_view m, const char* l, Where w) { log(LogLevel::critical, m, l, w); }
void AppLogger::error(const std::exception& failure, const char* l, Where w) { log(LogLevel::error, errorText(failure), l, w); }

bool AppLogger::errorUnlessCancelled(std::exception_ptr failure, std::string_view operation, std::string_view unknown,
                                     Where where)
{
    if (isCancellation(failure))
        return true;
    try {
        std::rethrow_exception(failure);
    } catch (const std::exception& e) {
        log(LogLevel::error, operation.empty() ? errorText(e) : std::string(operation) + " " + errorText(e), nullptr, where);
    } catch (...) {
        log(LogLevel::error, unknown, nullptr, where);
    }
    return false;
}

std::string AppLogger::errorText(const std::exception& failure)
{
    // T: the dynamic type; D: what the error prints; L: its description for people; N: the
    // description of the error as a system error.
    const auto type = demangled(typeid(failure).name());
    const std::string printed = failure.what();
    const auto* systemError = dynamic_cast<const std::system_error*>(&failure);
    if (printed.empty() || printed == type || printed == "std::exception") {
        const auto described = systemError ? systemError->code().message()
                                           : fmt::format("The operation could not be completed. ({})", type);
        return fmt::format("{}: {}", type, described);
    }
    return fmt::format("{}: {} – {}", type, printed, systemError ? systemError->code().message() : printed);
}

std::string AppLogger::predicate(const std::vector<LogSource>& sources)
{
    auto escaped = [](const std::string& value) {
        std::string out;
        for (char c : value) {
            if (c == '\\')
                out += "\\\\";
            else if (c == '"')
                out += "\\\"";
            else
                out += c;
        }
        return out;
    };
    std::vector<std::string> terms;
    for (const auto& source : sources) {
        if (source.subsystem && !source.subsystem->empty())
            terms.push_back(fmt::format("(subsystem == \"{}\")", escaped(*source.subsystem)));
        if (source.process && !source.process->empty())
            terms.push_back(fmt::format("(process == \"{}\")", escaped(*source.process)));
    }
    if (terms.empty())
        return "eventType == logEvent";
    return fmt::format("{}", fmt::join(terms, " OR "));
}

std::vector<std::string> AppLogger::collectLogs(const std::string& predicate, int lastHours,
                                                std::optional<std::size_t> maxEntries)
{
    return store()->read(LogPredicate::parse(predicate), lastHours, maxEntries);
}

} // namespace quendal
