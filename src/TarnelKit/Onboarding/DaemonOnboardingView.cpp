#include "TarnelKit/Onboarding/DaemonOnboardingView.h"

#include "QuendalFoundation/Logging/AppLogger.h"

#include <fmt/format.h>

namespace tarnel {

using quendal::AppLogger;

namespace {

const char* flag(bool value)
{
    return value ? "true" : "false";
}

// Ends a task that may be the one running this code without cancelling it from within.
void clear(std::optional<quendal::Task>& task)
{
    if (task)
        task->cancel();
    task.reset();
}

} // namespace

std::string describe(const DaemonOnboardingPhase& phase)
{
    switch (phase.kind) {
    case DaemonOnboardingPhase::Kind::needsInstall:
        return phase.errorText ? "needsInstall(" + *phase.errorText + ")" : "needsInstall";
    case DaemonOnboardingPhase::Kind::awaitingApproval:
        return "awaitingApproval";
    case DaemonOnboardingPhase::Kind::completed:
        return "completed";
    }
    return "?";
}

std::shared_ptr<DaemonOnboardingView> DaemonOnboardingView::make(std::shared_ptr<DaemonManaging> manager,
                                                                 std::function<void()> onComplete, Environment environment)
{
    auto view = std::make_shared<DaemonOnboardingView>(std::move(manager), std::move(onComplete), std::move(environment));
    view->observe();
    return view;
}

DaemonOnboardingView::DaemonOnboardingView(std::shared_ptr<DaemonManaging> manager, std::function<void()> onComplete,
                                           Environment environment)
    : manager_(std::move(manager)), onComplete_(std::move(onComplete)), environment_(std::move(environment)),
      status_(manager_->currentStatus())
{
}

void DaemonOnboardingView::observe()
{
    std::weak_ptr<DaemonOnboardingView> weak = weak_from_this();
    // The publisher hands over the current value first; that one is the initial status.
    manager_->statusPublisher()
        .dropFirst()
        .sink([weak](const DaemonStatus& s) {
            if (auto self = weak.lock())
                self->statusChanged(s);
        })
        .store(cancellables_);
    phase.publisher()
        .dropFirst()
        .sink([weak](const DaemonOnboardingPhase& p) {
            if (auto self = weak.lock())
                self->phaseChanged(p);
        })
        .store(cancellables_);
}

void DaemonOnboardingView::setPhase(DaemonOnboardingPhase next, const std::string& reason)
{
    const auto current = phase.value();
    if (next == current)
        return;
    AppLogger::info(fmt::format("Daemon onboarding phase transition: {} -> {}; reason={}; status={}", describe(current),
                                describe(next), reason, statusName(status_)),
                    AppLogger::daemon);
    phase.set(std::move(next));
}

void DaemonOnboardingView::apply(DaemonStatus s)
{
    const std::string name(statusName(s));
    if (hasShownIntro_) {
        switch (s) {
        case DaemonStatus::notRegistered:
        case DaemonStatus::notFound:
            setPhase(DaemonOnboardingPhase::needsInstall(), "status requires install: " + name);
            break;
        case DaemonStatus::requiresApproval:
            setPhase(DaemonOnboardingPhase::awaitingApproval(), "status requires approval");
            break;
        case DaemonStatus::connected:
            setPhase(DaemonOnboardingPhase::completed(), "status connected");
            break;
        default:
            break; // loading, unavailable, insecure: the manager retries on its own
        }
        return;
    }
    switch (s) {
    case DaemonStatus::connected:
        setPhase(DaemonOnboardingPhase::completed(), "status connected before intro");
        break;
    case DaemonStatus::notRegistered:
    case DaemonStatus::insecure:
    case DaemonStatus::requiresApproval:
    case DaemonStatus::notFound:
        setPhase(DaemonOnboardingPhase::needsInstall(), "status requires install before intro: " + name);
        break;
    default:
        break;
    }
}

void DaemonOnboardingView::statusChanged(DaemonStatus next)
{
    status_ = next;
    AppLogger::info(fmt::format("Daemon onboarding observed status change: status={}; phase={}; hasShownIntro={}",
                                statusName(status_), describe(phase.value()), flag(hasShownIntro_)),
                    AppLogger::daemon);
    apply(next);
}

void DaemonOnboardingView::appear()
{
    AppLogger::info(fmt::format("Daemon onboarding appeared: status={}; phase={}; hasShownIntro={}", statusName(status_),
                                describe(phase.value()), flag(hasShownIntro_)),
                    AppLogger::daemon);
    apply(status_);
    if (phase.value().kind == DaemonOnboardingPhase::Kind::awaitingApproval)
        startPolling();
}

void DaemonOnboardingView::disappear()
{
    AppLogger::info(
        fmt::format("Daemon onboarding disappeared: status={}; phase={}", statusName(status_), describe(phase.value())),
        AppLogger::daemon);
    stopPolling();
}

void DaemonOnboardingView::phaseChanged(const DaemonOnboardingPhase& next)
{
    AppLogger::info(fmt::format("Daemon onboarding phase active: {}; status={}; isInstalling={}", describe(next),
                                statusName(status_), flag(isInstalling.value())),
                    AppLogger::daemon);
    if (next.kind == DaemonOnboardingPhase::Kind::awaitingApproval) {
        startPolling();
        return;
    }
    clear(pollingTask_);
    if (next.kind == DaemonOnboardingPhase::Kind::completed) {
        clear(dismissTask_);
        dismissTask_ = quendal::spawn(environment_.executor, dismissLater(weak_from_this(), environment_.clock));
    }
}

void DaemonOnboardingView::startPolling()
{
    AppLogger::info("Daemon onboarding approval polling started.", AppLogger::daemon);
    clear(pollingTask_);
    pollingTask_ = quendal::spawn(environment_.executor, poll(weak_from_this(), environment_.clock, ++pollGeneration_));
}

void DaemonOnboardingView::stopPolling()
{
    if (!pollingTask_)
        return;
    AppLogger::info("Daemon onboarding approval polling stopped.", AppLogger::daemon);
    clear(pollingTask_);
}

asio::awaitable<void> DaemonOnboardingView::poll(std::weak_ptr<DaemonOnboardingView> weak, std::shared_ptr<quendal::Clock> clock,
                                                 std::uint64_t generation)
{
    for (;;) {
        {
            auto self = weak.lock();
            if (!self || self->status_ != DaemonStatus::requiresApproval)
                break;
        }
        try {
            co_await clock->sleep(std::chrono::seconds(1));
        } catch (...) {
            co_return; // cancelled: whoever cancelled owns the handle
        }
        auto self = weak.lock();
        if (!self)
            co_return;
        auto manager = self->manager_;
        self.reset();
        auto update = manager->updateStatus();
        co_await std::move(update);
    }
    // Only this poll's own handle: a newer poll may have replaced it meanwhile.
    if (auto self = weak.lock(); self && self->pollingTask_ && self->pollGeneration_ == generation) {
        self->pollingTask_->detach();
        self->pollingTask_.reset();
    }
}

asio::awaitable<void> DaemonOnboardingView::dismissLater(std::weak_ptr<DaemonOnboardingView> weak,
                                                         std::shared_ptr<quendal::Clock> clock)
{
    try {
        co_await clock->sleep(std::chrono::seconds(3));
    } catch (...) {
        co_return;
    }
    if (auto self = weak.lock(); self && self->onComplete_)
        self->onComplete_();
}

void DaemonOnboardingView::enableNow()
{
    AppLogger::info(fmt::format("Daemon onboarding Enable Now clicked: status={}; phase={}; isInstalling={}",
                                statusName(status_), describe(phase.value()), flag(isInstalling.value())),
                    AppLogger::daemon);
    hasShownIntro_ = true;
    isInstalling.set(true);
    if (status_ == DaemonStatus::requiresApproval) {
        // Already registered: only the approval is missing.
        setPhase(DaemonOnboardingPhase::awaitingApproval(), "service already requires approval");
        isInstalling.set(false);
        return;
    }
    installTask_ = quendal::spawn(environment_.executor, install(weak_from_this(), manager_, environment_.clock));
}

asio::awaitable<void> DaemonOnboardingView::install(std::weak_ptr<DaemonOnboardingView> weak,
                                                    std::shared_ptr<DaemonManaging> manager,
                                                    std::shared_ptr<quendal::Clock> clock)
{
    std::optional<std::string> failure;
    try {
        auto reinstall = manager->reinstall();
        co_await std::move(reinstall);
        AppLogger::info(fmt::format("Daemon onboarding reinstall request completed: managerStatus={}",
                                    statusName(manager->currentStatus())),
                        AppLogger::daemon);
    } catch (const std::exception& e) {
        AppLogger::error(e, AppLogger::daemon);
        failure = e.what();
    }
    if (failure) {
        if (auto self = weak.lock())
            self->setPhase(DaemonOnboardingPhase::needsInstall(failure), "reinstall failed");
    }
    // Give a status change time to arrive before the button comes back.
    try {
        co_await clock->sleep(std::chrono::milliseconds(500));
    } catch (...) {
    }
    if (auto self = weak.lock()) {
        self->isInstalling.set(false);
        AppLogger::info(fmt::format("Daemon onboarding Enable Now finished: status={}; phase={}; managerStatus={}",
                                    statusName(self->status_), describe(self->phase.value()),
                                    statusName(manager->currentStatus())),
                        AppLogger::daemon);
    }
}

void DaemonOnboardingView::openSettings()
{
    AppLogger::info("Daemon onboarding Open Settings clicked.", AppLogger::daemon);
    if (environment_.openApproval)
        environment_.openApproval();
}

} // namespace tarnel
