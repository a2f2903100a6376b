#pragma once

#include "MonitorModel.h"
#include "PanelWindow.h"

#include <QObject>
#include <QPointer>
#include <QSystemTrayIcon>

#include <QTimer>

#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

namespace tarnel::ui {
class MonitorConfigurationSnapshot;
}

namespace tarnel::monitor {

// What the Monitor app shows: one status item per shown panel with its popup, or one window per
// panel where the desktop has no tray. Reads the application's two files on every reload.
class MonitorApp : public QObject {
    Q_OBJECT
public:
    struct Options {
        std::filesystem::path directory;
        // Decides the panels shown before the application handed any over.
        bool hasBattery = true;
        // Null asks the desktop whether a tray host exists.
        std::optional<bool> trayAvailable;
        // How often a Monitor showing windows looks for a tray host that started after it.
        int trayCheckMilliseconds = 5000;
    };

    explicit MonitorApp(Options options, QObject* parent = nullptr);
    ~MonitorApp() override;

    // Reads both files; a file that is missing or does not read keeps what is shown.
    void reload();

    const std::vector<ShownPanel>& panels() const { return panels_; }
    // The last snapshot read; null before one was.
    const ui::MonitorConfigurationSnapshot* snapshot() const { return snapshot_.get(); }
    bool usesTray() const { return usesTray_; }
    std::vector<QSystemTrayIcon*> trayIcons() const;
    std::vector<PanelWindow*> windows() const;
    // Opens the popup of the panel at `index` as its status item would.
    void activate(std::size_t index);
    // Moves the panels from windows into the tray once a tray host exists; true when it did.
    bool adoptTrayIfAvailable(bool available);

private:
    struct Item {
        std::unique_ptr<QSystemTrayIcon> icon;
        QPointer<PanelWindow> window;
    };
    void show(std::vector<ShownPanel> panels);
    void clear();

    Options options_;
    bool usesTray_ = false;
    std::vector<ShownPanel> panels_;
    std::vector<Item> items_;
    std::unique_ptr<ui::MonitorConfigurationSnapshot> snapshot_;
    bool hasSettings_ = false;
    QTimer trayCheck_;
};

} // namespace tarnel::monitor
