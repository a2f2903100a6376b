#include "TarnelKit/Daemon/ServiceRegistry.h"

#include "TarnelXPC/PeerCredentials.h"
#include "TarnelXPC/ServiceEndpoint.h"

#include "QuendalFoundation/Logging/AppLogger.h"
#include "QuendalFoundation/Runtime/Runtime.h"

#include <asio/this_coro.hpp>

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

using quendal::AppLogger;

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

pid_t ProcessSpawner::spawn(const std::vector<std::string>& command, const std::filesystem::path& log)
{
    std::vector<std::string> words = command;
    std::vector<char*> argv;
    for (auto& a : words)
        argv.push_back(a.data());
    argv.push_back(nullptr);

    // Detached: its own session, output to a log file beside its sockets.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    const auto logText = log.string();
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, logText.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
    pid_t pid = -1;
    int spawned = ::posix_spawn(&pid, argv[0], &actions, &attributes, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    if (spawned != 0)
        throw RegistryError("session", spawned, fmt::format("cannot start {}: {}", command.front(), std::strerror(spawned)));
    return pid;
}

std::optional<int> ProcessSpawner::reap(pid_t pid)
{
    int status = 0;
    pid_t reaped;
    while ((reaped = ::waitpid(pid, &status, WNOHANG)) < 0 && errno == EINTR) {
    }
    if (reaped == 0)
        return std::nullopt;
    // Not (or no longer) a child of ours: nothing left to wait for.
    return reaped == pid ? status : -1;
}

namespace {

std::string endText(int status)
{
    if (status >= 0 && WIFSIGNALED(status))
        return fmt::format("killed by signal {}", WTERMSIG(status));
    if (status >= 0 && WIFEXITED(status))
        return fmt::format("exit code {}", WEXITSTATUS(status));
    return "an unknown end";
}

} // namespace

struct SessionServiceRegistry::State {
    std::filesystem::path program;
    std::filesystem::path directory;
    bool debug = false;
    std::shared_ptr<quendal::Clock> clock;
    std::shared_ptr<DaemonSpawner> spawner;
    std::optional<pid_t> child;
    bool wanted = false;
    int restarts = 0;
    std::function<void()> restarted;

    std::filesystem::path pidFile() const { return directory / "tarneld.pid"; }
    std::filesystem::path log() const { return directory / "tarneld.log"; }

    bool daemonHoldsLock() const
    {
        int fd = ::open(pidFile().c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
        if (fd < 0)
            return false;
        bool held = ::flock(fd, LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
        ::close(fd);
        return held;
    }

    // Collects a child that ended, so none stays a zombie; answers whether one had ended.
    bool reapChild()
    {
        if (!child)
            return false;
        auto ended = spawner->reap(*child);
        if (!ended)
            return false;
        AppLogger::warning(fmt::format("Session daemon pid {} ended: {}", *child, endText(*ended)), AppLogger::daemon);
        child.reset();
        return true;
    }
};

namespace {

using State = SessionServiceRegistry::State;

// Starts the daemon and waits up to 5 seconds for it to take its lock.
asio::awaitable<void> launch(std::shared_ptr<State> state)
{
    std::error_code ec;
    std::filesystem::create_directories(state->directory, ec);
    std::vector<std::string> command{state->program.string(), "--session", "--socket-dir", state->directory.string()};
    if (state->debug)
        command.emplace_back("--debug");
    const pid_t pid = state->spawner->spawn(command, state->log());
    state->child = pid;
    for (int i = 0; i < 100; ++i) {
        if (state->daemonHoldsLock())
            co_return;
        if (auto ended = state->spawner->reap(pid)) {
            state->child.reset();
            throw RegistryError("session", *ended >= 0 && WIFEXITED(*ended) ? WEXITSTATUS(*ended) : -1,
                                fmt::format("{} exited at start ({}); see {}", state->program.string(), endText(*ended),
                                            state->log().string()));
        }
        co_await state->clock->sleep(std::chrono::milliseconds(50));
    }
    throw RegistryError("session", -1,
                        fmt::format("{} did not start within 5 seconds; see {}", state->program.string(), state->log().string()));
}

// Keeps the daemon running while it is wanted. Holds only the shared state, so it may outlive
// a registry that is going away until its cancellation arrives.
asio::awaitable<void> supervise(std::shared_ptr<State> state)
{
    using Registry = SessionServiceRegistry;
    auto delay = std::chrono::duration_cast<std::chrono::seconds>(Registry::restartDelay);
    while (state->wanted) {
        co_await state->clock->sleep(Registry::watchInterval);
        if (!state->wanted)
            co_return;
        state->reapChild();
        if (state->daemonHoldsLock())
            continue;
        AppLogger::warning(fmt::format("Session daemon is not running; starting it again in {} s", delay.count()),
                           AppLogger::daemon);
        co_await state->clock->sleep(delay);
        state->reapChild();
        if (!state->wanted || state->daemonHoldsLock())
            continue;
        try {
            co_await launch(state);
            ++state->restarts;
            AppLogger::info(fmt::format("Session daemon started again: pid={}", state->child.value_or(-1)), AppLogger::daemon);
            delay = Registry::restartDelay;
            if (state->restarted)
                state->restarted();
        } catch (const RegistryError& e) {
            AppLogger::error(fmt::format("Session daemon restart failed: {}", e.what()), AppLogger::daemon);
            delay = std::min(delay * 2, std::chrono::duration_cast<std::chrono::seconds>(Registry::longestRestartDelay));
        }
    }
}

} // namespace

SessionServiceRegistry::SessionServiceRegistry(std::filesystem::path daemonProgram, std::filesystem::path socketDirectory,
                                               bool debug, std::shared_ptr<quendal::Clock> clock,
                                               std::shared_ptr<DaemonSpawner> spawner)
    : state_(std::make_shared<State>())
{
    state_->program = std::move(daemonProgram);
    state_->directory = std::move(socketDirectory);
    state_->debug = debug;
    state_->clock = std::move(clock);
    state_->spawner = std::move(spawner);
}

SessionServiceRegistry::~SessionServiceRegistry()
{
    // The daemon stays: it ends by itself once its last client is gone.
    state_->wanted = false;
}

std::filesystem::path SessionServiceRegistry::pidFile() const { return state_->pidFile(); }

int SessionServiceRegistry::restarts() const { return state_->restarts; }

void SessionServiceRegistry::observeRestarts(std::function<void()> restarted) { state_->restarted = std::move(restarted); }

std::string SessionServiceRegistry::description() const
{
    return fmt::format("session daemon {} in {}", state_->program.string(), state_->directory.string());
}

std::filesystem::path SessionServiceRegistry::socketPath(const std::string& serviceName) const
{
    return state_->directory / (serviceName + ".sock");
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

ServiceStatus SessionServiceRegistry::status()
{
    if (state_->daemonHoldsLock())
        return ServiceStatus::enabled();
    std::error_code ec;
    if (!std::filesystem::exists(state_->program, ec))
        return ServiceStatus::notFound();
    return ServiceStatus::notRegistered();
}

asio::awaitable<void> SessionServiceRegistry::registerService()
{
    if (!state_->daemonHoldsLock())
        co_await launch(state_);
    state_->wanted = true;
    if (!supervisor_.isRunning())
        supervisor_ = quendal::spawn(co_await asio::this_coro::executor, supervise(state_));
}

asio::awaitable<void> SessionServiceRegistry::unregisterService()
{
    state_->wanted = false;
    supervisor_.cancel();
    if (!state_->daemonHoldsLock()) {
        state_->reapChild();
        co_return;
    }
    // The daemon writes its pid just after it takes the lock: a fresh one may not have yet.
    long pid = 0;
    for (int i = 0; i < 20 && pid <= 1; ++i) {
        std::ifstream in(pidFile());
        if (!(in >> pid) || pid <= 1) {
            pid = 0;
            co_await state_->clock->sleep(std::chrono::milliseconds(50));
        }
    }
    if (pid <= 1)
        throw RegistryError("session", -1, "the daemon's pid file holds no pid");
    if (::kill(static_cast<pid_t>(pid), SIGTERM) != 0 && errno != ESRCH)
        throw RegistryError("session", errno, fmt::format("cannot stop pid {}: {}", pid, std::strerror(errno)));
    // The daemon drops its lock before it removes its sockets: a child of ours counts as stopped
    // once reaped, another process's daemon once its lock is gone.
    const bool ours = state_->child == static_cast<pid_t>(pid);
    for (int i = 0; i < 100; ++i) {
        state_->reapChild();
        if (!state_->daemonHoldsLock() && !(ours && state_->child))
            co_return;
        co_await state_->clock->sleep(std::chrono::milliseconds(50));
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
