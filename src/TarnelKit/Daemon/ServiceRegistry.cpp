#include "TarnelKit/Daemon/ServiceRegistry.h"

#include "TarnelXPC/PeerCredentials.h"
#include "TarnelXPC/ServiceEndpoint.h"

#include "QuendalFoundation/Runtime/Runtime.h"

#include <fmt/format.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <spawn.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace tarnel {

namespace {

struct Output {
    int status = -1;
    std::string text;
};

// Runs a program and collects what it prints; blocking, so callers run it in the background.
Output runProgram(std::vector<std::string> command)
{
    Output out;
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0)
        return out;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fds[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, fds[1], STDERR_FILENO);
    std::vector<char*> argv;
    for (auto& a : command)
        argv.push_back(a.data());
    argv.push_back(nullptr);
    pid_t pid;
    int spawned = ::posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(fds[1]);
    if (spawned != 0) {
        ::close(fds[0]);
        return out;
    }
    char buffer[4096];
    ssize_t n;
    while ((n = ::read(fds[0], buffer, sizeof buffer)) > 0 || (n < 0 && errno == EINTR))
        if (n > 0)
            out.text.append(buffer, static_cast<std::size_t>(n));
    ::close(fds[0]);
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    out.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128;
    while (!out.text.empty() && (out.text.back() == '\n' || out.text.back() == ' '))
        out.text.pop_back();
    return out;
}

} // namespace

std::string ServiceStatus::text() const
{
    switch (value) {
    case Value::notRegistered:
        return "notRegistered";
    case Value::enabled:
        return "enabled";
    case Value::requiresApproval:
        return "requiresApproval";
    case Value::notFound:
        return "notFound";
    case Value::unknown:
        break;
    }
    return fmt::format("unknown({})", raw);
}

SystemdServiceRegistry::SystemdServiceRegistry(std::string identifier) : unit_(std::move(identifier) + ".service") {}

bool SystemdServiceRegistry::systemdRuns()
{
    std::error_code ec;
    return std::filesystem::is_directory("/run/systemd/system", ec);
}

std::string SystemdServiceRegistry::description() const { return "systemd unit " + unit_; }

std::filesystem::path SystemdServiceRegistry::socketPath(const std::string& serviceName) const
{
    return xpc::ServiceEndpoint::system(serviceName).socketPath;
}

std::filesystem::path SessionServiceRegistry::socketPath(const std::string& serviceName) const
{
    return socketDirectory_ / (serviceName + ".sock");
}

ServiceStatus SystemdServiceRegistry::status()
{
    auto result = runProgram({"systemctl", "is-enabled", "--", unit_});
    if (result.text == "enabled" || result.text == "enabled-runtime")
        return ServiceStatus::enabled();
    if (result.text == "disabled" || result.text == "masked" || result.text == "linked")
        return ServiceStatus::notRegistered();
    if (result.status < 0 || result.text.find("No such file") != std::string::npos || result.text == "not-found")
        return ServiceStatus::notFound();
    return {ServiceStatus::Value::unknown, result.status};
}

asio::awaitable<void> SystemdServiceRegistry::registerService()
{
    auto unit = unit_;
    auto running = quendal::inBackground([unit] { return runProgram({"pkexec", "systemctl", "enable", "--now", unit}); });
    auto result = co_await std::move(running);
    if (result.status != 0)
        throw RegistryError("systemd", result.status, fmt::format("enabling {} failed: {}", unit, result.text));
}

asio::awaitable<void> SystemdServiceRegistry::unregisterService()
{
    auto unit = unit_;
    auto running = quendal::inBackground([unit] { return runProgram({"pkexec", "systemctl", "disable", "--now", unit}); });
    auto result = co_await std::move(running);
    if (result.status != 0)
        throw RegistryError("systemd", result.status, fmt::format("disabling {} failed: {}", unit, result.text));
}

SessionServiceRegistry::SessionServiceRegistry(std::filesystem::path daemonProgram, std::filesystem::path socketDirectory,
                                               bool debug, std::shared_ptr<quendal::Clock> clock)
    : daemonProgram_(std::move(daemonProgram)), socketDirectory_(std::move(socketDirectory)), debug_(debug),
      clock_(std::move(clock))
{
}

std::string SessionServiceRegistry::description() const
{
    return fmt::format("session daemon {} in {}", daemonProgram_.string(), socketDirectory_.string());
}

