#include "PidFileLock.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <string>
#include <sys/file.h>
#include <unistd.h>

namespace tarnel::daemon {

PidFileLock::PidFileLock(std::filesystem::path path) : path_(std::move(path))
{
    std::filesystem::create_directories(path_.parent_path());
    descriptor_ = ::open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0644);
    if (descriptor_ < 0)
        throw std::runtime_error(fmt::format("Cannot open {}: {}", path_.string(), std::strerror(errno)));
    if (::flock(descriptor_, LOCK_EX | LOCK_NB) != 0) {
        char holder[32] = {};
        auto n = ::pread(descriptor_, holder, sizeof holder - 1, 0);
        ::close(descriptor_);
        descriptor_ = -1;
        throw std::runtime_error(fmt::format("Another tarneld (pid {}) already serves {}",
                                             n > 0 ? std::string(holder, static_cast<std::size_t>(n)) : "unknown",
                                             path_.parent_path().string()));
    }
    const auto pid = std::to_string(::getpid());
    if (::ftruncate(descriptor_, 0) != 0 || ::pwrite(descriptor_, pid.data(), pid.size(), 0) < 0) {
        ::close(descriptor_);
        descriptor_ = -1;
        throw std::runtime_error(fmt::format("Cannot write {}: {}", path_.string(), std::strerror(errno)));
    }
}

PidFileLock::~PidFileLock()
{
    if (descriptor_ >= 0) {
        ::unlink(path_.c_str());
        ::close(descriptor_);
    }
}

} // namespace tarnel::daemon
