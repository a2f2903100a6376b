#pragma once
// The process's one client of a kind: set by the application, read from any thread.
#include <memory>
#include <mutex>

namespace tarnel {

template <class Client>
class SharedClientSlot {
public:
    std::shared_ptr<Client> get() const
    {
        std::lock_guard lock(mutex_);
        return client_;
    }
    void set(std::shared_ptr<Client> client)
    {
        std::lock_guard lock(mutex_);
        client_ = std::move(client);
    }

private:
    mutable std::mutex mutex_;
    std::shared_ptr<Client> client_;
};

} // namespace tarnel
