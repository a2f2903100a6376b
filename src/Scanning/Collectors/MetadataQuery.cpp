#include "Scanning/Collectors/MetadataQuery.h"

#include "Scanning/Walker/DiskScanner.h"

#include <algorithm>
#include <stdexcept>

namespace tarnel {

namespace {

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

} // namespace

bool fileNameMatches(std::string_view pattern, std::string_view name)
{
    // Greedy glob with one backtrack point: the last star seen.
    std::size_t p = 0, n = 0, star = std::string_view::npos, resume = 0;
    while (n < name.size()) {
        if (p < pattern.size() && (pattern[p] == '?' || lower(pattern[p]) == lower(name[n]))) {
            ++p;
            ++n;
        } else if (p < pattern.size() && pattern[p] == '*') {
            star = p++;
            resume = n;
        } else if (star != std::string_view::npos) {
            p = star + 1;
            n = ++resume;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && pattern[p] == '*')
        ++p;
    return p == pattern.size();
}

MetadataQuery MetadataQuery::fileNameLike(std::string pattern)
{
    return {[pattern = std::move(pattern)](const FileNode& node) { return fileNameMatches(pattern, node.name()); }};
}

MetadataQuery MetadataQuery::sizeGreaterThan(std::int64_t bytes)
{
    return {[bytes](const FileNode& node) { return node.size() > bytes; }};
}

// Shows each node to every query under one lock, not one lock per query.
class HomeQueryWalk::QueryCollector : public FileCollector {
public:
    explicit QueryCollector(std::vector<MetadataQuery> queries)
        : queries_(std::move(queries)), found_(queries_.size())
    {
    }
    std::string name() const override { return "metadataQuery"; }
    // Read after the walk.
    std::vector<Match> take(std::size_t index) { return std::move(found_[index]); }

protected:
    bool evaluator(const FileNode& node) override
    {
        for (std::size_t i = 0; i < queries_.size(); ++i)
            if (queries_[i].matches(node))
                found_[i].push_back(Match{node.path(), node.size()});
        return false;
    }

private:
    std::vector<MetadataQuery> queries_;
    std::vector<std::vector<Match>> found_;
};

HomeQueryWalk::HomeQueryWalk(std::string home)
    : home_(normalizedDirectoryPath(std::move(home))),
      excludedPaths_{home_ + "/OneDrive", home_ + "/Documents/OneDrive", home_ + "/Dropbox"}
{
}

HomeQueryWalk::~HomeQueryWalk() = default;

HomeQueryWalk::Ticket HomeQueryWalk::add(MetadataQuery query)
{
    std::lock_guard lock(mutex_);
    if (state_ != State::gathering)
        throw std::logic_error("a query of the home folder was added after its walk had started");
    entries_.push_back(Entry{std::move(query), {}, false, {}});
    return entries_.size() - 1;
}

void HomeQueryWalk::ask(Ticket ticket, Answer answer)
{
    std::unique_lock lock(mutex_);
    auto& entry = entries_.at(ticket);
    if (state_ == State::done) {
        auto files = answerFor(entry);
        lock.unlock();
        answer(std::move(files));
        return;
    }
    entry.answer = std::move(answer);
    if (state_ == State::walking)
        return;
    state_ = State::walking;
    lock.unlock();
    walk();
}

void HomeQueryWalk::withdraw(Ticket ticket)
{
    std::lock_guard lock(mutex_);
    auto& entry = entries_.at(ticket);
    entry.withdrawn = true;
    entry.answer = nullptr;
    bool anyWaiting = std::any_of(entries_.begin(), entries_.end(), [](const Entry& e) { return !e.withdrawn; });
    if (!anyWaiting && scanner_)
        scanner_->cancel();
}

int HomeQueryWalk::walksRun() const
{
    std::lock_guard lock(mutex_);
    return walksRun_;
}

bool HomeQueryWalk::walkEnded() const
{
    std::lock_guard lock(mutex_);
    return state_ == State::done && delivered_;
}

void HomeQueryWalk::walk()
{
    std::shared_ptr<QueryCollector> collector;
    auto scanner = std::make_shared<DiskScanner>();
    {
        std::lock_guard lock(mutex_);
        std::vector<MetadataQuery> queries;
        for (const auto& entry : entries_)
            queries.push_back(entry.query);
        collector = std::make_shared<QueryCollector>(std::move(queries));
        scanner_ = scanner;
        ++walksRun_;
        if (std::all_of(entries_.begin(), entries_.end(), [](const Entry& e) { return e.withdrawn; }))
            scanner->cancel();
    }
    // The index looks inside application folders too.
    scanner->settings.searchBundles = true;
    scanner->collectors = {collector};
    scanner->walk(std::make_shared<FileNode>(home_, nullptr, 0, FileNode::NodeType::directory));

    std::vector<std::pair<Answer, FileCollector::Files>> deliveries;
    {
        std::lock_guard lock(mutex_);
        scanner_.reset();
        state_ = State::done;
        for (std::size_t i = 0; i < entries_.size(); ++i) {
            auto& entry = entries_[i];
            entry.matches = collector->take(i);
            if (entry.answer && !entry.withdrawn)
                deliveries.emplace_back(std::move(entry.answer), answerFor(entry));
        }
    }
    for (auto& [answer, files] : deliveries)
        answer(std::move(files));
    std::lock_guard lock(mutex_);
    delivered_ = true;
}

FileCollector::Files HomeQueryWalk::answerFor(const Entry& entry) const
{
    FileCollector::Files answer;
    answer.reserve(entry.matches.size());
    for (const auto& match : entry.matches) {
        bool excluded = std::any_of(excludedPaths_.begin(), excludedPaths_.end(),
                                    [&match](const std::string& prefix) { return match.path.starts_with(prefix); });
        if (!excluded)
            answer.push_back(std::make_shared<FileNode>(match.path, nullptr, match.size, FileNode::NodeType::file));
    }
    std::stable_sort(answer.begin(), answer.end(), [](const auto& a, const auto& b) { return a->size() > b->size(); });
    return answer;
}

MetadataQueryProcedure::MetadataQueryProcedure(MetadataQuery query, std::shared_ptr<HomeQueryWalk> index)
    : index_(std::move(index)), ticket_(index_->add(std::move(query)))
{
    setQualityOfService(QualityOfService::userInitiated);
}

void MetadataQueryProcedure::execute()
{
    std::weak_ptr<Procedure> weak = shared_from_this();
    index_->ask(ticket_, [this, weak](FileCollector::Files files) {
        auto self = weak.lock();
        if (!self)
            return;
        setOutputValue(std::move(files));
        finish();
    });
}

// The walk may go on for other queries; this one wants no answer and ends now.
void MetadataQueryProcedure::procedureDidCancel(Error)
{
    index_->withdraw(ticket_);
    if (isExecuting())
        finish();
}

} // namespace tarnel
