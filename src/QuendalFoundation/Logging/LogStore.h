#pragma once

#include "QuendalFoundation/Logging/LogPredicate.h"
#include "QuendalFoundation/Logging/LogRecord.h"

#include <cstddef>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace quendal {

// Where log lines go and are read back from.
class LogStore {
public:
    virtual ~LogStore() = default;
    virtual void write(const LogRecord& record) = 0;
    // Lines matching `predicate` from the last `hours`, oldest first; with `maxEntries` only
    // the newest that many, without holding more than that in memory.
    virtual std::vector<std::string> read(const LogPredicate& predicate, double hours, std::optional<std::size_t> maxEntries) = 0;
};

// JSON lines in one file per process, for machines without a journal. Each file is capped:
// past `maximumBytes` it is rotated to "<name>.1", replacing the older backup.
class JsonLinesLogStore final : public LogStore {
public:
    JsonLinesLogStore(std::filesystem::path directory, std::string process, std::uintmax_t maximumBytes = 8u << 20);

    void write(const LogRecord& record) override;
    std::vector<std::string> read(const LogPredicate& predicate, double hours, std::optional<std::size_t> maxEntries) override;

    // $XDG_STATE_HOME/tarnel/logs, or ~/.local/state/tarnel/logs.
    static std::filesystem::path defaultDirectory();
    const std::filesystem::path& file() const { return file_; }

private:
    std::filesystem::path directory_;
    std::filesystem::path file_;
    std::uintmax_t maximumBytes_;
    std::mutex mutex_;
};

// journald through sd-journal, with the fields TARNEL_SUBSYSTEM, TARNEL_CATEGORY, TARNEL_PROCESS and
// TARNEL_LEVEL beside the standard ones.
class JournalLogStore final : public LogStore {
public:
    static bool isAvailable();
    void write(const LogRecord& record) override;
    std::vector<std::string> read(const LogPredicate& predicate, double hours, std::optional<std::size_t> maxEntries) override;
};

} // namespace quendal
