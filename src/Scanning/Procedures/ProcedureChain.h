#pragma once

#include "Scanning/Procedures/BlockProcedure.h"

#include <functional>
#include <memory>

namespace tarnel {

// One link of a scan pipeline: a block unit that runs after `unit` and hands its success value
// to `handler`, then finishes. Without a success value it neither calls the handler nor
// finishes, so the rest of the chain waits until the queue is cancelled, which ends it. The
// link holds the unit weakly.
template <class Unit>
std::shared_ptr<BlockProcedure> makeChainLink(const std::shared_ptr<Unit>& unit,
                                              std::function<void(const typename Unit::OutputType&)> handler)
{
    std::weak_ptr<Unit> weak = unit;
    auto link = std::make_shared<BlockProcedure>(
        BlockProcedure::Storage::asSelf([weak, handler = std::move(handler)](BlockProcedure& self) {
            auto strong = weak.lock();
            if (!strong)
                return;
            auto output = strong->output();
            auto result = output.value();
            if (!result || !result->isSuccess())
                return;
            if (handler)
                handler(*result->value());
            self.finish();
        }));
    link->addDidCancelBlockObserver([](Procedure& self, Procedure::Error) {
        if (self.isExecuting())
            self.finish();
    });
    link->setQualityOfService(unit->qualityOfService());
    link->addDependency(unit);
    return link;
}

} // namespace tarnel
