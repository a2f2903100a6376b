#include "TarnelXPC/PeerCredentials.h"

#include <fmt/format.h>

#include <cerrno>
#include <filesystem>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

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
    std::error_code ignored;
    peer.executable = std::filesystem::read_symlink(fmt::format("/proc/{}/exe", peer.pid), ignored).string();
    return peer;
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