std::filesystem::path SessionServiceRegistry::defaultDaemonProgram()
{
    if (const char* path = std::getenv("TARNEL_DAEMON_PATH"); path && *path)
        return path;
    std::error_code ec;
    auto self = std::filesystem::read_symlink("/proc/self/exe", ec);
    if (!ec) {
        for (auto candidate : {self.parent_path() / "tarneld", self.parent_path().parent_path() / "daemon" / "tarneld",
                               self.parent_path().parent_path() / "libexec" / "tarnel" / "tarneld"})
            if (std::filesystem::exists(candidate, ec))
                return candidate;
    }
    return "/usr/libexec/tarnel/tarneld";
}

bool SessionServiceRegistry::daemonHoldsLock() const
{
    int fd = ::open(pidFile().c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0)
        return false;
    bool held = ::flock(fd, LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    ::close(fd);
    return held;
}

ServiceStatus SessionServiceRegistry::status()
{
    if (daemonHoldsLock())
        return ServiceStatus::enabled();
    std::error_code ec;
    if (!std::filesystem::exists(daemonProgram_, ec))
        return ServiceStatus::notFound();
    return ServiceStatus::notRegistered();
}

asio::awaitable<void> SessionServiceRegistry::registerService()
{
    if (daemonHoldsLock())
        co_return;
    std::error_code ec;
    std::filesystem::create_directories(socketDirectory_, ec);
    std::vector<std::string> command{daemonProgram_.string(), "--session", "--socket-dir", socketDirectory_.string()};
    if (debug_)
        command.emplace_back("--debug");
    std::vector<char*> argv;
    for (auto& a : command)
        argv.push_back(a.data());
    argv.push_back(nullptr);

    // Detached: its own session, output to a log file beside its sockets.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    const auto log = (socketDirectory_ / "tarneld.log").string();
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
    pid_t pid = -1;
    int spawned = ::posix_spawn(&pid, argv[0], &actions, &attributes, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    if (spawned != 0)
        throw RegistryError("session", spawned, fmt::format("cannot start {}: {}", daemonProgram_.string(), std::strerror(spawned)));

    // Up to 5 seconds for it to take its lock; reap it at once if it gave up.
    for (int i = 0; i < 100; ++i) {
        if (daemonHoldsLock())
            co_return;
        int status = 0;
        if (::waitpid(pid, &status, WNOHANG) == pid)
            throw RegistryError("session", WIFEXITED(status) ? WEXITSTATUS(status) : -1,
                                fmt::format("{} exited at start; see {}", daemonProgram_.string(), log));
        co_await clock_->sleep(std::chrono::milliseconds(50));
    }
    throw RegistryError("session", -1, fmt::format("{} did not start within 5 seconds; see {}", daemonProgram_.string(), log));
}

asio::awaitable<void> SessionServiceRegistry::unregisterService()
{
    if (!daemonHoldsLock())
        co_return;
    std::ifstream in(pidFile());
    long pid = 0;
    if (!(in >> pid) || pid <= 1)
        throw RegistryError("session", -1, "the daemon's pid file holds no pid");
    if (::kill(static_cast<pid_t>(pid), SIGTERM) != 0 && errno != ESRCH)
        throw RegistryError("session", errno, fmt::format("cannot stop pid {}: {}", pid, std::strerror(errno)));
    for (int i = 0; i < 100; ++i) {
        // A child of ours must be reaped before its lock counts as gone.
        ::waitpid(static_cast<pid_t>(pid), nullptr, WNOHANG);
        if (!daemonHoldsLock())
            co_return;
        co_await clock_->sleep(std::chrono::milliseconds(50));
    }
    throw RegistryError("session", -1, fmt::format("pid {} did not stop within 5 seconds", pid));
}

std::unique_ptr<ServiceRegistry> makeServiceRegistry(const std::string& identifier, bool debug)
{
    if (xpc::ServerRequirement::isInstalledBuild() && SystemdServiceRegistry::systemdRuns())
        return std::make_unique<SystemdServiceRegistry>(identifier);
    return std::make_unique<SessionServiceRegistry>(SessionServiceRegistry::defaultDaemonProgram(),
                                                    xpc::ServiceEndpoint::sessionDirectory(), debug,
                                                    quendal::Runtime::shared().clockPointer());
}

} // namespace tarnel
