#pragma once

#include "TarnelKit/Daemon/DaemonManaging.h"

#include "QuendalCore/Navigation/SheetController.h"

#include "QuendalFoundation/Runtime/Cancellable.h"
#include "QuendalFoundation/Runtime/Clock.h"
#include "QuendalFoundation/Runtime/Task.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace tarnel {

// The sheet routes of onboarding.
enum class OnboardingRoute { daemon };
inline std::string describe(OnboardingRoute) { return "daemon"; }

// Decides when the daemon onboarding sheet is queued: two seconds after the manager reports
// a status the user must act on, unless the status moved on or a recovery runs.
class OnboardingCoordinator : public std::enable_shared_from_this<OnboardingCoordinator> {
public:
    OnboardingCoordinator(std::shared_ptr<DaemonManaging> manager, quendal::SheetCoordinator sheets,
                          std::shared_ptr<quendal::Clock> clock, quendal::Executor executor);

    void start();
    void handle(DaemonStatus status, bool isRecovering);
    bool isVerifying() const { return verificationTask_.has_value() && verificationTask_->isRunning(); }

    static bool needsUser(DaemonStatus status);

private:
    static asio::awaitable<void> verify(std::weak_ptr<OnboardingCoordinator> weak);

    std::shared_ptr<DaemonManaging> manager_;
    quendal::SheetCoordinator sheets_;
    std::shared_ptr<quendal::Clock> clock_;
    quendal::Executor executor_;
    quendal::Cancellables cancellables_;
    std::optional<quendal::Task> verificationTask_;
};

} // namespace tarnel

template <>
struct std::hash<tarnel::OnboardingRoute> {
    std::size_t operator()(tarnel::OnboardingRoute r) const { return static_cast<std::size_t>(r); }
};
