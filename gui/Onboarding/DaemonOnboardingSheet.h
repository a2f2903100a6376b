#pragma once

#include "TarnelKit/Onboarding/DaemonOnboardingView.h"

#include "QuendalCore/Navigation/NavigationRouter.h"

#include <QWidget>

#include <functional>
#include <memory>

class QLabel;
class QProgressBar;
class QPushButton;

namespace tarnel::gui {

// The daemon onboarding sheet: renders the phases of its view model and forwards the buttons.
class DaemonOnboardingSheet : public QWidget, public quendal::SheetContent {
public:
    // `quit` ends the application: the sheet never traps the user.
    DaemonOnboardingSheet(std::shared_ptr<DaemonOnboardingView> model, std::function<void()> quit, QWidget* parent = nullptr);

    quendal::SheetSize fittingSize() override;
    DaemonOnboardingView& model() const { return *model_; }
    QPushButton* button() const { return button_; }
    QPushButton* quitButton() const { return quit_; }
    QLabel* errorLabel() const { return error_; }

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void render();

    std::shared_ptr<DaemonOnboardingView> model_;
    QLabel* icon_;
    QLabel* title_;
    QLabel* text_;
    QLabel* error_;
    QPushButton* button_;
    QPushButton* quit_;
    QProgressBar* progress_;
    quendal::Cancellables cancellables_;
};

} // namespace tarnel::gui
