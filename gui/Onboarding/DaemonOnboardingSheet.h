#pragma once

#include "TarnelKit/Onboarding/DaemonOnboardingView.h"

#include "QuendalCore/Navigation/NavigationRouter.h"

#include <QWidget>

#include <memory>

class QLabel;
class QProgressBar;
class QPushButton;

namespace tarnel::gui {

// The daemon onboarding sheet: renders the phases of its view model and forwards the buttons.
class DaemonOnboardingSheet : public QWidget, public quendal::SheetContent {
public:
    explicit DaemonOnboardingSheet(std::shared_ptr<DaemonOnboardingView> model, QWidget* parent = nullptr);

    quendal::SheetSize fittingSize() override;
    DaemonOnboardingView& model() const { return *model_; }
    QPushButton* button() const { return button_; }

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
    QProgressBar* progress_;
    quendal::Cancellables cancellables_;
};

} // namespace tarnel::gui
