#pragma once

#include "TarnelKit/Daemon/DaemonManaging.h"

#include "QuendalFoundation/Runtime/Cancellable.h"
#include "QuendalFoundation/Runtime/Clock.h"
#include "QuendalFoundation/Runtime/Published.h"
#include "QuendalFoundation/Runtime/Runtime.h"
#include "QuendalFoundation/Runtime/Task.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace tarnel {

// Why enabling the daemon failed, in the terms the sheet explains to the user; the technical
// detail goes to the log.
enum class DaemonSetupFailure {
    programMissing, // the daemon's executable is not where the registry looks
    notStarted,     // it could not be started or registered (also a dismissed password prompt)
    notAnswering,   // it runs but its endpoints do not answer
    incompatible,   // what answers is not this build's daemon
    unknown,
};

std::string_view failureName(DaemonSetupFailure failure);
// The kind of a failure thrown by a reinstall.
DaemonSetupFailure setupFailure(const std::exception& failure);

// What the daemon onboarding sheet shows.
struct DaemonOnboardingPhase {
    enum class Kind { needsInstall, awaitingApproval, completed };
    Kind kind = Kind::needsInstall;
    // The failure of a reinstall, explained on the intro.
    std::optional<DaemonSetupFailure> failure;

    static DaemonOnboardingPhase needsInstall(std::optional<DaemonSetupFailure> failure = std::nullopt)
    {
        return {Kind::needsInstall, failure};
    }
    static DaemonOnboardingPhase awaitingApproval() { return {Kind::awaitingApproval, std::nullopt}; }
    static DaemonOnboardingPhase completed() { return {Kind::completed, std::nullopt}; }

    friend bool operator==(const DaemonOnboardingPhase&, const DaemonOnboardingPhase&) = default;
};

std::string describe(const DaemonOnboardingPhase& phase);

// The view model of the sheet that leads the user through enabling the daemon. It talks to
// the daemon only through DaemonManaging; all of it lives on the main actor.
class DaemonOnboardingView : public std::enable_shared_from_this<DaemonOnboardingView> {
public:
    struct Environment {
        quendal::Executor executor;
        std::shared_ptr<quendal::Clock> clock;
        // Asks the administrator to approve the service (the approval step of this platform).
        std::function<void()> openApproval;
    };

    static std::shared_ptr<DaemonOnboardingView> make(std::shared_ptr<DaemonManaging> manager,
                                                      std::function<void()> onComplete, Environment environment);

    quendal::Published<DaemonOnboardingPhase> phase{DaemonOnboardingPhase::needsInstall()};
    quendal::Published<bool> isInstalling{false};

    DaemonStatus status() const { return status_; }
    bool hasShownIntro() const { return hasShownIntro_; }
    bool isPolling() const { return pollingTask_.has_value(); }

    void appear();
    void disappear();
    void enableNow();
    void openSettings();
    void setPhase(DaemonOnboardingPhase next, const std::string& reason);

    DaemonOnboardingView(std::shared_ptr<DaemonManaging> manager, std::function<void()> onComplete, Environment environment);

private:
    void observe();
    void statusChanged(DaemonStatus next);
    void apply(DaemonStatus s);
    void phaseChanged(const DaemonOnboardingPhase& next);
    void startPolling();
    void stopPolling();

    static asio::awaitable<void> poll(std::weak_ptr<DaemonOnboardingView> weak, std::shared_ptr<quendal::Clock> clock,
                                      std::uint64_t generation);
    static asio::awaitable<void> dismissLater(std::weak_ptr<DaemonOnboardingView> weak, std::shared_ptr<quendal::Clock> clock);
    static asio::awaitable<void> install(std::weak_ptr<DaemonOnboardingView> weak, std::shared_ptr<DaemonManaging> manager,
                                         std::shared_ptr<quendal::Clock> clock);

    std::shared_ptr<DaemonManaging> manager_;
    std::function<void()> onComplete_;
    Environment environment_;
    DaemonStatus status_;
    bool hasShownIntro_ = false;
    std::optional<quendal::Task> pollingTask_;
    std::uint64_t pollGeneration_ = 0;
    std::optional<quendal::Task> dismissTask_;
    quendal::Task installTask_;
    quendal::Cancellables cancellables_;
};

} // namespace tarnel
