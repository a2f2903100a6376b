#pragma once

#include "QuendalFoundation/Runtime/Clock.h"

#include <asio/awaitable.hpp>

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>

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

// The daemon as a process of the user: `tarneld --session`, started detached, known by the
// pid file it locks in the user's runtime folder.
class SessionServiceRegistry final : public ServiceRegistry {
public:
    SessionServiceRegistry(std::filesystem::path daemonProgram, std::filesystem::path socketDirectory, bool debug,
                           std::shared_ptr<quendal::Clock> clock);
    ServiceStatus status() override;
    asio::awaitable<void> registerService() override;
    asio::awaitable<void> unregisterService() override;
    std::string description() const override;
    std::filesystem::path socketPath(const std::string& serviceName) const override;

    std::filesystem::path pidFile() const { return socketDirectory_ / "tarneld.pid"; }
    // The daemon next to this program in a build tree, else the installed one;
    // TARNEL_DAEMON_PATH overrides both.
    static std::filesystem::path defaultDaemonProgram();

private:
    bool daemonHoldsLock() const;
    std::filesystem::path daemonProgram_;
    std::filesystem::path socketDirectory_;
    bool debug_;
    std::shared_ptr<quendal::Clock> clock_;
};

// systemd for an installed build on a machine that runs it; the session daemon otherwise.
std::unique_ptr<ServiceRegistry> makeServiceRegistry(const std::string& identifier, bool debug);

} // namespace tarnel
