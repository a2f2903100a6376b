#pragma once

#include "QuendalFoundation/Logging/AppLogger.h"
#include "QuendalFoundation/Runtime/Cancellation.h"
#include "QuendalFoundation/Runtime/Published.h"
#include "QuendalFoundation/Runtime/Runtime.h"
#include "QuendalFoundation/Runtime/SharedCompletion.h"
#include "QuendalFoundation/Runtime/Task.h"

#include "TarnelFoundation/Codec/Date.h"

#include <asio/awaitable.hpp>

#include <exception>
#include <functional>
#include <memory>
#include <stdexcept>

namespace tarnel {

// The latest snapshot of one of the daemon's catalogues, on the main actor. Callers that
// refresh while a load runs share it; a failed load keeps the old snapshot and says why in
// `lastError`. There is no retry here: the statistics client already retried the request.
template <class Snapshot>
class CatalogStore : public std::enable_shared_from_this<CatalogStore<Snapshot>> {
public:
    using Loader = std::function<asio::awaitable<Snapshot>()>;

    explicit CatalogStore(Loader loader) : loader_(std::move(loader)) {}

    // The process's store, made on first use, loading through the shared statistics client.
    static std::shared_ptr<CatalogStore> shared()
    {
        static const auto store = std::make_shared<CatalogStore>(daemonLoader());
        return store;
    }
    // Asks the daemon for this catalogue; defined once per catalogue in CatalogStores.cpp.
    static Loader daemonLoader();

    // At creation the empty snapshot, whose `generatedAt` is the distant past.
    quendal::Published<Snapshot> snapshot{emptySnapshot()};
    // The error of the last failed load; null after a load that succeeded.
    quendal::Published<std::exception_ptr> lastError{nullptr};

    static Snapshot emptySnapshot()
    {
        Snapshot empty{};
        empty.generatedAt = Date::distantPast();
        return empty;
    }

    bool isLoading() const { return loadTask_ != nullptr; }

    // Loads the snapshot from the daemon; never throws but for the caller's own cancellation.
    asio::awaitable<void> refresh()
    {
        if (auto running = loadTask_) {
            co_await running->wait();
            co_return;
        }
        auto completion = std::make_shared<quendal::SharedCompletion>();
        loadTask_ = completion;
        runner_ = quendal::spawn(quendal::Runtime::shared().mainExecutor(),
                                 load(this->weak_from_this(), loader_, completion));
        co_await completion->wait();
    }

    // Loads only while nothing was loaded yet, however old the snapshot is.
    asio::awaitable<void> loadIfNeeded()
    {
        if (snapshot.value().generatedAt == Date::distantPast()) {
            auto load = refresh();
            co_await std::move(load);
        }
    }

private:
    // Holds the store weakly; clears `loadTask_` itself, so a caller cancelled while waiting
    // cannot leave the store believing a load still runs.
    static asio::awaitable<void> load(std::weak_ptr<CatalogStore> weak, Loader loader,
                                      std::shared_ptr<quendal::SharedCompletion> completion)
    {
        std::exception_ptr failure;
        try {
            auto request = loader();
            auto reply = co_await std::move(request);
            if (auto store = weak.lock()) {
                store->snapshot.set(std::move(reply));
                store->lastError.set(nullptr);
            }
        } catch (...) {
            failure = std::current_exception();
        }
        if (failure && !quendal::isCancellation(failure)) {
            try {
                std::rethrow_exception(failure);
            } catch (const std::exception& e) {
                quendal::AppLogger::error(e);
            } catch (...) {
                quendal::AppLogger::error("A catalogue load failed with an unknown error");
            }
            if (auto store = weak.lock())
                store->lastError.set(failure);
        }
        if (auto store = weak.lock(); store && store->loadTask_ == completion)
            store->loadTask_.reset();
        completion->complete();
    }

    Loader loader_;
    std::shared_ptr<quendal::SharedCompletion> loadTask_;
    quendal::Task runner_;
};

} // namespace tarnel
