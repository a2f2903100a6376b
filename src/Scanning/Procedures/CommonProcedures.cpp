#include "Scanning/Procedures/CommonProcedures.h"

#include "Scanning/Procedures/EventExecutor.h"

#include <asio/post.hpp>

namespace tarnel {

std::shared_ptr<BlockProcedure> makeNoOpProcedure()
{
    return std::make_shared<BlockProcedure>(BlockProcedure::Storage::asSelf([](BlockProcedure& self) {
        if (self.isCancelled()) {
            self.finish();
            return;
        }
        auto strong = self.shared_from_this();
        asio::post(engineEventExecutor(), [strong] { strong->finish(); });
    }));
}

void RunOnMainProcedure::execute()
{
    auto strong = shared_from_this();
    asio::post(engineEventExecutor(), [this, strong] {
        try {
            if (block_)
                block_();
        } catch (...) {
            finish(std::current_exception());
            return;
        }
        finish();
    });
}

std::shared_ptr<GroupProcedure> makeSequentialGroup(const std::vector<std::shared_ptr<Procedure>>& procedures)
{
    auto group = std::make_shared<GroupProcedure>();
    group->setMaxConcurrentOperationCount(1);
    std::weak_ptr<GroupProcedure> weak = group;
    for (const auto& child : procedures) {
        child->addDidCancelBlockObserver([weak](Procedure&, Procedure::Error error) {
            if (auto strong = weak.lock())
                strong->cancel(error);
        });
        child->addWillFinishBlockObserver([weak](Procedure&, Procedure::Error error) {
            if (!error)
                return;
            if (auto strong = weak.lock())
                strong->cancel(error);
        });
    }
    group->addChildren(procedures);
    return group;
}

} // namespace tarnel
