#pragma once

#include <functional>
#include <utility>
#include <vector>

namespace quendal {

// Ends a subscription when it is cancelled or destroyed; the analogue of AnyCancellable.
class Cancellable {
public:
    Cancellable() = default;
    explicit Cancellable(std::function<void()> onCancel) : onCancel_(std::move(onCancel)) {}
    Cancellable(Cancellable&& other) noexcept : onCancel_(std::exchange(other.onCancel_, nullptr)) {}
    Cancellable& operator=(Cancellable&& other) noexcept
    {
        if (this != &other) {
            cancel();
            onCancel_ = std::exchange(other.onCancel_, nullptr);
        }
        return *this;
    }
    Cancellable(const Cancellable&) = delete;
    Cancellable& operator=(const Cancellable&) = delete;
    ~Cancellable() { cancel(); }

    void cancel()
    {
        if (auto f = std::exchange(onCancel_, nullptr))
            f();
    }

    // Keeps the subscription alive as long as the owner's set.
    void store(std::vector<Cancellable>& set) && { set.push_back(std::move(*this)); }

private:
    std::function<void()> onCancel_;
};

// An owner's subscriptions; they end when the owner drops the set.
using Cancellables = std::vector<Cancellable>;

} // namespace quendal
