#include "Privileged/PrivilegedService.h"

#include "Privileged/DeletionPolicy.h"
#include "Privileged/SecureRemover.h"

#include "TarnelXPC/Routes.h"
#include "TarnelXPC/TypedServer.h"

#include "QuendalFoundation/Runtime/Runtime.h"

#include <fmt/format.h>

#include <array>
#include <cstring>
#include <grp.h>
#include <pwd.h>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace tarnel::daemon {

namespace {

struct Account {
    std::string name;
    std::filesystem::path home;
};

std::optional<Account> accountOf(uid_t uid)
{
    std::vector<char> buffer(16384);
    passwd entry{};
    passwd* found = nullptr;
    if (::getpwuid_r(uid, &entry, buffer.data(), buffer.size(), &found) != 0 || !found)
        return std::nullopt;
    return Account{found->pw_name, found->pw_dir};
}

constexpr std::array legacyNames{
    "org.quendal.TarnelDaemon", "org.quendal.TarnelDaemon-debug", "org.quendal.TarnelHelper",
    "org.quendal.TarnelHelper-debug", "com.quendal.TarnelDaemon", "com.quendal.TarnelDaemon-debug",
};

constexpr std::array unitSuffixes{".service", ".timer", ".socket", ".path", ".target", ".mount", ".automount"};

bool hasUnitSuffix(const std::string& name)
{
    for (const auto* suffix : unitSuffixes) {
        std::string_view s(suffix);
        if (name.size() > s.size() && name.compare(name.size() - s.size(), s.size(), s) == 0)
            return true;
    }
    return false;
}

} // namespace

PrivilegedService::PrivilegedService(Dependencies dependencies) : dependencies_(std::move(dependencies)) {}

void PrivilegedService::log(const std::string& line) const
{
    if (dependencies_.log)
        dependencies_.log(line);
}

std::vector<bool> PrivilegedService::deleteFiles(const xpc::PrivilegedFileDeleteRequest& request,
                                                 const xpc::PeerCredentials& caller)
{
    const auto account = accountOf(caller.uid);
    const DeletionPolicy policy(account ? account->home : std::filesystem::path());
    // Exactly the groups the caller holds: one that dropped its supplementary groups has none.
    const FileSystemIdentity identity{caller.uid, caller.gid, caller.groups, false};
    const auto crossable = policy.crossableMounts();
    const auto reason = xpc::reasonName(request.reason);

    std::vector<bool> answers;
    answers.reserve(request.paths.size());
    std::optional<bool> administrator;
    for (const auto& path : request.paths) {
        if (auto refusal = policy.refusal(path)) {
            log(fmt::format("deleteFiles refused {} for {} ({}): {}", path, caller.describe(), reason, *refusal));
            answers.push_back(false);
            continue;
        }
        auto as = identity;
        if (DeletionPolicy::isAdministrativeLocation(path) && ::geteuid() == 0 && caller.uid != 0) {
            if (!administrator)
                administrator = dependencies_.authority &&
                                dependencies_.authority->isAuthorized(caller, actions::deleteSystemFiles);
            as.daemonRights = *administrator;
        }
        auto result = SecureRemover::remove(path, as, crossable);
        if (result.removed)
            log(fmt::format("deleteFiles removed {} for {} ({}){}", path, caller.describe(), reason,
                            as.daemonRights ? " as administrator" : ""));
        else
            log(fmt::format("deleteFiles refused {} for {} ({}): {}", path, caller.describe(), reason, result.cause));
        answers.push_back(result.removed);
    }
    return answers;
}

bool PrivilegedService::trimStatus() { return dependencies_.systemd->isEnabled(trimUnit); }

bool PrivilegedService::toggleTrim(bool enabled, const xpc::PeerCredentials& caller)
{
    if (caller.uid != 0 && !(dependencies_.authority && dependencies_.authority->isAuthorized(caller, actions::manageTrim))) {
        log(fmt::format("toggleTrim {} refused for {}: not authorized", enabled, caller.describe()));
        throw std::runtime_error("Not authorized to change Trim");
    }
    dependencies_.systemd->setEnabled(trimUnit, enabled);
    const bool now = trimStatus();
    log(fmt::format("toggleTrim {} for {}: {} is now {}", enabled, caller.describe(), trimUnit, now ? "enabled" : "disabled"));
    return now;
}

