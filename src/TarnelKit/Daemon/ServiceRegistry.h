#pragma once

#include "QuendalFoundation/Runtime/Clock.h"
#include "QuendalFoundation/Runtime/Task.h"

#include <asio/awaitable.hpp>

#include <sys/types.h>

#include <chrono>

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace tarnel {

// The registration of the daemon with the system, as the service manager reports it.
struct ServiceStatus {
    enum class Value { notRegistered = 0, enabled = 1, requiresApproval = 2, notFound = 3, unknown = 4 };
    Value value = Value::notRegistered;
    int raw = 0; // the number behind `unknown`

    static ServiceStatus notRegistered() { return {Value::notRegistered, 0}; }
    static ServiceStatus enabled() { return {Value::enabled, 1}; }
    static ServiceStatus requiresApproval() { return {Value::requiresApproval, 2}; }
    static ServiceStatus notFound() { return {Value::notFound, 3}; }

    // "notRegistered", "enabled", "requiresApproval", "notFound" or "unknown(<value>)".
    std::string text() const;
    friend bool operator==(const ServiceStatus&, const ServiceStatus&) = default;
};

struct RegistryError : std::runtime_error {
    RegistryError(std::string domain, int code, const std::string& description)
        : std::runtime_error(description), domain(std::move(domain)), code(code)
    {
    }
    std::string domain;
    int code;
};

// Registers and unregisters the daemon; two implementations, chosen at start-up.
class ServiceRegistry {
public:
    virtual ~ServiceRegistry() = default;
    virtual ServiceStatus status() = 0;
    // Throw RegistryError.
    virtual asio::awaitable<void> registerService() = 0;
    virtual asio::awaitable<void> unregisterService() = 0;
    virtual std::string description() const = 0;
    // Where a service of the registered daemon listens.
    virtual std::filesystem::path socketPath(const std::string& serviceName) const = 0;
    // Called on the registry's executor after the registry itself started the daemon again, so
    // clients reconnect at once; a service manager's restarts go unseen.
    virtual void observeRestarts(std::function<void()> restarted) { (void)restarted; }
};

// The daemon as the systemd unit "<identifier>.service", switched through pkexec, whose
// password prompt is the user's approval.
class SystemdServiceRegistry final : public ServiceRegistry {
public:
    explicit SystemdServiceRegistry(std::string identifier);
    ServiceStatus status() override;
    asio::awaitable<void> registerService() override;
    asio::awaitable<void> unregisterService() override;
    std::string description() const override;
    std::filesystem::path socketPath(const std::string& serviceName) const override;

    static bool systemdRuns();

private:
    std::string unit_;
};

// Starts the session daemon's process and learns of its end; tests drive the registry with a
// fake that needs no real process.
class DaemonSpawner {
public:
    virtual ~DaemonSpawner() = default;
    // Starts `command` detached, output appended to `log`. Throws RegistryError.
    virtual pid_t spawn(const std::vector<std::string>& command, const std::filesystem::path& log) = 0;
    // The wait status of a child that ended, which is reaped by this call; nullopt while it runs.
    virtual std::optional<int> reap(pid_t pid) = 0;
};

// posix_spawn in a session of its own; waitpid.
class ProcessSpawner final : public DaemonSpawner {
public:
    pid_t spawn(const std::vector<std::string>& command, const std::filesystem::path& log) override;
    std::optional<int> reap(pid_t pid) override;
};

// The daemon as a process of the user: `tarneld --session`, started detached, known by the
// pid file it locks in the user's runtime folder. Once registered it is kept running, as a
// service manager keeps a unit running: a daemon that ends is reaped and started again, until
// unregistered or until this registry goes away.
class SessionServiceRegistry final : public ServiceRegistry {
public:
    static constexpr std::chrono::seconds watchInterval{1};
    static constexpr std::chrono::seconds restartDelay{2};
    static constexpr std::chrono::seconds longestRestartDelay{60};

    SessionServiceRegistry(std::filesystem::path daemonProgram, std::filesystem::path socketDirectory, bool debug,
                           std::shared_ptr<quendal::Clock> clock,
                           std::shared_ptr<DaemonSpawner> spawner = std::make_shared<ProcessSpawner>());
    ~SessionServiceRegistry() override;
    ServiceStatus status() override;
    asio::awaitable<void> registerService() override;
    asio::awaitable<void> unregisterService() override;
    std::string description() const override;
    std::filesystem::path socketPath(const std::string& serviceName) const override;
    void observeRestarts(std::function<void()> restarted) override;

    std::filesystem::path pidFile() const;
    bool isSupervising() const { return supervisor_.isRunning(); }
    // How many times a daemon that ended was started again.
    int restarts() const;
    // The daemon next to this program in a build tree, else the installed one;
    // TARNEL_DAEMON_PATH overrides both.
    static std::filesystem::path defaultDaemonProgram();

    struct State;

private:
    std::shared_ptr<State> state_;
    quendal::Task supervisor_;
};

// systemd for an installed build on a machine that runs it; the session daemon otherwise.
std::unique_ptr<ServiceRegistry> makeServiceRegistry(const std::string& identifier, bool debug);

} // namespace tarnel
