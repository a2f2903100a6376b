#include "App/Shell/MainCoordinator.h"

namespace tarnel {

MainCoordinator::MainCoordinator(ShellServices services, quendal::SheetCoordinator sheets)
    : services_(std::move(services)), sheets_(std::move(sheets)),
      onboarding_(std::make_shared<OnboardingCoordinator>(services_.manager, sheets_, services_.clock, services_.executor))
{
}

void MainCoordinator::start()
{
    auto navigator = sheets_.navigator;
    auto makeSheet = services_.makeOnboardingSheet;
    sheets_.router->registerViewController<OnboardingRoute>([navigator, makeSheet](const OnboardingRoute&) {
        std::weak_ptr<quendal::QueueNavigator> weak = navigator;
        return makeSheet([weak] {
            if (auto queue = weak.lock())
                queue->dequeue();
        });
    });
    onboarding_->start();
}

} // namespace tarnel
