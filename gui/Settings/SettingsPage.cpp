#include "Settings/SettingsPage.h"

#include "Theme/CardFrame.h"
#include "Theme/ThemeManager.h"

#include "App/Localization/Localizable.h"

#include "QuendalFoundation/Formatting/TemperatureFormatter.h"
#include "QuendalFoundation/Preferences/Preferences.h"
#include "QuendalFoundation/Preferences/Theme.h"

#include <QCheckBox>
#include <QComboBox>
#include <QEvent>
#include <QFrame>
#include <QGridLayout>
#include <QLabel>
#include <QVBoxLayout>

namespace tarnel::gui {

namespace {

QString text(std::string_view key)
{
    return QString::fromStdString(localized(key));
}

QFrame* card(QWidget* parent)
{
    return new CardFrame(parent);
}

QLabel* sectionTitle(std::string_view key, QWidget* parent)
{
    auto* label = new QLabel(text(key), parent);
    TarnelThemeManager::style(label, Role::sectionTitle);
    return label;
}

} // namespace

SettingsPage::SettingsPage(QWidget* parent) : QWidget(parent)
{
    auto& preferences = quendal::Preferences::shared();
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 4, 0, 0);
    layout->setSpacing(10);
    layout->addSpacing(4);

    // Monitor
    layout->addWidget(sectionTitle("monitor_title", this));
    auto* monitor = card(this);
    auto* monitorLayout = new QVBoxLayout(monitor);
    monitorLayout->setContentsMargins(16, 12, 16, 12);
    runAtLogin_ = new QCheckBox(text("settings_monitor_run_at_login"), monitor);
    runAtLogin_->setChecked(quendal::read(preferences, quendal::PreferenceKeys::runMonitorAtLogin));
    connect(runAtLogin_, &QCheckBox::toggled, this,
            [](bool on) { quendal::write(quendal::Preferences::shared(), quendal::PreferenceKeys::runMonitorAtLogin, on); });
    auto* note = new QLabel(text("settings_monitor_run_at_login_note"), monitor);
    TarnelThemeManager::style(note, Role::note);
    note->setWordWrap(true);
    monitorLayout->addWidget(runAtLogin_);
    monitorLayout->addWidget(note);
    layout->addWidget(monitor);
    layout->addSpacing(10);

    // Appearance
    layout->addWidget(sectionTitle("settings_appearance_title", this));
    auto* appearance = card(this);
    auto* grid = new QGridLayout(appearance);
    grid->setContentsMargins(16, 12, 16, 12);
    grid->setHorizontalSpacing(24);
    grid->setVerticalSpacing(10);
    theme_ = new QComboBox(appearance);
    for (auto theme : quendal::allThemes)
        theme_->addItem(text(quendal::titleKey(theme)));
    theme_->setCurrentIndex(static_cast<int>(TarnelThemeManager::shared().theme()));
    connect(theme_, &QComboBox::activated, this, [](int index) {
        TarnelThemeManager::shared().setTheme(quendal::allThemes[static_cast<std::size_t>(index)]);
    });
    temperature_ = new QComboBox(appearance);
    for (auto format : quendal::allTemperatureUnitFormats)
        temperature_->addItem(text(quendal::titleKey(format)));
    const auto stored = quendal::temperatureUnitFormat(quendal::read(preferences, quendal::PreferenceKeys::temperatureUnitFormat));
    temperature_->setCurrentIndex(static_cast<int>(stored));
    connect(temperature_, &QComboBox::activated, this, [](int index) {
        const auto format = quendal::allTemperatureUnitFormats[static_cast<std::size_t>(index)];
        quendal::write(quendal::Preferences::shared(), quendal::PreferenceKeys::temperatureUnitFormat,
                       std::string(quendal::rawValue(format)));
    });
    theme_->setMinimumWidth(160);
    temperature_->setMinimumWidth(160);
    grid->addWidget(new QLabel(text("settings_theme_title"), appearance), 0, 0);
    grid->addWidget(theme_, 0, 1, Qt::AlignRight);
    grid->addWidget(new QLabel(text("settings_temperature_title"), appearance), 1, 0);
    grid->addWidget(temperature_, 1, 1, Qt::AlignRight);
    grid->setColumnStretch(0, 1);
    layout->addWidget(appearance);
    layout->addStretch(1);
}

void SettingsPage::changeEvent(QEvent* event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        theme_->setCurrentIndex(static_cast<int>(TarnelThemeManager::shared().theme()));
}

} // namespace tarnel::gui
