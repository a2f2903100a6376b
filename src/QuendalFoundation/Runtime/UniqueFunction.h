#pragma once

#include <memory>
#include <type_traits>
#include <utility>

namespace quendal {

template <class Signature>
class UniqueFunction;

// A move-only std::function: holds completion handlers and other callables that cannot be copied.
template <class R, class... Args>
class UniqueFunction<R(Args...)> {
public:
    UniqueFunction() = default;
    UniqueFunction(std::nullptr_t) {}

    template <class F, class = std::enable_if_t<!std::is_same_v<std::decay_t<F>, UniqueFunction>>>
    UniqueFunction(F&& f) : callable_(std::make_unique<Model<std::decay_t<F>>>(std::forward<F>(f)))
    {
    }

    UniqueFunction(UniqueFunction&&) noexcept = default;
    UniqueFunction& operator=(UniqueFunction&&) noexcept = default;

    explicit operator bool() const { return callable_ != nullptr; }

    R operator()(Args... args) { return callable_->call(std::forward<Args>(args)...); }

private:
    struct Concept {
        virtual ~Concept() = default;
        virtual R call(Args... args) = 0;
    };
    template <class F>
    struct Model final : Concept {
        explicit Model(F&& f) : f(std::move(f)) {}
        explicit Model(const F& f) : f(f) {}
        R call(Args... args) override { return f(std::forward<Args>(args)...); }
        F f;
    };
    std::unique_ptr<Concept> callable_;
};

} // namespace quendal
