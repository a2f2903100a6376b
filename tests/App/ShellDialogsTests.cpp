// The shell's windows that a new user meets first, offscreen: the onboarding sheet when the
// daemon's program is missing and its ways out, the sidebar by keyboard, the About box, the
// saved-logs box, and the theme's colours that must stand out.
#include "Onboarding/DaemonOnboardingSheet.h"
#include "QtExecutor.h"
#include "Shell/AboutBox.h"
#include "Shell/MainWindow.h"
#include "Shell/QtReportProblemPresenter.h"
#include "Shell/QtSheetHost.h"
#include "Shell/RootScreens.h"
#include "Shell/SidebarView.h"
#include "Shell/WebsiteLink.h"
#include "Theme/ScrollBarStyle.h"
#include "Theme/ThemeManager.h"

#include "App/Localization/Localizable.h"
#include "App/Shell/OnboardingCoordinator.h"
#include "TarnelKit/Daemon/DaemonManager.h"
#include "FakeDaemonManager.h"
#include "Screenshots.h"
#include "TestSupport.h"
#include "WidgetTestSupport.h"

#include "QuendalFoundation/Runtime/Runtime.h"

#include <QApplication>
#include <QDialog>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QScrollBar>
#include <QStyleFactory>
#include <QTest>
#include <QTimer>

#include <gtest/gtest.h>

using namespace tarnel;

namespace {

using tarnel::testing::quietRouter;
using tarnel::testing::save;
using tarnel::testing::settle;

double luminance(const QColor& c)
{
    return 0.2126 * c.redF() + 0.7152 * c.greenF() + 0.0722 * c.blueF();
}

// The sheet over a window, as the application shows it, with a daemon whose program is missing.
struct MissingDaemonSheet {
    MissingDaemonSheet()
    {
        manager->status.set(DaemonStatus::notFound);
        manager->onReinstall = [] {
            throw DaemonInstallError(DaemonStatus::notFound,
                                     "tarnel::RegistryError: domain=session; code=2; description=cannot start "
                                     "/usr/libexec/tarnel/tarneld: No such file or directory");
        };
        host->setQuit([this] { ++quits; });
        sheets.router->registerViewController<OnboardingRoute>([this](const OnboardingRoute&) {
            auto model = DaemonOnboardingView::make(manager, [] {},
                                                    {quendal::Runtime::shared().mainExecutor(),
                                                     quendal::Runtime::shared().clockPointer(), nullptr});
            sheet = std::make_shared<gui::DaemonOnboardingSheet>(model, [this] { ++quits; });
            return sheet;
        });
        window.show();
        host->setWindow(&window);
        sheets.navigator->enqueue(quendal::AnyRoute(OnboardingRoute::daemon));
        settle();
    }
    std::shared_ptr<tarnel::testing::FakeDaemonManager> manager = std::make_shared<tarnel::testing::FakeDaemonManager>();
    std::shared_ptr<gui::QtSheetHost> host = std::make_shared<gui::QtSheetHost>();
    quendal::SheetCoordinator sheets = quendal::SheetCoordinator::make(host, {}, quendal::Runtime::shared().mainExecutor());
    std::shared_ptr<gui::DaemonOnboardingSheet> sheet;
    gui::MainWindow window{quietRouter(), nullptr};
    int quits = 0;
};

} // namespace

int main(int argc, char** argv)
{
    tarnel::testing::WidgetTestOptions options;
    options.applicationName = QStringLiteral("Tarnel");
    options.applicationVersion = QStringLiteral("1.4.0");
    return tarnel::testing::runWidgetTests(argc, argv, options);
}

TEST(ShellDialogs, TheDaemonMissingSheetExplainsInASentenceAndAlwaysLetsTheUserQuit)
{
    for (auto theme : {quendal::Theme::light, quendal::Theme::dark}) {
        gui::TarnelThemeManager::shared().setTheme(theme);
        MissingDaemonSheet s;
        ASSERT_EQ(s.host->sheetCount(), 1u);
        ASSERT_TRUE(s.sheet);
        QTest::mouseClick(s.sheet->button(), Qt::LeftButton);
        QTest::qWait(700); // the button comes back half a second after the failure
        settle();
        auto* error = s.sheet->errorLabel();
        ASSERT_TRUE(error->isVisible());
        EXPECT_EQ(error->text().toStdString(), localized("onboarding_error_program_missing"));
        EXPECT_FALSE(error->text().contains(QStringLiteral("RegistryError"))) << "the exception stays in the log";
        EXPECT_GE(error->height(), error->heightForWidth(error->width())) << "the whole sentence shows, no line cut off";
        EXPECT_TRUE(s.sheet->button()->isEnabled()) << "Enable Now can be tried again";
        auto* dialog = s.host->topSheet();
        ASSERT_TRUE(dialog);
        EXPECT_GE(dialog->height(), dialog->sizeHint().height()) << "the sheet grew with its sentence";
        const bool dark = theme == quendal::Theme::dark;
        save(*dialog, dark ? "onboarding-daemon-missing-dark" : "onboarding-daemon-missing");

        // The window's menu is blocked by the sheet; Ctrl+Q and the sheet's own button are not.
        QTest::keyClick(dialog, Qt::Key_Q, Qt::ControlModifier);
        EXPECT_EQ(s.quits, 1) << "Ctrl+Q quits while the sheet is up";
        ASSERT_TRUE(s.sheet->quitButton()->isVisible());
        QTest::mouseClick(s.sheet->quitButton(), Qt::LeftButton);
        EXPECT_EQ(s.quits, 2);
    }
    gui::TarnelThemeManager::shared().setTheme(quendal::Theme::light);
}