void PrivilegedService::setLaunchItemEnabled(const xpc::LaunchItemMutationRequest& request,
                                             const xpc::PeerCredentials& caller)
{
    auto refuse = [&](const std::string& cause) {
        log(fmt::format("setLaunchItemEnabled {} {} refused for {}: {}", request.url, request.enabled, caller.describe(), cause));
        throw std::invalid_argument(cause);
    };
    const auto path = request.path();
    if (!path)
        refuse("not an absolute file URL");
    if (DeletionPolicy(std::filesystem::path()).refusal(path->string()).value_or("").find("component") != std::string::npos)
        refuse("a path with \".\" or \"..\"");
    const auto unit = path->filename().string();
    if (!hasUnitSuffix(unit))
        refuse("not a systemd unit file");

    const auto account = accountOf(caller.uid);
    const auto folder = path->parent_path();
    std::optional<std::string> user;
    if (folder == "/etc/systemd/system") {
        if (caller.uid != 0 &&
            !(dependencies_.authority && dependencies_.authority->isAuthorized(caller, actions::manageSystemUnits)))
            refuse("not authorized to change system units");
    } else if (folder == "/etc/systemd/user" || (account && folder == account->home / ".config/systemd/user")) {
        if (!account)
            refuse("the caller has no account");
        // A daemon running as the caller talks to its own manager; root addresses the user's.
        if (::geteuid() != caller.uid)
            user = account->name;
    } else {
        refuse("not in a unit folder that Tarnel manages");
    }
    // Only now, and with the caller's own rights: an answer about a folder the caller may not
    // read would tell what lies in it.
    bool exists = false;
    const FileSystemIdentity as{caller.uid, caller.gid, caller.groups, false};
    if (auto why = SecureRemover::runAs(as, [&] {
            struct stat st {};
            exists = ::lstat(path->c_str(), &st) == 0 && (S_ISREG(st.st_mode) || S_ISLNK(st.st_mode));
        }))
        refuse(*why);
    if (!exists)
        refuse("no such unit file");
    if (!user && ::geteuid() == caller.uid && folder != "/etc/systemd/system")
        user = std::string(); // marker for the caller's own --user manager
    try {
        if (user && user->empty()) {
            dependencies_.systemd->setEnabled(unit, request.enabled, std::optional<std::string>());
        } else {
            dependencies_.systemd->setEnabled(unit, request.enabled, user);
        }
    } catch (const SystemdError& e) {
        log(fmt::format("setLaunchItemEnabled {} {} failed for {}: {}", unit, request.enabled, caller.describe(), e.what()));
        throw;
    }
    log(fmt::format("setLaunchItemEnabled {} {} for {}", unit, request.enabled, caller.describe()));
}

std::vector<std::filesystem::path> PrivilegedService::uninstallLegacyFiles(const xpc::PeerCredentials& caller)
{
    // The files lie in folders only root may change; a daemon running as the caller already
    // has no more rights than the caller.
    if (caller.uid != 0 && caller.uid != ::geteuid() &&
        !(dependencies_.authority && dependencies_.authority->isAuthorized(caller, actions::manageSystemUnits))) {
        log(fmt::format("uninstallLegacyFiles refused for {}: not authorized", caller.describe()));
        throw std::runtime_error("Not authorized to remove the files of earlier releases");
    }
    std::vector<std::filesystem::path> candidates;
    for (const auto* name : legacyNames) {
        candidates.push_back(dependencies_.systemRoot / "etc/systemd/system" / (std::string(name) + ".service"));
        candidates.push_back(dependencies_.systemRoot / "run/tarnel" / (std::string(name) + ".sock"));
        if (!dependencies_.sessionSocketDirectory.empty())
            candidates.push_back(dependencies_.sessionSocketDirectory / (std::string(name) + ".sock"));
    }
    std::vector<std::filesystem::path> removed;
    for (const auto& candidate : candidates) {
        struct stat st {};
        if (::lstat(candidate.c_str(), &st) != 0)
            continue;
        if (!(S_ISREG(st.st_mode) || S_ISSOCK(st.st_mode) || S_ISLNK(st.st_mode))) {
            log(fmt::format("uninstallLegacyFiles left {}: not a file", candidate.string()));
            continue;
        }
        if (::unlink(candidate.c_str()) == 0) {
            removed.push_back(candidate);
            log(fmt::format("uninstallLegacyFiles removed {} for {}", candidate.string(), caller.describe()));
        } else {
            log(fmt::format("uninstallLegacyFiles could not remove {}: {}", candidate.string(), std::strerror(errno)));
        }
    }
    return removed;
}

void PrivilegedService::registerRoutes(xpc::XPCServer& server)
{
    using xpc::RequestContext;
    xpc::registerHandler(server, xpc::Routes::deleteFiles,
                         [this](xpc::PrivilegedFileDeleteRequest request, RequestContext c) -> asio::awaitable<std::vector<bool>> {
                             auto work = [this, request = std::move(request), peer = c.peer] { return deleteFiles(request, peer); };
                             auto running = quendal::inBackground(std::move(work));
                             co_return co_await std::move(running);
                         });
    xpc::registerHandler(server, xpc::Routes::toggleTrim, [this](bool enabled, RequestContext c) -> asio::awaitable<bool> {
        auto work = [this, enabled, peer = c.peer] { return toggleTrim(enabled, peer); };
        auto running = quendal::inBackground(std::move(work));
        co_return co_await std::move(running);
    });
    xpc::registerHandler(server, xpc::Routes::getTrimStatus, [this](RequestContext) -> asio::awaitable<bool> {
        auto work = [this] { return trimStatus(); };
        auto running = quendal::inBackground(std::move(work));
        co_return co_await std::move(running);
    });
    xpc::registerHandler(server, xpc::Routes::setLaunchItemEnabled,
                         [this](xpc::LaunchItemMutationRequest request, RequestContext c) -> asio::awaitable<void> {
                             auto work = [this, request = std::move(request), peer = c.peer] {
                                 setLaunchItemEnabled(request, peer);
                                 return true;
                             };
                             auto running = quendal::inBackground(std::move(work));
                             co_await std::move(running);
                         });
    xpc::registerHandler(server, xpc::Routes::uninstallLegacyFiles, [this](RequestContext c) -> asio::awaitable<void> {
        auto work = [this, peer = c.peer] { return uninstallLegacyFiles(peer).size(); };
        auto running = quendal::inBackground(std::move(work));
        co_await std::move(running);
    });
}

} // namespace tarnel::daemon
