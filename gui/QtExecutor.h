#pragma once

#include <asio/execution.hpp>
#include <asio/execution_context.hpp>

#include "QuendalFoundation/Runtime/UniqueFunction.h"

#include <QObject>

#include <memory>

namespace tarnel::gui {

// The execution context behind the Qt main actor: work posted to it runs on the thread of
// `receiver()` (the GUI thread) from Qt's event loop.
class QtMainContext : public asio::execution_context {
public:
    QtMainContext();
    ~QtMainContext();

    void post(quendal::UniqueFunction<void()> work);
    QObject* receiver() const { return receiver_.get(); }

private:
    std::unique_ptr<QObject> receiver_;
};

// An Asio executor over QtMainContext, usable wherever an asio::any_io_executor is.
class QtExecutor {
public:
    explicit QtExecutor(QtMainContext& context) noexcept : context_(&context) {}

    asio::execution_context& query(asio::execution::context_t) const noexcept { return *context_; }
    static constexpr asio::execution::blocking_t query(asio::execution::blocking_t) noexcept
    {
        return asio::execution::blocking.never;
    }
    QtExecutor require(asio::execution::blocking_t::never_t) const noexcept { return *this; }

    template <class F>
    void execute(F&& f) const
    {
        context_->post(quendal::UniqueFunction<void()>(std::forward<F>(f)));
    }

    friend bool operator==(const QtExecutor& a, const QtExecutor& b) noexcept { return a.context_ == b.context_; }
    friend bool operator!=(const QtExecutor& a, const QtExecutor& b) noexcept { return a.context_ != b.context_; }

private:
    QtMainContext* context_;
};

} // namespace tarnel::gui
