#pragma once

#include <asio/any_io_executor.hpp>

#include <memory>

namespace tarnel::xpc {

// The transport's own queue: one thread running the sockets of every client of the process,
// so a round trip costs two thread wake-ups rather than a tour of the background pool.
class TransportContext {
public:
    static TransportContext& shared();
    ~TransportContext();

    asio::any_io_executor executor();

private:
    TransportContext();
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace tarnel::xpc
