#include "Scanning/Collectors/SearchFileCollector.h"

namespace tarnel {

bool SearchFileCollector::evaluator(const FileNode& node)
{
    evaluatedCount_.fetch_add(1);
    for (const auto& evaluate : evaluators_)
        if (!evaluate(node))
            return false;
    return true;
}

} // namespace tarnel
