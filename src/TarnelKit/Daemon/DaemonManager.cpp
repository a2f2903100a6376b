#include "TarnelKit/Daemon/DaemonManager.h"

#include "TarnelFoundation/Identity/MonitorAppIdentity.h"
#include "TarnelXPC/Routes.h"
#include "TarnelXPC/XPCError.h"

#include "QuendalFoundation/Logging/AppLogger.h"
#include "QuendalFoundation/Runtime/Cancellation.h"
#include "QuendalFoundation/Runtime/Race.h"

#include <asio/associated_executor.hpp>
#include <asio/async_result.hpp>
#include <asio/experimental/awaitable_operators.hpp>
#include <asio/post.hpp>
#include <asio/use_awaitable.hpp>

#include <fmt/format.h>

#include <array>
#include <cxxabi.h>
#include <typeinfo>

namespace tarnel {

using quendal::AppLogger;
using namespace asio::experimental::awaitable_operators;

std::string_view statusName(DaemonStatus status)
{
    static constexpr std::array<std::string_view, 7> names{"loading",         "notRegistered", "unavailable", "insecure",
                                                           "requiresApproval", "notFound",      "connected"};
    return names[static_cast<std::size_t>(status)];
}

std::string EndpointCompatibility::description() const
{
    switch (kind) {
    case Kind::unavailable:
        return "unavailable(" + reason + ")";
    case Kind::insecure:
        return "insecure(" + reason + ")";
    case Kind::compatible:
        break;
    }
    return "compatible";
}

DaemonInstallError::DaemonInstallError(DaemonStatus s, std::optional<std::string> e)
    : std::runtime_error(fmt::format("Daemon installation failed. Final status: {}{}", statusName(s),
                                     e ? "\nRegistration error: " + *e : "")),
      status(s), registrationError(std::move(e))
{
}

namespace {

std::string errorText(const std::exception& e)
{
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> name(abi::__cxa_demangle(typeid(e).name(), nullptr, nullptr, &status), std::free);
    std::string domain = "tarnel";
    int code = 0;
    if (const auto* registry = dynamic_cast<const RegistryError*>(&e)) {
        domain = registry->domain;
        code = registry->code;
    }
    return fmt::format("{}: domain={}; code={}; description={}", status == 0 ? name.get() : typeid(e).name(), domain, code,
                       e.what());
}

} // namespace

DaemonManager::DaemonManager(Environment environment) : environment_(std::move(environment))
{
    AppLogger::info(fmt::format("Daemon manager initialized: identifier={}; plist={}.plist; hostBuild={}; appBundle={}; "
                                "serviceStatus={}",
                                environment_.identifier, environment_.identifier,
                                environment_.hostBuild.empty() ? "<unknown>" : environment_.hostBuild,
                                environment_.applicationPath, environment_.registry->status().text()),
                    AppLogger::daemon);
}

DaemonManager::~DaemonManager() = default;

std::string DaemonManager::registeredHostBuildKey() const
{
    return MonitorAppIdentity::registeredHostBuildKey(environment_.identifier, xpc::daemonAPIVersion);
}

bool DaemonManager::isRegistrationStale()
{
    if (status.value() != DaemonStatus::connected || environment_.hostBuild.empty())
        return false;
    const auto key = registeredHostBuildKey();
    if (!environment_.preferences->contains(key))
        return true;
    return environment_.preferences->stringValue(key) != environment_.hostBuild;
}

void DaemonManager::recordCurrentHostBuild()
{
    if (environment_.hostBuild.empty())
        return;
    environment_.preferences->set(registeredHostBuildKey(), environment_.hostBuild);
    AppLogger::info(fmt::format("Recorded daemon host build {} for {}", environment_.hostBuild, environment_.identifier),
                    AppLogger::daemon);
}

asio::awaitable<void> DaemonManager::start()
{
    AppLogger::info("Daemon startup status check started.", AppLogger::daemon);
    co_await updateStatus();
    try {
        if (isRegistrationStale()) {
            AppLogger::info(fmt::format("Daemon registration is stale for host build {}, recovering...", environment_.hostBuild),
                            AppLogger::daemon);
            co_await reinstall(true);
        } else if (auto s = status.value();
                   s == DaemonStatus::notRegistered || s == DaemonStatus::notFound || s == DaemonStatus::insecure) {
            AppLogger::info(fmt::format("Daemon first status was {}, recovering...", statusName(s)), AppLogger::daemon);
            co_await reinstall(false);
        }
    } catch (const std::exception& e) {
        AppLogger::error(e, AppLogger::daemon);
    }
}

asio::awaitable<void> DaemonManager::updateStatus()
{
    const auto service = environment_.registry->status();
    const auto old = status.value();
    AppLogger::debug(fmt::format("Checking daemon status: current={}; serviceStatus={}; isRecovering={}; "
                                 "hasObservedConnectedDaemon={}",
                                 statusName(old), service.text(), isRecovering(), hasObservedConnectedDaemon_),
                     AppLogger::daemon);
    DaemonStatus next;
    switch (service.value) {
    case ServiceStatus::Value::notRegistered:
        next = co_await runtimeMissingStatusFallback(DaemonStatus::notRegistered);
        break;
    case ServiceStatus::Value::enabled:
        next = co_await connectionStatus();
        break;
    case ServiceStatus::Value::requiresApproval:
        if (isRecovering()) {
            next = DaemonStatus::requiresApproval;
        } else if (const auto probed = co_await connectionStatus(); probed == DaemonStatus::connected) {
            AppLogger::warning("Daemon service requires approval but XPC endpoints are reachable; keeping current session "
                               "connected",
                               AppLogger::daemon);
            next = DaemonStatus::connected;
        } else {
            next = DaemonStatus::requiresApproval;
        }
        break;
    case ServiceStatus::Value::notFound:
        next = co_await runtimeMissingStatusFallback(DaemonStatus::notFound);
        break;
    default:
        next = co_await runtimeMissingStatusFallback(DaemonStatus::notRegistered);
        break;
    }
    apply(next);
    AppLogger::info(fmt::format("Updated Daemon status: {} -> {}; serviceStatus={}", statusName(old), statusName(next),
                                environment_.registry->status().text()),
                    AppLogger::daemon);
}

void DaemonManager::apply(DaemonStatus next)
{
    if (next == DaemonStatus::connected)
        hasObservedConnectedDaemon_ = true;
    status = next;
    if (next == DaemonStatus::unavailable) {
        if (!unavailableRetryTask_.isRunning())
            unavailableRetryTask_ = quendal::spawn(environment_.executor, retryLoop(weak_from_this()));
    } else {
        unavailableRetryTask_.cancel();
        unavailableRetryTask_.detach();
    }
}

asio::awaitable<DaemonStatus> DaemonManager::runtimeMissingStatusFallback(DaemonStatus s)
{
    if (!hasObservedConnectedDaemon_) {
        AppLogger::debug(fmt::format("Daemon service status is {} and no connected daemon has been observed yet.", statusName(s)),
                         AppLogger::daemon);
        co_return s;
    }
    const auto probed = co_await connectionStatus();
    if (probed == DaemonStatus::connected || probed == DaemonStatus::insecure)
        co_return probed;
    AppLogger::warning(fmt::format("Daemon service status was {} after a working connection; treating it as temporarily "
                                   "unavailable instead of install-required.",
                                   statusName(s)),
                       AppLogger::daemon);
    co_return DaemonStatus::unavailable;
}

asio::awaitable<EndpointCompatibility> DaemonManager::probe(std::string name, Probe apiVersion)
{
    using Kind = EndpointCompatibility::Kind;
    std::exception_ptr failure;
    try {
        auto version = co_await apiVersion();
        if (version == xpc::daemonAPIVersion)
            co_return EndpointCompatibility{Kind::compatible, {}};
        if (version)
            co_return EndpointCompatibility{Kind::insecure,
                                            fmt::format("{} API version {} != expected {}", name, *version, xpc::daemonAPIVersion)};
        co_return EndpointCompatibility{Kind::insecure, name + " returned an unparseable API version"};
    } catch (...) {
        failure = std::current_exception();
    }
    if (quendal::isCancellation(failure))
        std::rethrow_exception(failure);
    try {
        std::rethrow_exception(failure);
    } catch (const xpc::XPCError& e) {
        if (e.kind() == xpc::XPCError::Kind::routeNotRegistered || e.kind() == xpc::XPCError::Kind::routeMismatch)
            co_return EndpointCompatibility{Kind::insecure, fmt::format("{} route mismatch: {}", name, e.what())};
        if (e.kind() == xpc::XPCError::Kind::insecure)
            co_return EndpointCompatibility{Kind::insecure, name + " XPC rejected security requirements"};
        co_return EndpointCompatibility{Kind::unavailable, fmt::format("{} XPC {}", name, e.what())};
    } catch (const std::exception& e) {
        int s = 0;
        std::unique_ptr<char, void (*)(void*)> type(abi::__cxa_demangle(typeid(e).name(), nullptr, nullptr, &s), std::free);
        co_return EndpointCompatibility{Kind::unavailable, fmt::format("{} {}: {}", name, s == 0 ? type.get() : "error", e.what())};
    }
}

asio::awaitable<DaemonStatus> DaemonManager::connectionStatus()
{
    using std::chrono::milliseconds;
    static constexpr std::array delays{milliseconds(250), milliseconds(500), milliseconds(1000), milliseconds(2000),
                                       milliseconds(3000)};
    using Kind = EndpointCompatibility::Kind;
    for (std::size_t i = 0;; ++i) {
        // Both probes at once, as children of this evaluation.
        auto p = probe("privileged", environment_.privilegedProbe);
        auto q = probe("stats", environment_.statsProbe);
        auto both = co_await (std::move(p) && std::move(q));
        auto privileged = std::get<0>(both);
        auto stats = std::get<1>(both);
        if (privileged.kind == Kind::insecure || stats.kind == Kind::insecure) {
            AppLogger::warning(fmt::format("Daemon compatibility failed securely: privileged={}, stats={}",
                                           privileged.description(), stats.description()),
                               AppLogger::daemon);
            co_return DaemonStatus::insecure;
        }
        if (privileged.kind == Kind::compatible && stats.kind == Kind::compatible) {
            if (i > 0)
                AppLogger::info(fmt::format("Daemon XPC endpoints recovered after {} compatibility attempts", i + 1),
                                AppLogger::daemon);
            co_return DaemonStatus::connected;
        }
        if (i == 5) {
            AppLogger::warning(fmt::format("Daemon service is enabled but XPC endpoints are unavailable: privileged={}, stats={}",
                                           privileged.description(), stats.description()),
                               AppLogger::daemon);
            co_return DaemonStatus::unavailable;
        }
        AppLogger::warning(fmt::format("Daemon XPC endpoints unavailable after attempt {}; retrying in {}: privileged={}, stats={}",
                                       i + 1, quendal::Clock::toSeconds(delays[i]), privileged.description(), stats.description()),
                           AppLogger::daemon);
        try {
            co_await environment_.clock->sleep(delays[i]);
        } catch (...) {
            // A failed sleep changes nothing: the next probe runs at once.
        }
    }
}

asio::awaitable<void> DaemonManager::retryLoop(std::weak_ptr<DaemonManager> weak)
{
    using std::chrono::seconds;
    static constexpr std::array delays{seconds(5), seconds(10), seconds(20), seconds(30), seconds(60)};
    auto clock = environment_.clock;
    {
        auto self = weak.lock();
        if (!self || self->status.value() != DaemonStatus::unavailable)
            co_return;
    }
    co_await clock->sleep(delays[0]);
    for (std::size_t n = 1;; ++n) {
        {
            auto self = weak.lock();
            if (!self)
                co_return;
            co_await self->updateStatus();
            if (self->status.value() != DaemonStatus::unavailable)
                co_return;
        }
        co_await clock->sleep(delays[std::min<std::size_t>(n, 4)]);
    }
}

asio::awaitable<void> DaemonManager::reinstall(bool forceUnregister)
{
    if (installTask_) {
        AppLogger::info("Daemon reinstall requested while another install is in progress; reusing existing task.",
                        AppLogger::daemon);
        auto running = installTask_;
        co_await running->wait();
        co_return;
    }
    recovering = true;
    auto installation = std::make_shared<quendal::SharedCompletion>();
    installTask_ = installation;
    installRunner_ = quendal::spawn(environment_.executor, install(forceUnregister, installation));
    co_await installation->wait();
}

asio::awaitable<void> DaemonManager::install(bool forceUnregister, std::shared_ptr<quendal::SharedCompletion> installation)
{
    std::exception_ptr outcome;
    std::optional<std::string> registrationError;
    auto& registry = *environment_.registry;
    AppLogger::info(fmt::format("Daemon reinstalling: status={}; serviceStatus={}; forceUnregister={}; appBundle={}",
                                statusName(status.value()), registry.status().text(), forceUnregister,
                                environment_.applicationPath),
                    AppLogger::daemon);
    const auto s = status.value();
    if (forceUnregister || s == DaemonStatus::notRegistered || s == DaemonStatus::notFound || s == DaemonStatus::insecure) {
        std::optional<std::string> failed;
        try {
            AppLogger::info(fmt::format("Unregistering daemon: identifier={}; serviceStatusBefore={}", environment_.identifier,
                                        registry.status().text()),
                            AppLogger::daemon);
            co_await registry.unregisterService();
            AppLogger::info("Daemon unregistered successfully: serviceStatusAfter=" + registry.status().text(), AppLogger::daemon);
        } catch (const std::exception& e) {
            failed = errorText(e);
        }
        if (failed) {
            AppLogger::error("Daemon unregister during reinstall failed: " + *failed, AppLogger::daemon);
        } else {
            try {
                co_await environment_.clock->sleep(std::chrono::milliseconds(500));
            } catch (...) {
            }
        }
    }
    try {
        AppLogger::info(fmt::format("Registering daemon: identifier={}; plist={}.plist; serviceStatusBefore={}; appBundle={}",
                                    environment_.identifier, environment_.identifier, registry.status().text(),
                                    environment_.applicationPath),
                        AppLogger::daemon);
        co_await registry.registerService();
        AppLogger::info("Daemon registered successfully: serviceStatusAfter=" + registry.status().text(), AppLogger::daemon);
    } catch (const std::exception& e) {
        registrationError = errorText(e);
    }
    if (registrationError)
        AppLogger::error("Daemon registration during reinstall failed: " + *registrationError, AppLogger::daemon);
    co_await updateStatus();
    const auto final = status.value();
    if (final == DaemonStatus::connected || final == DaemonStatus::requiresApproval)
        recordCurrentHostBuild();
    AppLogger::info(fmt::format("Daemon reinstall finished: status={}; serviceStatus={}; registrationError={}",
                                statusName(final), registry.status().text(), registrationError.value_or("none")),
                    AppLogger::daemon);
    recovering = false;
    installTask_.reset();
    if (final != DaemonStatus::connected && final != DaemonStatus::requiresApproval)
        outcome = std::make_exception_ptr(DaemonInstallError(final, registrationError));
    installation->complete(outcome);
}

asio::awaitable<void> DaemonManager::recoverAfterClientSecurityFailure()
{
    if (isRecovering())
        co_return;
    co_await updateStatus();
    if (status.value() != DaemonStatus::insecure)
        co_return;
    try {
        co_await reinstall(false);
    } catch (const std::exception& e) {
        AppLogger::error(e, AppLogger::daemon);
    }
}

asio::awaitable<void> DaemonManager::waitForClientReadiness()
{
    for (int count = 0;;) {
        if (status.value() == DaemonStatus::insecure && !isRecovering())
            co_await recoverAfterClientSecurityFailure();
        const auto s = status.value();
        if (!isRecovering() && (s == DaemonStatus::requiresApproval || s == DaemonStatus::connected))
            co_return;
        try {
            co_await environment_.clock->sleep(std::chrono::milliseconds(100));
        } catch (...) {
            co_return;
        }
        if (++count == 200) {
            AppLogger::warning(fmt::format("Timed out waiting for daemon readiness before stats request: status={}; "
                                           "isRecovering={}",
                                           statusName(status.value()), isRecovering()),
                               AppLogger::daemon);
            co_return;
        }
    }
}

asio::awaitable<void> DaemonManager::unregister()
{
    co_await environment_.registry->unregisterService();
    co_await updateStatus();
}

} // namespace tarnel
