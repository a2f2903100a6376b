#include "Onboarding/DaemonOnboardingSheet.h"

#include "Theme/ThemeManager.h"

#include "App/Localization/Localizable.h"

#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

namespace tarnel::gui {

namespace {

QString text(std::string_view key)
{
    return QString::fromStdString(localized(key));
}

std::string_view failureKey(DaemonSetupFailure failure)
{
    switch (failure) {
    case DaemonSetupFailure::programMissing:
        return "onboarding_error_program_missing";
    case DaemonSetupFailure::notStarted:
        return "onboarding_error_not_started";
    case DaemonSetupFailure::notAnswering:
        return "onboarding_error_not_answering";
    case DaemonSetupFailure::incompatible:
        return "onboarding_error_incompatible";
    case DaemonSetupFailure::unknown:
        break;
    }
    return "onboarding_error_unknown";
}

} // namespace

DaemonOnboardingSheet::DaemonOnboardingSheet(std::shared_ptr<DaemonOnboardingView> model, std::function<void()> quit,
                                             QWidget* parent)
    : QWidget(parent), model_(std::move(model)), icon_(new QLabel(this)), title_(new QLabel(this)), text_(new QLabel(this)),
      error_(new QLabel(this)), button_(new QPushButton(this)), quit_(new QPushButton(this)),
      progress_(new QProgressBar(this))
{
    setObjectName(QStringLiteral("daemonOnboarding"));
    setFixedWidth(440);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(32, 28, 32, 24);
    layout->setSpacing(12);
    icon_->setAlignment(Qt::AlignCenter);
    TarnelThemeManager::style(title_, Role::sheetTitle);
    title_->setAlignment(Qt::AlignCenter);
    title_->setWordWrap(true);
    text_->setAlignment(Qt::AlignCenter);
    text_->setWordWrap(true);
    TarnelThemeManager::style(error_, Role::errorText);
    error_->setAlignment(Qt::AlignCenter);
    error_->setWordWrap(true);
    progress_->setRange(0, 0);
    progress_->setTextVisible(false);
    progress_->setFixedHeight(4);
    button_->setDefault(true);
    TarnelThemeManager::style(button_, Role::primaryButton);
    button_->setMinimumWidth(160);
    layout->addWidget(icon_);
    layout->addWidget(title_);
    layout->addWidget(text_);
    layout->addWidget(error_);
    layout->addSpacing(6);
    layout->addWidget(progress_);
    layout->addWidget(button_, 0, Qt::AlignHCenter);
    quit_->setText(text("onboarding_quit_button"));
    quit_->setFlat(true);
    quit_->setAutoDefault(false);
    layout->addWidget(quit_, 0, Qt::AlignHCenter);
    connect(quit_, &QPushButton::clicked, this, [quit = std::move(quit)] {
        if (quit)
            quit();
    });

    connect(button_, &QPushButton::clicked, this, [this] {
        if (model_->phase.value().kind == DaemonOnboardingPhase::Kind::awaitingApproval)
            model_->openSettings();
        else
            model_->enableNow();
    });
    model_->phase.publisher().sink([this](const DaemonOnboardingPhase&) { render(); }).store(cancellables_);
    model_->isInstalling.publisher().sink([this](const bool&) { render(); }).store(cancellables_);
}

void DaemonOnboardingSheet::render()
{
    const auto phase = model_->phase.value();
    const bool installing = model_->isInstalling.value();
    const auto& appearance = TarnelThemeManager::shared().appearance();
    using Kind = DaemonOnboardingPhase::Kind;
    const bool done = phase.kind == Kind::completed;
    icon_->setPixmap(TarnelThemeManager::icon(done ? QStringLiteral("shield-check") : QStringLiteral("shield"),
                                              done ? QColor(0x2e, 0xa0, 0x4f) : appearance.accent, 56)
                         .pixmap(56, 56));
    switch (phase.kind) {
    case Kind::needsInstall:
        title_->setText(text("onboarding_install_title"));
        text_->setText(text("onboarding_install_text"));
        button_->setText(text("onboarding_install_button"));
        break;
    case Kind::awaitingApproval:
        title_->setText(text("onboarding_approval_title"));
        text_->setText(text("onboarding_approval_text"));
        button_->setText(text("onboarding_approval_button"));
        break;
    case Kind::completed:
        title_->setText(text("onboarding_completed_title"));
        text_->setText(text("onboarding_completed_text"));
        break;
    }
    error_->setVisible(phase.kind == Kind::needsInstall && phase.failure.has_value());
    if (phase.failure)
        error_->setText(text(failureKey(*phase.failure)));
    button_->setVisible(!done);
    quit_->setVisible(!done);
    button_->setEnabled(!(phase.kind == Kind::needsInstall && installing));
    progress_->setVisible(phase.kind == Kind::needsInstall && installing);
    adjustSize();
    // The dialog around the sheet was sized for the texts it had then; a sentence that came
    // later must not be cut off.
    if (auto* dialog = window(); dialog != this && dialog->height() < dialog->sizeHint().height())
        dialog->adjustSize();
}

quendal::SheetSize DaemonOnboardingSheet::fittingSize()
{
    render();
    const auto size = sizeHint();
    return {static_cast<double>(size.width()), static_cast<double>(size.height())};
}

void DaemonOnboardingSheet::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    model_->appear();
}

void DaemonOnboardingSheet::hideEvent(QHideEvent* event)
{
    QWidget::hideEvent(event);
    model_->disappear();
}

} // namespace tarnel::gui
