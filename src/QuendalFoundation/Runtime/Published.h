#pragma once

#include "QuendalFoundation/Runtime/Cancellable.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

namespace quendal {

// A source of values that can be subscribed to; operators build new publishers from old ones.
template <class T>
class Publisher {
public:
    using Receiver = std::function<void(const T&)>;
    using Subscribe = std::function<Cancellable(Receiver)>;

    explicit Publisher(Subscribe subscribe) : subscribe_(std::move(subscribe)) {}

    [[nodiscard]] Cancellable sink(Receiver receiver) const { return subscribe_(std::move(receiver)); }

    template <class F>
    auto map(F transform) const -> Publisher<std::decay_t<std::invoke_result_t<F, const T&>>>
    {
        using U = std::decay_t<std::invoke_result_t<F, const T&>>;
        auto upstream = subscribe_;
        return Publisher<U>([upstream, transform](typename Publisher<U>::Receiver receiver) {
            return upstream([transform, receiver](const T& value) { receiver(transform(value)); });
        });
    }

    // Passes a value on only when it differs from the one passed before.
    Publisher removeDuplicates() const
    {
        auto upstream = subscribe_;
        return Publisher([upstream](Receiver receiver) {
            auto last = std::make_shared<std::optional<T>>();
            return upstream([last, receiver](const T& value) {
                if (*last && **last == value)
                    return;
                *last = value;
                receiver(value);
            });
        });
    }

    Publisher dropFirst(int count = 1) const
    {
        auto upstream = subscribe_;
        return Publisher([upstream, count](Receiver receiver) {
            auto seen = std::make_shared<int>(0);
            return upstream([seen, count, receiver](const T& value) {
                if ((*seen)++ >= count)
                    receiver(value);
            });
        });
    }

private:
    Subscribe subscribe_;
};

// Pairs the newest values of two publishers once both have delivered one.
template <class A, class B>
Publisher<std::pair<A, B>> combineLatest(Publisher<A> first, Publisher<B> second)
{
    using Pair = std::pair<A, B>;
    return Publisher<Pair>([first, second](typename Publisher<Pair>::Receiver receiver) {
        struct Latest {
            std::mutex mutex;
            std::optional<A> a;
            std::optional<B> b;
        };
        auto latest = std::make_shared<Latest>();
        auto publishPair = [latest, receiver] {
            std::unique_lock lock(latest->mutex);
            if (!latest->a || !latest->b)
                return;
            Pair pair(*latest->a, *latest->b);
            lock.unlock();
            receiver(pair);
        };
        auto c1 = std::make_shared<Cancellable>(first.sink([latest, publishPair](const A& a) {
            {
                std::lock_guard lock(latest->mutex);
                latest->a = a;
            }
            publishPair();
        }));
        auto c2 = std::make_shared<Cancellable>(second.sink([latest, publishPair](const B& b) {
            {
                std::lock_guard lock(latest->mutex);
                latest->b = b;
            }
            publishPair();
        }));
        return Cancellable([c1, c2] {
            c1->cancel();
            c2->cancel();
        });
    });
}

// A published value: every assignment is sent to the subscribers, and a new subscriber
// first receives the current value.
template <class T>
class Published {
public:
    explicit Published(T initial = T{}) : state_(std::make_shared<State>(std::move(initial))) {}

    Published(const Published&) = delete;
    Published& operator=(const Published&) = delete;

    T value() const
    {
        std::lock_guard lock(state_->mutex);
        return state_->value;
    }

    void set(T value)
    {
        std::vector<std::shared_ptr<Entry>> receivers;
        {
            std::lock_guard lock(state_->mutex);
            state_->value = value;
            receivers = state_->receivers;
        }
        for (const auto& entry : receivers)
            if (entry->active.load())
                entry->receive(value);
    }

    Published& operator=(T value)
    {
        set(std::move(value));
        return *this;
    }

    Publisher<T> publisher() const
    {
        std::weak_ptr<State> weak = state_;
        return Publisher<T>([weak](typename Publisher<T>::Receiver receiver) {
            auto state = weak.lock();
            if (!state)
                return Cancellable();
            auto entry = std::make_shared<Entry>(std::move(receiver));
            T current;
            {
                std::lock_guard lock(state->mutex);
                state->receivers.push_back(entry);
                current = state->value;
            }
            entry->receive(current);
            return Cancellable([weak, entry] {
                entry->active = false;
                if (auto s = weak.lock()) {
                    std::lock_guard lock(s->mutex);
                    std::erase(s->receivers, entry);
                }
            });
        });
    }

    std::size_t subscriberCount() const
    {
        std::lock_guard lock(state_->mutex);
        return state_->receivers.size();
    }

private:
    struct Entry {
        explicit Entry(std::function<void(const T&)> r) : receive(std::move(r)) {}
        std::function<void(const T&)> receive;
        std::atomic<bool> active{true};
    };
    struct State {
        explicit State(T v) : value(std::move(v)) {}
        mutable std::mutex mutex;
        T value;
        std::vector<std::shared_ptr<Entry>> receivers;
    };
    std::shared_ptr<State> state_;
};

} // namespace quendal
