#pragma once

#include "Scanning/Collectors/FileCollector.h"

#include <atomic>
#include <cstdint>

namespace tarnel {

// Keeps the nodes that every evaluator accepts; counts each node it looks at.
class SearchFileCollector : public FileCollector {
public:
    using Evaluator = std::function<bool(const FileNode&)>;

    explicit SearchFileCollector(std::vector<Evaluator> evaluators) : evaluators_(std::move(evaluators)) {}

    std::string name() const override { return "search"; }
    // Readable from any thread during the walk.
    std::int64_t evaluatedCount() const { return evaluatedCount_.load(); }

protected:
    bool evaluator(const FileNode& node) override;

private:
    std::vector<Evaluator> evaluators_;
    std::atomic<std::int64_t> evaluatedCount_{0};
};

} // namespace tarnel
