#include "MonitorApp.h"

#include "QuendalFoundation/Logging/AppLogger.h"
#include "TarnelUI/Export/MonitorConfigurationSnapshot.h"
#include "TarnelUI/Export/MonitorConfigurationStore.h"
#include "TarnelUI/Panel/MonitorSettings.h"

#include <QGuiApplication>
#include <QScreen>

#include <fmt/format.h>

namespace tarnel::monitor {

namespace {

const char* const label = quendal::AppLogger::monitor;

std::string names(const std::vector<ShownPanel>& panels)
{
    std::string text;
    for (const auto& panel : panels)
        text += (text.empty() ? "" : ", ") + panel.name;
    return text;
}

} // namespace

MonitorApp::MonitorApp(Options options, QObject* parent) : QObject(parent), options_(std::move(options))
{
    usesTray_ = options_.trayAvailable.value_or(QSystemTrayIcon::isSystemTrayAvailable());
    if (!usesTray_)
        quendal::AppLogger::notice("No system tray: showing the panels as windows.", label);
    // At login the Monitor may start before the desktop's panel: look again now and then.
    if (!usesTray_ && !options_.trayAvailable) {
        trayCheck_.setInterval(options_.trayCheckMilliseconds);
        connect(&trayCheck_, &QTimer::timeout, this, [this] { adoptTrayIfAvailable(QSystemTrayIcon::isSystemTrayAvailable()); });
        trayCheck_.start();
    }
}

bool MonitorApp::adoptTrayIfAvailable(bool available)
{
    if (usesTray_ || !available)
        return false;
    trayCheck_.stop();
    usesTray_ = true;
    quendal::AppLogger::notice("A system tray appeared: moving the panels into it.", label);
    show(std::move(panels_));
    return true;
}

MonitorApp::~MonitorApp() { clear(); }

void MonitorApp::reload()
{
    namespace Store = ui::MonitorConfigurationStore;
    const auto snapshotFile = options_.directory / Store::snapshotFileName;
    const auto settingsFile = options_.directory / Store::settingsFileName;
    if (auto snapshot = Store::loadSnapshot(snapshotFile))
        snapshot_ = std::make_unique<ui::MonitorConfigurationSnapshot>(std::move(*snapshot));
    else
        quendal::AppLogger::warning(fmt::format("No readable configuration snapshot at {}", snapshotFile.string()), label);

    auto settings = Store::loadSettings(settingsFile);
    if (!settings) {
        quendal::AppLogger::warning(fmt::format("No readable Monitor settings at {}", settingsFile.string()), label);
        if (hasSettings_)
            return;
        // Nothing was ever handed over: the panels of a new configuration until it is.
        settings = std::make_shared<ui::MonitorSettings>(ui::MonitorDeviceCapabilities{.hasBattery = options_.hasBattery});
    } else {
        hasSettings_ = true;
    }
    show(shownPanels(*settings));
}

void MonitorApp::clear()
{
    for (auto& item : items_) {
        if (item.icon)
            item.icon->hide();
        delete item.window.data();
    }
    items_.clear();
}

void MonitorApp::show(std::vector<ShownPanel> panels)
{
    clear();
    panels_ = std::move(panels);
    for (std::size_t index = 0; index < panels_.size(); ++index) {
        const auto& panel = panels_[index];
        Item item;
        if (usesTray_) {
            item.icon = std::make_unique<QSystemTrayIcon>();
            QIcon icon;
            for (int size : {22, 44})
                icon.addPixmap(statusImage(panel, size));
            item.icon->setIcon(icon);
            item.icon->setToolTip(statusText(panel));
            connect(item.icon.get(), &QSystemTrayIcon::activated, this, [this, index](QSystemTrayIcon::ActivationReason reason) {
                if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick)
                    activate(index);
            });
            item.icon->show();
        } else {
            item.window = new PanelWindow(panel, PanelWindow::Style::window);
            item.window->setAttribute(Qt::WA_DeleteOnClose, false);
            item.window->show();
        }
        items_.push_back(std::move(item));
    }
    quendal::AppLogger::info(fmt::format("Showing {} panels: {}", panels_.size(), names(panels_)), label);
}

void MonitorApp::activate(std::size_t index)
{
    if (index >= items_.size() || !usesTray_)
        return;
    auto& item = items_[index];
    if (item.window && item.window->isVisible()) {
        item.window->close();
        return;
    }
    delete item.window.data();
    item.window = new PanelWindow(panels_[index], PanelWindow::Style::popup);
    auto anchor = item.icon->geometry();
    if (!anchor.isValid()) {
        const auto area = QGuiApplication::primaryScreen()->availableGeometry();
        anchor = QRect(area.right() - 300, area.top(), 22, 22);
    }
    item.window->popUpAt(anchor);
}

std::vector<QSystemTrayIcon*> MonitorApp::trayIcons() const
{
    std::vector<QSystemTrayIcon*> icons;
    for (const auto& item : items_)
        if (item.icon)
            icons.push_back(item.icon.get());
    return icons;
}

std::vector<PanelWindow*> MonitorApp::windows() const
{
    std::vector<PanelWindow*> windows;
    for (const auto& item : items_)
        if (item.window)
            windows.push_back(item.window.data());
    return windows;
}

} // namespace tarnel::monitor