TEST(ShellDialogs, TheSidebarOpensTheFocusedEntryWithEnterAndSpace)
{
    auto router = quietRouter();
    gui::MainWindow window(router, gui::rootScreen);
    window.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    settle();
    auto& sidebar = window.sidebar();
    auto* cooling = sidebar.row(AppRoute::cooling);
    auto* settings = sidebar.row(AppRoute::settings);
    ASSERT_TRUE(cooling && settings);
    cooling->setFocus();
    QTest::keyClick(cooling, Qt::Key_Return);
    settle();
    EXPECT_EQ(router->route.value(), AppRoute::cooling);
    EXPECT_TRUE(sidebar.row(AppRoute::cooling)->isChecked());

    settings->setFocus();
    QTest::keyClick(settings, Qt::Key_Space);
    settle();
    EXPECT_EQ(router->route.value(), AppRoute::settings);

    auto* dashboard = sidebar.row(AppRoute::dashboard);
    dashboard->setFocus();
    QTest::keyClick(dashboard, Qt::Key_Down);
    EXPECT_NE(QApplication::focusWidget(), dashboard) << "Down moves to the next entry";
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Enter);
    settle();
    EXPECT_NE(router->route.value(), AppRoute::settings) << "Enter opened the entry below the Dashboard";
}

TEST(ShellDialogs, TheAboutBoxShowsTheIconVersionWhatTarnelIsAndTheWebsite)
{
    gui::TarnelThemeManager::shared().setTheme(quendal::Theme::light);
    gui::AboutBox about;
    about.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&about));
    settle();
    EXPECT_TRUE(about.versionLabel()->text().contains(QStringLiteral("1.4.0")));
    EXPECT_TRUE(about.websiteLabel()->text().contains(QStringLiteral(TARNEL_WEBSITE_URL)));
    EXPECT_FALSE(gui::AboutBox::applicationIcon().pixmap(96, 96).isNull()) << "the icon is in the resources";
    EXPECT_GE(about.width(), 300);
    EXPECT_GE(about.height(), 250);
    bool summaryShown = false;
    for (auto* label : about.findChildren<QLabel*>())
        summaryShown |= label->text().toStdString() == localized("about_summary");
    EXPECT_TRUE(summaryShown);
    save(about, "about");
}

TEST(ShellDialogs, TheSavedLogsBoxOffersOkAndSupportButNothingToCancel)
{
    QWidget parent;
    gui::QtReportProblemPresenter presenter(&parent, QStringLiteral("https://quendal.org/tarnel"));
    QStringList buttons;
    QTimer::singleShot(50, [&] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box)
            return;
        for (auto* button : box->buttons())
            buttons << button->text();
        box->defaultButton()->click();
    });
    presenter.showSaved();
    EXPECT_TRUE(buttons.contains(QString::fromStdString(localized("general_ok"))));
    EXPECT_TRUE(buttons.contains(QString::fromStdString(localized("app_menu_visit_support"))));
    EXPECT_FALSE(buttons.contains(QString::fromStdString(localized("general_cancel"))));
    EXPECT_NE(localized("app_menu_report_problem_message").find("save a copy"), std::string::npos);
}

TEST(ShellDialogs, ScrollBarsAndNeutralLegendDotsStandOutInBothThemes)
{
    for (auto theme : {quendal::Theme::light, quendal::Theme::dark}) {
        gui::TarnelThemeManager::shared().setTheme(theme);
        const auto& a = gui::TarnelThemeManager::shared().appearance();
        EXPECT_GT(std::abs(luminance(a.neutralFill) - luminance(a.card)), 0.15) << "the Available dot on its card";

        QScrollBar bar(Qt::Vertical);
        bar.setRange(0, 100);
        bar.setPageStep(20);
        bar.setValue(0);
        bar.resize(14, 300);
        bar.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&bar));
        const QImage image = bar.grab().toImage();
        // The handle sits at the top at value 0; the track below it is empty.
        const QColor handle = image.pixelColor(7, 30);
        const QColor track = image.pixelColor(7, 250);
        EXPECT_GT(std::abs(luminance(handle) - luminance(track)), 0.12)
            << "handle " << handle.name().toStdString() << " on track " << track.name().toStdString() << " in "
            << (a.dark ? "dark" : "light");
    }
    gui::TarnelThemeManager::shared().setTheme(quendal::Theme::light);
}

TEST(ShellDialogs, OpenWebsiteSaysSoWhenNoBrowserTookTheAddress)
{
    const QUrl site(QStringLiteral("https://quendal.org/tarnel"));
    int attempts = 0;
    bool boxShown = false;
    EXPECT_TRUE(gui::openWebsite(nullptr, site, [&](const QUrl&) { return ++attempts, true; }));
    EXPECT_EQ(QApplication::activeModalWidget(), nullptr) << "a browser took it: nothing to say";

    QString shownText;
    QTimer::singleShot(50, [&] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box)
            return;
        boxShown = true;
        shownText = box->text() + QLatin1Char('\n') + box->informativeText();
        box->defaultButton() ? box->defaultButton()->click() : box->accept();
    });
    EXPECT_FALSE(gui::openWebsite(nullptr, site, [&](const QUrl&) { return ++attempts, false; }));
    EXPECT_EQ(attempts, 2);
    EXPECT_TRUE(boxShown) << "the user is told";
    EXPECT_TRUE(shownText.contains(site.toString())) << "with the address to open by hand";
}
