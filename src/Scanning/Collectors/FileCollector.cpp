#include "Scanning/Collectors/FileCollector.h"

namespace tarnel {

void FileCollector::collect(const std::shared_ptr<FileNode>& node)
{
    std::lock_guard lock(mutex_);
    if (!evaluator(*node))
        return;
    files_.push_back(node);
    if (didCollectFileCallback_)
        didCollectFileCallback_(files_);
}

FileCollector::Files FileCollector::files() const
{
    std::lock_guard lock(mutex_);
    return files_;
}

void FileCollector::setDidCollectFileCallback(Callback callback)
{
    std::lock_guard lock(mutex_);
    didCollectFileCallback_ = std::move(callback);
}

} // namespace tarnel
