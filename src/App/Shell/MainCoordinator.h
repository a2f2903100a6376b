#pragma once

#include "App/Shell/OnboardingCoordinator.h"
#include "App/Shell/ShellServices.h"

#include "QuendalCore/Navigation/SheetController.h"

#include <memory>

namespace tarnel {

// Owns the sheet machinery of the main window and the onboarding that feeds it.
class MainCoordinator {
public:
    MainCoordinator(ShellServices services, quendal::SheetCoordinator sheets);

    // Registers the sheet destinations, then starts onboarding.
    void start();

    const quendal::SheetCoordinator& sheets() const { return sheets_; }
    OnboardingCoordinator& onboarding() { return *onboarding_; }

private:
    ShellServices services_;
    quendal::SheetCoordinator sheets_;
    std::shared_ptr<OnboardingCoordinator> onboarding_;
};

} // namespace tarnel
