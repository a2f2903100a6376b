#pragma once

#include "App/Shell/AppDelegate.h"
#include "App/Shell/Router.h"
#include "TarnelKit/Daemon/DaemonLink.h"

#include <QObject>

#include <memory>

namespace tarnel::gui {

class MainWindow;
class QtSheetHost;
class WakeObserver;

// Assembles the application: the daemon link, the router, the main window with its sheets,
// the coordinators and the delegate, and hands the toolkit's events to the delegate.
class TarnelApplication : public QObject {
public:
    struct Options {
        bool launchedAtLogin = false;
        // Start the daemon link; tests of the window leave it off.
        bool connectDaemon = true;
        // The router of the window; the process's shared one when empty.
        std::shared_ptr<Router> router;
    };

    explicit TarnelApplication(Options options);
    ~TarnelApplication() override;

    void launch();
    // Another launch asked for this one: the window comes forward, also from the tray-only
    // start at login.
    void reopen();
    MainWindow& window() const { return *window_; }
    QtSheetHost& sheetHost() const { return *sheetHost_; }
    AppCoordinator& coordinator() const { return *coordinator_; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    ShellServices makeServices();
    LaunchHost makeLaunchHost(bool launchedAtLogin);
    void reportAProblem();
    void showAbout();
    void openWebsite();

    Options options_;
    std::optional<DaemonLink> link_;
    std::shared_ptr<QtSheetHost> sheetHost_;
    std::shared_ptr<AppCoordinator> coordinator_;
    std::unique_ptr<AppDelegate> delegate_;
    std::unique_ptr<MainWindow> window_;
    WakeObserver* wakeObserver_ = nullptr;
    std::vector<quendal::Task> tasks_;
};

} // namespace tarnel::gui
