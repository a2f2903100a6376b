#include "TarnelXPC/PeerCredentials.h"

#include <fmt/format.h>

#include <cerrno>
#include <charconv>
#include <fstream>
#include <sstream>
#include <sys/syscall.h>
#include <filesystem>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

// Older C libraries lack the name; kernels before 6.5 answer ENOPROTOOPT and the pidfd is opened by pid.
#if !defined(SO_PEERPIDFD) && (defined(__x86_64__) || defined(__aarch64__) || defined(__i386__) || defined(__arm__))
#define SO_PEERPIDFD 77
#endif

namespace tarnel::xpc {

PeerCredentials PeerCredentials::of(int socketDescriptor)
{
    ucred credentials{};
    socklen_t length = sizeof credentials;
    if (::getsockopt(socketDescriptor, SOL_SOCKET, SO_PEERCRED, &credentials, &length) != 0)
        throw std::system_error(errno, std::generic_category(), "SO_PEERCRED");
    PeerCredentials peer;
    peer.pid = credentials.pid;
    peer.uid = credentials.uid;
    peer.gid = credentials.gid;
#ifdef SO_PEERGROUPS
    std::vector<gid_t> groups(64);
    socklen_t groupsLength = static_cast<socklen_t>(groups.size() * sizeof(gid_t));
    int result = ::getsockopt(socketDescriptor, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &groupsLength);
    if (result != 0 && errno == ERANGE) {
        groups.resize(groupsLength / sizeof(gid_t) + 1);
        groupsLength = static_cast<socklen_t>(groups.size() * sizeof(gid_t));
        result = ::getsockopt(socketDescriptor, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &groupsLength);
    }
    groups.resize(result == 0 ? groupsLength / sizeof(gid_t) : 0);
    peer.groups = std::move(groups);
#endif
    peer.startTime = processStartTime(peer.pid);
#ifdef SO_PEERPIDFD
    int pidfd = -1;
    socklen_t pidfdLength = sizeof pidfd;
    if (::getsockopt(socketDescriptor, SOL_SOCKET, SO_PEERPIDFD, &pidfd, &pidfdLength) == 0 && pidfd >= 0)
        peer.process = std::make_shared<const ProcessDescriptor>(pidfd);
#endif
    if (!peer.process && peer.pid > 0) {
        // Older kernels: a pidfd opened now, checked against the start time read before it.
        const int openedFd = static_cast<int>(::syscall(SYS_pidfd_open, peer.pid, 0));
        if (openedFd >= 0) {
            auto opened = std::make_shared<const ProcessDescriptor>(openedFd);
            if (processStartTime(peer.pid) == peer.startTime)
                peer.process = std::move(opened);
        }
    }
    std::error_code ignored;
    peer.executable = std::filesystem::read_symlink(fmt::format("/proc/{}/exe", peer.pid), ignored).string();
    return peer;
}

ProcessDescriptor::~ProcessDescriptor()
{
    if (fd_ >= 0)
        ::close(fd_);
}

bool ProcessDescriptor::isAlive() const
{
    return ::syscall(SYS_pidfd_send_signal, fd_, 0, nullptr, 0) == 0;
}

std::optional<unsigned long long> processStartTime(pid_t pid)
{
    std::ifstream in(fmt::format("/proc/{}/stat", pid));
    std::string line;
    if (!std::getline(in, line))
        return std::nullopt;
    // The command name may hold spaces and parentheses: fields start after the last ')'.
    const auto close = line.rfind(')');
    if (close == std::string::npos || close + 2 > line.size())
        return std::nullopt;
    std::istringstream fields(line.substr(close + 2));
    std::string field;
    for (int i = 3; i <= 22 && fields >> field; ++i) {
        if (i == 22) {
            unsigned long long value = 0;
            auto [end, error] = std::from_chars(field.data(), field.data() + field.size(), value);
            if (error != std::errc() || end != field.data() + field.size())
                return std::nullopt;
            return value;
        }
    }
    return std::nullopt;
}

bool PeerCredentials::isStillTheConnectingProcess() const
{
    // Without a pidfd (kernels before 5.3) the start time alone tells processes apart.
    if (!startTime || (process && !process->isAlive()))
        return false;
    return processStartTime(pid) == startTime;
}

std::string PeerCredentials::describe() const
{
    return fmt::format("pid {} uid {} gid {} ({})", pid, uid, gid, executable.empty() ? "unknown executable" : executable);
}

ServerRequirement ServerRequirement::anyServer()
{
    return {[](const PeerCredentials&) { return true; }, "any server"};
}

ServerRequirement ServerRequirement::runningAs(uid_t uid)
{
    return {[uid](const PeerCredentials& peer) { return peer.uid == uid; }, fmt::format("a server running as uid {}", uid)};
}

bool ServerRequirement::isInstalledBuild()
{
#ifdef TARNEL_INSTALLED_BUILD
    return true;
#else
    return false;
#endif
}

ServerRequirement ServerRequirement::defaultFor(const ServiceEndpoint& endpoint)
{
    if (!isInstalledBuild())
        return anyServer();
    switch (endpoint.scope) {
    case ServiceEndpoint::Scope::system:
        return runningAs(0);
    case ServiceEndpoint::Scope::session:
    case ServiceEndpoint::Scope::custom:
        break;
    }
    return runningAs(::getuid());
}

} // namespace tarnel::xpc
