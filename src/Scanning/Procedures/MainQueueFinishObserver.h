#pragma once

#include "Scanning/Procedures/EventExecutor.h"
#include "Scanning/Procedures/Procedure.h"

#include <asio/post.hpp>

#include <functional>
#include <memory>

namespace tarnel {

// Calls finishHandler on the main actor after the unit ended, with the unit and its error.
template <class P>
class MainQueueFinishObserver {
public:
    using Handler = std::function<void(P&, std::exception_ptr)>;

    explicit MainQueueFinishObserver(Handler handler) : finishHandler(std::move(handler)) {}

    void attach(P& unit) const
    {
        unit.addDidFinishBlockObserver([handler = finishHandler](Procedure& ended, std::exception_ptr error) {
            auto strong = std::static_pointer_cast<P>(ended.shared_from_this());
            asio::post(engineEventExecutor(), [handler, strong, error] {
                if (handler)
                    handler(*strong, error);
            });
        });
    }

    Handler finishHandler;
};

// The default observer: logs the unit's error when it ended with one.
void attachErrorPrinterObserver(Procedure& unit);

} // namespace tarnel
