#pragma once

#include "TarnelXPC/ServiceEndpoint.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>
#include <sys/types.h>

namespace tarnel::xpc {

// An owned pidfd.
class ProcessDescriptor {
public:
    explicit ProcessDescriptor(int fd) : fd_(fd) {}
    ~ProcessDescriptor();
    ProcessDescriptor(const ProcessDescriptor&) = delete;
    ProcessDescriptor& operator=(const ProcessDescriptor&) = delete;
    int get() const { return fd_; }
    bool isAlive() const;

private:
    int fd_;
};

// Field 22 of /proc/<pid>/stat; none when the process is gone or the file unreadable.
std::optional<unsigned long long> processStartTime(pid_t pid);

// The kernel's record of who is on the other end of a socket, taken at connect time.
struct PeerCredentials {
    pid_t pid = 0;
    uid_t uid = static_cast<uid_t>(-1);
    gid_t gid = static_cast<gid_t>(-1);
    // Supplementary groups at connect time (SO_PEERGROUPS); empty where the kernel has none.
    std::vector<gid_t> groups;
    // For logs only: a pid can be reused, so the path is never trusted.
    std::string executable;
    // The process's start time in clock ticks since boot (field 22 of /proc/<pid>/stat) when
    // it connected: with the pid it names the process to polkit.
    std::optional<unsigned long long> startTime;
    // A descriptor of the very process that connected, where the kernel gives one; it cannot
    // come to name another process when the pid is reused.
    std::shared_ptr<const class ProcessDescriptor> process;

    // Whether the process that connected still runs under its pid: its descriptor, where
    // there is one, is alive, and the pid's start time is still the one seen at connect time.
    bool isStillTheConnectingProcess() const;

    // Throws std::system_error when the descriptor is no connected Unix socket.
    static PeerCredentials of(int socketDescriptor);
    std::string describe() const;
};

// What a client demands of the server it talks to.
class ServerRequirement {
public:
    static ServerRequirement anyServer();
    static ServerRequirement runningAs(uid_t uid);
    // An installed build wants root behind the system endpoint and itself behind a session
    // endpoint; a development build accepts every server.
    static ServerRequirement defaultFor(const ServiceEndpoint& endpoint);
    static bool isInstalledBuild();

    bool isSatisfiedBy(const PeerCredentials& peer) const { return check_(peer); }
    const std::string& description() const { return description_; }

private:
    ServerRequirement(std::function<bool(const PeerCredentials&)> check, std::string description)
        : check_(std::move(check)), description_(std::move(description))
    {
    }
    std::function<bool(const PeerCredentials&)> check_;
    std::string description_;
};

} // namespace tarnel::xpc
