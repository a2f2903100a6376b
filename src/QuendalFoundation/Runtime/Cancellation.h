#pragma once

#include <asio/awaitable.hpp>
#include <asio/error.hpp>
#include <asio/system_error.hpp>

#include <exception>

namespace quendal {

// A cancelled task sees asio::error::operation_aborted thrown from the await it was blocked in.
inline bool isCancellation(const std::exception_ptr& error)
{
    if (!error)
        return false;
    try {
        std::rethrow_exception(error);
    } catch (const asio::system_error& e) {
        return e.code() == asio::error::operation_aborted;
    } catch (...) {
        return false;
    }
}

[[noreturn]] inline void throwCancellation()
{
    throw asio::system_error(asio::error::operation_aborted);
}

// Throws the cancellation error when the calling task was cancelled.
asio::awaitable<void> checkCancellation();
asio::awaitable<bool> isTaskCancelled();

} // namespace quendal
