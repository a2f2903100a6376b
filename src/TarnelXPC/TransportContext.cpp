#include "TarnelXPC/TransportContext.h"

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>

#include <thread>

namespace tarnel::xpc {

struct TransportContext::State {
    asio::io_context context{1};
    asio::executor_work_guard<asio::io_context::executor_type> guard{context.get_executor()};
    std::thread thread{[this] { context.run(); }};
};

TransportContext& TransportContext::shared()
{
    static TransportContext context;
    return context;
}

TransportContext::TransportContext() : state_(std::make_unique<State>()) {}

TransportContext::~TransportContext()
{
    state_->guard.reset();
    state_->context.stop();
    state_->thread.join();
}

asio::any_io_executor TransportContext::executor() { return state_->context.get_executor(); }

} // namespace tarnel::xpc
