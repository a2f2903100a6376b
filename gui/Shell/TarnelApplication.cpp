#include "Shell/TarnelApplication.h"

#include "Onboarding/DaemonOnboardingSheet.h"
#include "Shell/AboutBox.h"
#include "Shell/AppMenu.h"
#include "Shell/MainWindow.h"
#include "Shell/QtReportProblemPresenter.h"
#include "Shell/QtSheetHost.h"
#include "Shell/RootScreens.h"
#include "Shell/WakeObserver.h"
#include "Shell/WebsiteLink.h"
#include "Theme/ThemeManager.h"

#include "App/Shell/DiskImageCheck.h"
#include "App/Shell/Router.h"
#include "TarnelKit/Catalog/DaemonDataPreloader.h"

#include "TarnelFoundation/Identity/MonitorAppIdentity.h"

#include "QuendalFoundation/Logging/AppLogger.h"
#include "QuendalFoundation/Preferences/Preferences.h"

#include <QApplication>
#include <QDesktopServices>
#include <QEvent>
#include <QMessageBox>
#include <QStandardPaths>
#include <QSysInfo>
#include <QUrl>

#include <asio/co_spawn.hpp>
#include <asio/detached.hpp>

namespace tarnel::gui {

namespace {

quendal::Executor mainExecutor()
{
    return quendal::Runtime::shared().mainExecutor();
}

DaemonLink makeLink()
{
    DaemonLink::Options options;
    options.identifier = MonitorAppIdentity::daemon();
    options.registry = makeServiceRegistry(options.identifier, false);
    options.hostBuild = TARNEL_BUILD_NUMBER_TEXT;
    options.applicationPath = QCoreApplication::applicationFilePath().toStdString();
    // The process's preferences live as long as the process.
    options.preferences = std::shared_ptr<quendal::Preferences>(&quendal::Preferences::shared(), [](quendal::Preferences*) {});
    options.executor = mainExecutor();
    options.clock = quendal::Runtime::shared().clockPointer();
    return DaemonLink::make(std::move(options));
}

} // namespace

TarnelApplication::TarnelApplication(Options options) : options_(options), sheetHost_(std::make_shared<QtSheetHost>())
{
    if (options_.connectDaemon) {
        link_ = makeLink();
        link_->installShared();
    }
    auto sheets = quendal::SheetCoordinator::make(sheetHost_, {}, mainExecutor());
    coordinator_ = std::make_shared<AppCoordinator>(makeServices(), sheets);
    delegate_ = std::make_unique<AppDelegate>(makeLaunchHost(options_.launchedAtLogin), coordinator_);
}

TarnelApplication::~TarnelApplication() = default;

ShellServices TarnelApplication::makeServices()
{
    ShellServices services;
    services.executor = mainExecutor();
    services.clock = quendal::Runtime::shared().clockPointer();
    if (link_) {
        auto manager = link_->manager;
        services.manager = manager;
        services.startManager = [manager] { asio::co_spawn(mainExecutor(), manager->start(), asio::detached); };
        services.reconnectStatistics = [client = link_->statsClient] { client->handleSystemWake(); };
        services.uninstallLegacyFiles = [client = link_->daemonClient]() { return client->uninstallLegacyFiles(); };
    }
    services.observeWake = [this](std::function<void()> woke) {
        wakeObserver_ = new WakeObserver(std::move(woke), this);
        return quendal::Cancellable([this] {
            delete wakeObserver_;
            wakeObserver_ = nullptr;
        });
    };
    services.refreshCatalogues = []() -> asio::awaitable<void> {
        auto hardware = HardwareCatalogStore::shared()->refresh();
        co_await std::move(hardware);
        auto inventory = SystemInventoryStore::shared()->refresh();
        co_await std::move(inventory);
        auto displays = DisplayCatalogStore::shared()->refresh();
        co_await std::move(displays);
    };
    services.startPreloading = [] {
        auto preloader = DaemonDataPreloader::shared();
        preloader->startStaticWarmup();
        preloader->startStartupStatsCache();
        preloader->startStorageSmartCache();
    };
    services.showMainWindow = [this] {
        if (!window_)
            return;
        window_->show();
        window_->raise();
        window_->activateWindow();
    };
    services.makeOnboardingSheet = [this](std::function<void()> done) -> std::shared_ptr<quendal::SheetContent> {
        if (!link_)
            return nullptr;
        auto manager = link_->manager;
        DaemonOnboardingView::Environment environment{mainExecutor(), quendal::Runtime::shared().clockPointer(), [this, manager] {
                                                          // The administrator prompt comes with the registration.
                                                          tasks_.push_back(quendal::spawnOnMain(manager->reinstall()));
                                                      }};
        auto model = DaemonOnboardingView::make(manager, std::move(done), std::move(environment));
        return std::make_shared<DaemonOnboardingSheet>(model, [] { QApplication::quit(); });
    };
    return services;
}

LaunchHost TarnelApplication::makeLaunchHost(bool launchedAtLogin)
{
    LaunchHost host;
    host.executable = QCoreApplication::applicationFilePath().toStdString();
    host.version = QCoreApplication::applicationVersion().isEmpty()
                       ? std::nullopt
                       : std::optional(QCoreApplication::applicationVersion().toStdString());
    host.build = std::string(TARNEL_BUILD_NUMBER_TEXT);
    host.operatingSystem = QSysInfo::prettyProductName().toStdString() + " (" + QSysInfo::kernelVersion().toStdString() + ")";
    host.launchedAtLogin = launchedAtLogin;
    host.createThemeManager = [] { TarnelThemeManager::shared(); };
    host.installMainMenu = [this] {
        if (!window_)
            return;
        AppMenuActions actions;
        auto* window = window_.get();
        actions.showAbout = [this] { showAbout(); };
        auto router = options_.router ? options_.router : Router::shared();
        actions.showSettings = [router] { router->navigate(AppRoute::settings); };
        actions.quit = [] { QApplication::quit(); };
        actions.closeWindow = [] {
            if (auto* active = QApplication::activeWindow())
                active->close();
        };
        actions.minimize = [window] { window->showMinimized(); };
        actions.zoom = [window] { window->isMaximized() ? window->showNormal() : window->showMaximized(); };
        actions.toggleFullScreen = [window] { window->isFullScreen() ? window->showNormal() : window->showFullScreen(); };
        actions.openWebsite = [this] { openWebsite(); };
        actions.reportAProblem = [this] { reportAProblem(); };
        window_->setMenuBar(buildAppMenu(actions, window_.get()));
    };
    host.showCriticalAlert = [](const std::string& message, const std::string& informative) {
        QMessageBox box(QMessageBox::Critical, QString::fromStdString(message), QString::fromStdString(message));
        box.setInformativeText(QString::fromStdString(informative));
        box.exec();
    };
    host.terminate = [] { QCoreApplication::exit(1); };
    host.isOnDiskImage = [](const std::filesystem::path& file) { return isOnDiskImage(file); };
    return host;
}

void TarnelApplication::launch()
{
    window_ = std::make_unique<MainWindow>(options_.router ? options_.router : Router::shared(), rootScreen);
    window_->installEventFilter(this);
    delegate_->applicationWillFinishLaunching();
    sheetHost_->setWindow(window_.get());
    sheetHost_->setQuit([] { QApplication::quit(); });
    delegate_->applicationDidFinishLaunching();
}

void TarnelApplication::reopen()
{
    if (!window_)
        return;
    delegate_->applicationShouldHandleReopen(window_->isVisible() && !window_->isMinimized());
    if (window_->isMinimized())
        window_->showNormal();
    window_->raise();
    window_->activateWindow();
}

void TarnelApplication::showAbout()
{
    AboutBox box(window_.get());
    box.exec();
}

void TarnelApplication::openWebsite()
{
    gui::openWebsite(window_.get(), QUrl(QStringLiteral(TARNEL_WEBSITE_URL)),
                     [](const QUrl& url) { return QDesktopServices::openUrl(url); });
}

bool TarnelApplication::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == window_.get() && event->type() == QEvent::WindowActivate)
        delegate_->applicationDidBecomeActive();
    return QObject::eventFilter(watched, event);
}

void TarnelApplication::reportAProblem()
{
    const std::vector<quendal::AppLogger::LogSource> sources{
        {MonitorAppIdentity::mainApplication(), std::string("Tarnel")},
        {MonitorAppIdentity::monitorApp(), std::string("Tarnel Monitor")},
        {MonitorAppIdentity::daemon(), std::string("TarnelDaemon")},
    };
    auto archive = std::make_shared<quendal::LogArchive>(sources, std::filesystem::temp_directory_path());
    auto presenter = std::make_shared<QtReportProblemPresenter>(window_.get(), QStringLiteral(TARNEL_WEBSITE_URL));
    const auto desktop = QStandardPaths::writableLocation(QStandardPaths::DesktopLocation).toStdString();
    auto run = [](std::shared_ptr<quendal::LogArchive> a, std::shared_ptr<QtReportProblemPresenter> p,
                  std::filesystem::path d) -> asio::awaitable<void> {
        auto work = a->reportAProblem(*p, d);
        co_await std::move(work);
    };
    tasks_.push_back(quendal::spawnOnMain(run(archive, presenter, desktop)));
}

} // namespace tarnel::gui
