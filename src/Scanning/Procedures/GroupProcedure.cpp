#include "Scanning/Procedures/GroupProcedure.h"

namespace tarnel {

GroupProcedure::GroupProcedure(std::vector<std::shared_ptr<Procedure>> operations)
    : children_(std::move(operations))
{
}

GroupProcedure::GroupProcedure(DisableAutomaticFinishing tag, std::vector<std::shared_ptr<Procedure>> operations)
    : Procedure(tag), children_(std::move(operations))
{
}

void GroupProcedure::addChildren(const std::vector<std::shared_ptr<Procedure>>& children)
{
    bool executing = false;
    {
        std::lock_guard lock(childrenMutex_);
        children_.insert(children_.end(), children.begin(), children.end());
        executing = executing_;
        if (executing)
            unfinished_ += children.size();
    }
    if (executing) {
        if (isCancelled())
            for (const auto& child : children)
                child->cancel();
        track(children);
        queue_.addOperations(children);
    }
}

std::vector<std::shared_ptr<Procedure>> GroupProcedure::children() const
{
    std::lock_guard lock(childrenMutex_);
    return children_;
}

void GroupProcedure::execute()
{
    std::vector<std::shared_ptr<Procedure>> children;
    {
        std::lock_guard lock(childrenMutex_);
        executing_ = true;
        children = children_;
        unfinished_ = children.size();
    }
    if (children.empty()) {
        if (!isAutomaticFinishingDisabled())
            finish();
        return;
    }
    track(children);
    queue_.addOperations(children);
}

void GroupProcedure::track(const std::vector<std::shared_ptr<Procedure>>& children)
{
    std::weak_ptr<Procedure> weak = weak_from_this();
    for (const auto& child : children)
        child->whenFinished([weak] {
            if (auto self = std::static_pointer_cast<GroupProcedure>(weak.lock()))
                self->childDidFinish();
        });
}

void GroupProcedure::childDidFinish()
{
    {
        std::lock_guard lock(childrenMutex_);
        if (unfinished_ == 0 || --unfinished_ > 0)
            return;
    }
    if (!isAutomaticFinishingDisabled())
        finish();
}

void GroupProcedure::procedureDidCancel(Error)
{
    for (const auto& child : children())
        child->cancel();
}

} // namespace tarnel
