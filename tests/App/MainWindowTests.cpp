// The Qt window of the application, offscreen: layout rules, sheets over the window, and the
// screenshots reviewed under docs/screenshots.
#include "Onboarding/DaemonOnboardingSheet.h"
#include "QtExecutor.h"
#include "Settings/SettingsScreen.h"
#include "Shell/MainWindow.h"
#include "Shell/QtSheetHost.h"
#include "Shell/RootScreens.h"
#include "Shell/SidebarView.h"
#include "Theme/ScrollBarStyle.h"
#include "Theme/ThemeManager.h"

#include "App/Shell/OnboardingCoordinator.h"
#include "FakeDaemonManager.h"
#include "Screenshots.h"
#include "TestSupport.h"
#include "WidgetTestSupport.h"

#include "QuendalFoundation/Runtime/Runtime.h"

#include <QApplication>
#include <QComboBox>
#include <QDialog>
#include <QPushButton>
#include <QStyleFactory>
#include <QTest>
#include <QThread>

#include <gtest/gtest.h>

#include <filesystem>

using namespace tarnel;

namespace {

using tarnel::testing::quietRouter;
using tarnel::testing::save;
using tarnel::testing::settle;

} // namespace

int main(int argc, char** argv)
{
    tarnel::testing::WidgetTestOptions options;
    options.applicationName = QStringLiteral("Tarnel");
    return tarnel::testing::runWidgetTests(argc, argv, options);
}

TEST(MainWindow, OpensAtItsMinimumSizeWithTheSidebarAndSettingsAtTheBottom)
{
    gui::TarnelThemeManager::shared().setTheme(quendal::Theme::light);
    auto router = quietRouter();
    gui::MainWindow window(router, gui::rootScreen);
    window.show();
    window.resize(100, 100); // the minimum size wins
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    settle();
    EXPECT_EQ(window.size(), QSize(980, 612));
    EXPECT_EQ(window.sidebar().width(), 200);
    EXPECT_EQ(window.sidebar().row(AppRoute::battery), nullptr) << "no Battery row before the first batch";
    auto* settings = window.sidebar().row(AppRoute::settings);
    auto* cooling = window.sidebar().row(AppRoute::cooling);
    ASSERT_TRUE(settings && cooling);
    EXPECT_GT(settings->geometry().bottom(), window.sidebar().height() - 60) << "settings pinned to the bottom";
    EXPECT_GT(settings->geometry().top() - cooling->geometry().bottom(), 100) << "a flexible space before it";
    EXPECT_TRUE(window.sidebar().row(AppRoute::dashboard)->isChecked());
    save(window, "main-window-dashboard");

    QTest::mouseClick(settings, Qt::LeftButton);
    settle();
    EXPECT_EQ(router->route.value(), AppRoute::settings);
    EXPECT_TRUE(settings->isChecked());
    EXPECT_FALSE(window.sidebar().row(AppRoute::dashboard)->isChecked());
    auto* screen = dynamic_cast<gui::CollectionScreen*>(window.content().currentScreen());
    ASSERT_NE(screen, nullptr);
    EXPECT_EQ(screen->provider().identifier, "settings");
    auto* themeMenu = gui::settingsMenu(*screen, "theme");
    ASSERT_TRUE(themeMenu && gui::settingsMenu(*screen, "temperatureUnit") && gui::settingsSwitch(*screen, "runMonitorAtLogin"));
    EXPECT_EQ(themeMenu->currentText(), "Light");
    save(window, "settings-light");

    // Choosing from the menu applies the theme, and the same menu shows it.
    themeMenu->setCurrentIndex(2);
    Q_EMIT themeMenu->activated(2);
    settle();
    EXPECT_EQ(gui::TarnelThemeManager::shared().theme(), quendal::Theme::dark);
    EXPECT_EQ(gui::settingsMenu(*screen, "theme"), themeMenu);
    EXPECT_EQ(themeMenu->currentText(), "Dark");
    EXPECT_TRUE(gui::TarnelThemeManager::shared().appearance().dark);
    EXPECT_EQ(QApplication::palette().color(QPalette::Window), gui::Appearance::darkAppearance().window);
    save(window, "settings-dark");
    gui::TarnelThemeManager::shared().setTheme(quendal::Theme::light);
}

TEST(MainWindow, ASheetQueuedBeforeTheWindowExistsAppearsWithIt)
{
    auto host = std::make_shared<gui::QtSheetHost>();
    auto sheets = quendal::SheetCoordinator::make(host, {}, quendal::Runtime::shared().mainExecutor());
    auto manager = std::make_shared<tarnel::testing::FakeDaemonManager>();
    manager->status.set(DaemonStatus::notRegistered);
    sheets.router->registerViewController<OnboardingRoute>([&](const OnboardingRoute&) {
        auto model = DaemonOnboardingView::make(manager, [] {},
                                                {quendal::Runtime::shared().mainExecutor(),
                                                 quendal::Runtime::shared().clockPointer(), nullptr});
        return std::make_shared<gui::DaemonOnboardingSheet>(model, [] {});
    });
    sheets.navigator->enqueue(quendal::AnyRoute(OnboardingRoute::daemon));
    settle();
    EXPECT_EQ(host->sheetCount(), 0u) << "no window yet: the route waits";

    gui::MainWindow window(quietRouter(), nullptr);
    window.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    host->setWindow(&window);
    settle();
    ASSERT_EQ(host->sheetCount(), 1u) << "presented once the window exists";
    auto* dialog = host->topSheet();
    ASSERT_TRUE(dialog && dialog->isVisible());
    EXPECT_TRUE(dialog->isModal());

    // Closing the sheet by hand dequeues the route.
    dialog->reject();
    settle();
    EXPECT_EQ(host->sheetCount(), 0u);
    EXPECT_FALSE(sheets.navigator->current());
}

TEST(MainWindow, OnboardingPhasesRenderTheirTextsAndButtons)
{
    auto manager = std::make_shared<tarnel::testing::FakeDaemonManager>();
    manager->status.set(DaemonStatus::notRegistered);
    auto model = DaemonOnboardingView::make(manager, [] {},
                                            {quendal::Runtime::shared().mainExecutor(),
                                             quendal::Runtime::shared().clockPointer(), nullptr});
    gui::DaemonOnboardingSheet sheet(model, [] {});
    sheet.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&sheet));
    settle();
    EXPECT_EQ(sheet.button()->text(), QStringLiteral("Enable Now"));
    EXPECT_TRUE(sheet.button()->isEnabled());
    const auto size = sheet.fittingSize();
    EXPECT_GT(size.width, 0);
    EXPECT_GT(size.height, 0);
    save(sheet, "onboarding-needs-install");

    model->setPhase(DaemonOnboardingPhase::needsInstall(DaemonSetupFailure::notStarted), "screenshot");
    model->isInstalling.set(false);
    settle();
    save(sheet, "onboarding-needs-install-error");

    model->isInstalling.set(true);
    settle();
    EXPECT_FALSE(sheet.button()->isEnabled()) << "disabled while installing";
    save(sheet, "onboarding-installing");
    model->isInstalling.set(false);

    model->setPhase(DaemonOnboardingPhase::awaitingApproval(), "screenshot");
    settle();
    EXPECT_EQ(sheet.button()->text(), QStringLiteral("Approve Now"));
    save(sheet, "onboarding-awaiting-approval");

    model->setPhase(DaemonOnboardingPhase::completed(), "screenshot");
    settle();
    EXPECT_FALSE(sheet.button()->isVisible()) << "the last phase has no button";
    save(sheet, "onboarding-completed");
}
