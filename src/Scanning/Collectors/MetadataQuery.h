#pragma once

#include "Scanning/Collectors/FileCollector.h"
#include "Scanning/Procedures/Procedure.h"
#include "Scanning/Procedures/ProcedureOutput.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel {

class DiskScanner;

// A question for the metadata index: a filter on a file's name or size.
struct MetadataQuery {
    std::function<bool(const FileNode&)> matches;

    // A file-name pattern with * and ?, compared without regard to ASCII case.
    static MetadataQuery fileNameLike(std::string pattern);
    // Files strictly larger than `bytes`.
    static MetadataQuery sizeGreaterThan(std::int64_t bytes);
};

// Whether `name` matches the glob `pattern` (* any run, ? one byte), ignoring ASCII case.
bool fileNameMatches(std::string_view pattern, std::string_view name);

// Linux keeps no index of file metadata, so the queries of a scan are answered by one walk of
// the home folder. Every query is added before the first is asked; the first to ask runs the
// walk for all, and the others get their answer when it ends. Shared by the queries of a scan.
class HomeQueryWalk {
public:
    using Answer = std::function<void(FileCollector::Files)>;
    using Ticket = std::size_t;

    explicit HomeQueryWalk(std::string home);
    ~HomeQueryWalk();
    HomeQueryWalk(const HomeQueryWalk&) = delete;
    HomeQueryWalk& operator=(const HomeQueryWalk&) = delete;

    const std::string& home() const { return home_; }
    // The home path plus the cloud-synchronised folders whose files are never answered; a plain
    // text prefix, so "~/OneDrive Backup" is left out too.
    const std::vector<std::string>& excludedPaths() const { return excludedPaths_; }

    // Throws std::logic_error once the walk has started: its answer could not hold the query.
    Ticket add(MetadataQuery query);
    // Hands `answer` the query's files, largest first, once the walk has ended. The first call
    // runs the walk on the calling thread; later ones return at once and are answered by it.
    void ask(Ticket ticket, Answer answer);
    // The query wants no answer; the walk stops when no query is left waiting.
    void withdraw(Ticket ticket);

    int walksRun() const;
    // True once the walk has ended and every answer was handed out.
    bool walkEnded() const;

private:
    class QueryCollector;
    enum class State { gathering, walking, done };
    struct Match {
        std::string path;
        std::int64_t size;
    };
    struct Entry {
        MetadataQuery query;
        Answer answer;
        bool withdrawn = false;
        std::vector<Match> matches;
    };

    void walk();
    FileCollector::Files answerFor(const Entry& entry) const;

    const std::string home_;
    const std::vector<std::string> excludedPaths_;
    mutable std::mutex mutex_;
    State state_ = State::gathering;
    std::vector<Entry> entries_;
    std::shared_ptr<DiskScanner> scanner_;
    int walksRun_ = 0;
    bool delivered_ = false;
};

// One query of the home folder. Its output: a node for each matching file outside the
// excluded folders, with its full path, its size and type file, no parent, largest first.
// Cancelled while it waits, it finishes at once.
class MetadataQueryProcedure : public Procedure, public ProcedureOutput<FileCollector::Files> {
public:
    MetadataQueryProcedure(MetadataQuery query, std::shared_ptr<HomeQueryWalk> index);

    const std::vector<std::string>& excludedPaths() const { return index_->excludedPaths(); }

protected:
    void execute() override;
    void procedureDidCancel(Error error) override;

private:
    std::shared_ptr<HomeQueryWalk> index_;
    HomeQueryWalk::Ticket ticket_;
};

} // namespace tarnel
