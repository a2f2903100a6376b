#include "App/Shell/OnboardingCoordinator.h"

#include "QuendalFoundation/Logging/AppLogger.h"

#include <asio/this_coro.hpp>

namespace tarnel {

OnboardingCoordinator::OnboardingCoordinator(std::shared_ptr<DaemonManaging> manager, quendal::SheetCoordinator sheets,
                                             std::shared_ptr<quendal::Clock> clock, quendal::Executor executor)
    : manager_(std::move(manager)), sheets_(std::move(sheets)), clock_(std::move(clock)), executor_(std::move(executor))
{
}

bool OnboardingCoordinator::needsUser(DaemonStatus status)
{
    return status == DaemonStatus::notRegistered || status == DaemonStatus::insecure ||
           status == DaemonStatus::requiresApproval || status == DaemonStatus::notFound;
}

void OnboardingCoordinator::start()
{
    std::weak_ptr<OnboardingCoordinator> weak = weak_from_this();
    quendal::combineLatest(manager_->statusPublisher().removeDuplicates(), manager_->recoveringPublisher().removeDuplicates())
        .sink([weak](const std::pair<DaemonStatus, bool>& latest) {
            if (auto self = weak.lock())
                self->handle(latest.first, latest.second);
        })
        .store(cancellables_);
}

void OnboardingCoordinator::handle(DaemonStatus status, bool isRecovering)
{
    if (verificationTask_) {
        verificationTask_->cancel();
        verificationTask_.reset();
    }
    if (needsUser(status)) {
        if (isRecovering) {
            quendal::AppLogger::info("Deferring daemon onboarding while daemon recovery is running");
            return;
        }
        verificationTask_ = quendal::spawn(executor_, verify(weak_from_this()));
        return;
    }
    if (status == DaemonStatus::connected) {
        const quendal::AnyRoute daemon(OnboardingRoute::daemon);
        // A sheet on screen finishes itself; one only queued is no longer needed.
        if (sheets_.navigator->current() != daemon)
            sheets_.navigator->remove(daemon);
    }
}

asio::awaitable<void> OnboardingCoordinator::verify(std::weak_ptr<OnboardingCoordinator> weak)
{
    std::shared_ptr<DaemonManaging> manager;
    std::shared_ptr<quendal::Clock> clock;
    if (auto self = weak.lock()) {
        manager = self->manager_;
        clock = self->clock_;
    } else {
        co_return;
    }
    try {
        co_await clock->sleep(std::chrono::seconds(2));
    } catch (...) {
        co_return; // the status moved on
    }
    auto update = manager->updateStatus();
    co_await std::move(update);
    auto state = co_await asio::this_coro::cancellation_state;
    if (state.cancelled() != asio::cancellation_type::none)
        co_return;
    auto self = weak.lock();
    if (!self || manager->isRecovering() || !needsUser(manager->currentStatus()))
        co_return;
    quendal::AppLogger::info("Enqueueing Daemon onboarding sheet");
    self->sheets_.navigator->enqueue(quendal::AnyRoute(OnboardingRoute::daemon));
}

} // namespace tarnel
