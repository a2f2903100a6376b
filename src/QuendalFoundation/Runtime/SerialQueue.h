#pragma once

#include "QuendalFoundation/Runtime/Runtime.h"
#include "QuendalFoundation/Runtime/UniqueFunction.h"

#include <asio/post.hpp>
#include <asio/strand.hpp>

#include <future>
#include <string>
#include <type_traits>

namespace quendal {

// A labelled serial queue: work runs one item at a time, in submission order, on the
// threads of its target executor (the background pool unless told otherwise).
class SerialQueue {
public:
    explicit SerialQueue(std::string label, Executor target = Runtime::shared().backgroundExecutor());

    const std::string& label() const { return label_; }
    Executor executor() const { return strand_; }
    bool isCurrent() const { return strand_.running_in_this_thread(); }

    void async(UniqueFunction<void()> work);

    // Runs `work` on the queue and waits for its result; runs inline when already on it.
    template <class F>
    auto sync(F work) -> std::invoke_result_t<F&>
    {
        using R = std::invoke_result_t<F&>;
        if (isCurrent())
            return work();
        std::packaged_task<R()> task(std::move(work));
        auto result = task.get_future();
        asio::post(strand_, [&task] { task(); });
        return result.get();
    }

private:
    std::string label_;
    asio::strand<Executor> strand_;
};

} // namespace quendal
