#include "QuendalFoundation/Logging/LogStore.h"
#include "QuendalFoundation/Logging/ReverseLineReader.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <map>
#include <fcntl.h>
#include <unistd.h>

namespace quendal {

namespace {

double nowUnix()
{
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

std::optional<LogRecord> parseRecord(const std::string& line)
{
    auto json = nlohmann::json::parse(line, nullptr, false);
    if (json.is_discarded() || !json.is_object())
        return std::nullopt;
    try {
        LogRecord r;
        r.unixTime = json.at("time").get<double>();
        r.level = static_cast<LogLevel>(std::clamp(json.at("level").get<int>(), 0, 5));
        r.subsystem = json.value("subsystem", "");
        r.category = json.value("category", "");
        r.process = json.value("process", "");
        r.pid = json.value("pid", 0);
        r.text = json.value("text", "");
        return r;
    } catch (const nlohmann::json::exception&) {
        return std::nullopt;
    }
}

} // namespace

JsonLinesLogStore::JsonLinesLogStore(std::filesystem::path directory, std::string process, std::uintmax_t maximumBytes)
    : directory_(std::move(directory)), file_(directory_ / (process + ".jsonl")), maximumBytes_(maximumBytes)
{
}

std::filesystem::path JsonLinesLogStore::defaultDirectory()
{
    if (const char* state = std::getenv("XDG_STATE_HOME"); state && *state)
        return std::filesystem::path(state) / "tarnel" / "logs";
    const char* home = std::getenv("HOME");
    return std::filesystem::path(home && *home ? home : "/tmp") / ".local" / "state" / "tarnel" / "logs";
}

void JsonLinesLogStore::write(const LogRecord& record)
{
    nlohmann::json json{{"time", record.unixTime},   {"level", static_cast<int>(record.level)},
                        {"subsystem", record.subsystem}, {"category", record.category},
                        {"process", record.process}, {"pid", record.pid},
                        {"text", record.text}};
    auto line = json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
    std::lock_guard lock(mutex_);
    std::error_code ec;
    std::filesystem::create_directories(directory_, ec);
    if (auto size = std::filesystem::file_size(file_, ec); !ec && size + line.size() > maximumBytes_) {
        auto backup = file_;
        backup += ".1";
        std::filesystem::rename(file_, backup, ec);
    }
    // O_APPEND keeps lines of several threads and processes whole.
    int fd = ::open(file_.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    if (fd < 0)
        return; // a log that cannot be written must not take the program down
    [[maybe_unused]] auto written = ::write(fd, line.data(), line.size());
    ::close(fd);
}

std::vector<std::string> JsonLinesLogStore::read(const LogPredicate& predicate, double hours,
                                                 std::optional<std::size_t> maxEntries)
{
    const double cutoff = nowUnix() - hours * 3600.0;
    // Each process appends to its own file, so a file and then its backup run newest-first
    // when read backwards; the newest lines overall are among the newest of each file.
    std::map<std::string, std::vector<std::filesystem::path>> sequences;
    std::error_code ec;
    for (const auto& entry : std::filesystem::directory_iterator(directory_, ec)) {
        const auto name = entry.path().filename().string();
        if (name.ends_with(".jsonl"))
            sequences[name].insert(sequences[name].begin(), entry.path());
        else if (name.ends_with(".jsonl.1"))
            sequences[name.substr(0, name.size() - 2)].push_back(entry.path());
    }
    std::vector<LogRecord> matched;
    for (const auto& [name, files] : sequences) {
        std::size_t taken = 0;
        bool done = false;
        for (const auto& path : files) {
            ReverseLineReader reader(path);
            while (!done) {
                auto line = reader.previous();
                if (!line)
                    break;
                // Files are capped, so reading past the window costs little, and a clock set
                // back does not hide the lines behind it.
                auto record = parseRecord(*line);
                if (!record || record->unixTime < cutoff || !predicate.matches(*record))
                    continue;
                matched.push_back(std::move(*record));
                done = maxEntries && ++taken >= *maxEntries;
            }
            if (done)
                break;
        }
    }
    std::stable_sort(matched.begin(), matched.end(), [](const auto& a, const auto& b) { return a.unixTime < b.unixTime; });
    if (maxEntries && matched.size() > *maxEntries)
        matched.erase(matched.begin(), matched.begin() + static_cast<std::ptrdiff_t>(matched.size() - *maxEntries));
    std::vector<std::string> lines;
    lines.reserve(matched.size());
    for (const auto& r : matched)
        lines.push_back(syslogLine(r));
    return lines;
}

} // namespace quendal
