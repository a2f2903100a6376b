#pragma once

#include <filesystem>

namespace tarnel::daemon {

// Holds an exclusive lock on a pid file for the life of the process, so only one daemon
// serves a socket folder. The file is removed on release.
class PidFileLock {
public:
    // Throws std::runtime_error naming the holder when another process has the lock.
    explicit PidFileLock(std::filesystem::path path);
    ~PidFileLock();
    PidFileLock(const PidFileLock&) = delete;
    PidFileLock& operator=(const PidFileLock&) = delete;

    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
    int descriptor_ = -1;
};

} // namespace tarnel::daemon
