#include "QuendalFoundation/Logging/LogStore.h"

#include <charconv>
#include <chrono>
#include <deque>
#include <filesystem>
#include <memory>
#include <string_view>
#include <system_error>

#ifdef TARNEL_HAS_JOURNAL
#include <systemd/sd-journal.h>
#endif

namespace quendal {

#ifdef TARNEL_HAS_JOURNAL
namespace {
int number(const std::string& text)
{
    int value = -1;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

constexpr int syslogPriority(LogLevel level)
{
    switch (level) {
    case LogLevel::debug:
        return 7;
    case LogLevel::info:
        return 6;
    case LogLevel::notice:
        return 5;
    case LogLevel::warning:
        return 4;
    case LogLevel::error:
        return 3;
    case LogLevel::critical:
        return 2;
    }
    return 6;
}
} // namespace
#endif

bool JournalLogStore::isAvailable()
{
#ifdef TARNEL_HAS_JOURNAL
    std::error_code ec;
    return std::filesystem::exists("/run/systemd/journal/socket", ec);
#else
    return false;
#endif
}

void JournalLogStore::write(const LogRecord& record)
{
#ifdef TARNEL_HAS_JOURNAL
    sd_journal_send("MESSAGE=%s", record.text.c_str(), "PRIORITY=%d", syslogPriority(record.level),
                    "SYSLOG_IDENTIFIER=%s", record.process.c_str(), "TARNEL_PROCESS=%s", record.process.c_str(),
                    "TARNEL_SUBSYSTEM=%s", record.subsystem.c_str(),
                    "TARNEL_CATEGORY=%s", record.category.c_str(), "TARNEL_LEVEL=%s", levelName(record.level), nullptr);
#else
    (void)record;
#endif
}

std::vector<std::string> JournalLogStore::read(const LogPredicate& predicate, double hours,
                                               std::optional<std::size_t> maxEntries)
{
    std::deque<std::string> lines;
#ifdef TARNEL_HAS_JOURNAL
    sd_journal* journal = nullptr;
    if (int error = sd_journal_open(&journal, SD_JOURNAL_LOCAL_ONLY); error < 0)
        throw std::system_error(-error, std::generic_category(), "opening the journal");
    std::unique_ptr<sd_journal, decltype(&sd_journal_close)> closer(journal, &sd_journal_close);
    auto field = [&](const char* name) -> std::string {
        const void* data = nullptr;
        size_t length = 0;
        if (sd_journal_get_data(journal, name, &data, &length) < 0)
            return {};
        std::string_view text(static_cast<const char*>(data), length);
        auto eq = text.find('=');
        return eq == std::string_view::npos ? std::string() : std::string(text.substr(eq + 1));
    };
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto cutoff = static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(now).count()) -
                        static_cast<std::uint64_t>(hours * 3600e6);
    // From the newest backwards, so a bounded read stops early.
    sd_journal_seek_tail(journal);
    while (sd_journal_previous(journal) > 0) {
        std::uint64_t usec = 0;
        if (sd_journal_get_realtime_usec(journal, &usec) < 0 || usec < cutoff)
            break;
        LogRecord r;
        r.subsystem = field("TARNEL_SUBSYSTEM");
        if (r.subsystem.empty())
            continue; // not one of ours
        r.unixTime = static_cast<double>(usec) / 1e6;
        r.category = field("TARNEL_CATEGORY");
        r.process = field("TARNEL_PROCESS");
        r.text = field("MESSAGE");
        r.pid = static_cast<pid_t>(number(field("_PID")));
        const int priority = number(field("PRIORITY"));
        for (int l = 0; l <= 5; ++l)
            if (priority == syslogPriority(static_cast<LogLevel>(l)))
                r.level = static_cast<LogLevel>(l);
        if (!predicate.matches(r))
            continue;
        lines.push_front(syslogLine(r));
        if (maxEntries && lines.size() >= *maxEntries)
            break;
    }
#else
    (void)predicate;
    (void)hours;
    (void)maxEntries;
#endif
    return {lines.begin(), lines.end()};
}

} // namespace quendal
