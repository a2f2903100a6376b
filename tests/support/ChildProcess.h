#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace tarnel::testing {

// A program started for a test; killed and reaped on destruction if still running.
class ChildProcess {
public:
    ChildProcess(const std::filesystem::path& program, const std::vector<std::string>& arguments);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t pid() const { return pid_; }
    void signal(int number) const;
    // Waits for the exit and returns the exit status, or -signal when killed; -1000 on timeout.
    int wait(std::chrono::milliseconds timeout = std::chrono::seconds(10));
    bool isRunning();

private:
    pid_t pid_ = -1;
    bool reaped_ = false;
};

// Polls `ready` until it holds or `timeout` passes; for readiness of other processes only.
bool waitUntil(const std::function<bool()>& ready, std::chrono::milliseconds timeout = std::chrono::seconds(10));

// The children of this process that ended and were not reaped (state Z in /proc).
std::vector<pid_t> zombieChildren();

} // namespace tarnel::testing
