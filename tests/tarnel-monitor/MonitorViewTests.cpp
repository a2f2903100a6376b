#include "MonitorApp.h"
#include "MonitorModel.h"
#include "PanelWindow.h"

#include "Screenshots.h"
#include "TarnelUI/Core/WidgetModels.h"
#include "TarnelUI/Export/MonitorConfigurationStore.h"
#include "TarnelUI/Panel/MonitorSettings.h"
#include "TestSupport.h"

#include <QApplication>
#include <QLabel>
#include <QTest>

#include <gtest/gtest.h>

#include <fstream>

using namespace tarnel;
using namespace tarnel::ui;
using namespace tarnel::monitor;

namespace {

QApplication& application()
{
    static int argc = 1;
    static char name[] = "test";
    static char* argv[] = {name, nullptr};
    static QApplication* app = [] {
        ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
        return new QApplication(argc, argv);
    }();
    return *app;
}

std::vector<std::string> names(const std::vector<ShownPanel>& panels)
{
    std::vector<std::string> result;
    for (const auto& panel : panels)
        result.push_back(panel.name);
    return result;
}

QStringList labelTexts(const QWidget& widget)
{
    QStringList texts;
    for (const auto* label : widget.findChildren<QLabel*>())
        texts << label->text();
    return texts;
}

} // namespace

TEST(MonitorModel, TheCombinedPanelStandsAloneElseEveryEnabledPanelInOrder)
{
    MonitorSettings settings(MonitorDeviceCapabilities{.hasBattery = true});
    auto store = settings.panelStore();
    ASSERT_TRUE(store->isCombinedEnabled());
    auto shown = shownPanels(settings);
    ASSERT_EQ(shown.size(), 1u);
    EXPECT_EQ(shown.front().name, store->combinedPanel()->name());
    EXPECT_EQ(shown.front().statusWidgets.size(), store->combinedPanel()->widgetStore().statusWidgets().items().size());

    store->setEnabled(store->combinedPanel()->id(), false);
    std::vector<std::string> expected;
    for (const auto& panel : store->panels().items())
        if (store->enabledIds().contains(panel->id()))
            expected.push_back(panel->name());
    ASSERT_GT(expected.size(), 1u);
    EXPECT_EQ(names(shownPanels(settings)), expected);

    // Disabling one panel takes away its status item only.
    for (const auto& panel : store->panels().items())
        if (panel->name() == expected.front())
            store->setEnabled(panel->id(), false);
    EXPECT_EQ(shownPanels(settings).size(), expected.size() - 1);
}

TEST(MonitorModel, TitlesFollowTheCustomTitleThenTheModelThenTheKind)
{
    MonitorSettings settings(MonitorDeviceCapabilities{.hasBattery = true});
    auto combined = settings.panelStore()->combinedPanel();
    const auto& status = combined->widgetStore().statusWidgets().items();
    ASSERT_FALSE(status.empty());
    auto widget = status.front();
    EXPECT_EQ(resolvedTitle(*widget), fallbackTitle(widget->kind()));
    widget->setTitleSettings({true, "Mine", true});
    EXPECT_EQ(resolvedTitle(*widget), "Mine");
    // A custom title that is not in effect is ignored.
    widget->setTitleSettings({true, "Mine", false});
    EXPECT_EQ(resolvedTitle(*widget), fallbackTitle(widget->kind()));
    EXPECT_EQ(fallbackTitle(WidgetKind::ramUsage), "RAM");
    EXPECT_EQ(fallbackTitle(WidgetKind::networkInterface), "Network Interfaces");
}

TEST(MonitorApp, WithoutATrayEachPanelIsAWindowAndReloadsFollowTheFiles)
{
    application();
    tarnel::testing::TemporaryDirectory directory("tarnel-monitor-view");
    MonitorApp monitor({directory.path(), false, false});
    EXPECT_FALSE(monitor.usesTray());

    // Nothing handed over yet: the panels of a new configuration on a machine without a battery.
    monitor.reload();
    EXPECT_EQ(monitor.snapshot(), nullptr);
    ASSERT_EQ(monitor.windows().size(), 1u);
    EXPECT_TRUE(monitor.trayIcons().empty());

    MonitorSettings settings(MonitorDeviceCapabilities{.hasBattery = false});
    auto store = settings.panelStore();
    store->setEnabled(store->combinedPanel()->id(), false);
    MonitorConfigurationStore::saveSettings(settings, directory.path() / MonitorConfigurationStore::settingsFileName);
    MonitorConfigurationStore::saveSnapshot(MonitorConfigurationSnapshot::make(settings, false, Date::now()),
                                            directory.path() / MonitorConfigurationStore::snapshotFileName);
    monitor.reload();
    ASSERT_NE(monitor.snapshot(), nullptr);
    EXPECT_FALSE(monitor.snapshot()->runAtLogin());
    const auto expected = shownPanels(settings);
    ASSERT_EQ(monitor.windows().size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        auto* window = monitor.windows()[i];
        EXPECT_EQ(window->style(), PanelWindow::Style::window);
        EXPECT_TRUE(window->isVisible());
        EXPECT_EQ(window->windowTitle().toStdString(), expected[i].name);
        // Each widget shows its title and, until values arrive, the missing-data text.
        auto texts = labelTexts(*window);
        for (const auto& widget : expected[i].panelWidgets)
            EXPECT_TRUE(texts.contains(QString::fromStdString(widget.title))) << widget.title;
        EXPECT_EQ(texts.count(QStringLiteral("Missing data")), static_cast<qsizetype>(expected[i].panelWidgets.size()));
    }

    // A tray host that starts later takes the panels over from the windows.
    EXPECT_FALSE(monitor.adoptTrayIfAvailable(false));
    EXPECT_EQ(monitor.windows().size(), expected.size());
    EXPECT_TRUE(monitor.adoptTrayIfAvailable(true));
    EXPECT_TRUE(monitor.usesTray());
    EXPECT_TRUE(monitor.windows().empty());
    EXPECT_EQ(monitor.trayIcons().size(), expected.size());
    EXPECT_FALSE(monitor.adoptTrayIfAvailable(true));

    // A broken settings file keeps what is shown.
    std::ofstream(directory.path() / MonitorConfigurationStore::settingsFileName) << "{ not json";
    monitor.reload();
    EXPECT_EQ(monitor.trayIcons().size(), expected.size());
    EXPECT_EQ(names(monitor.panels()), names(expected));
}

TEST(MonitorApp, StatusItemsOpenTheirPopupAndEscapeClosesIt)
{
    application();
    tarnel::testing::TemporaryDirectory directory("tarnel-monitor-tray");
    MonitorApp monitor({directory.path(), true, true});
    monitor.reload();
    ASSERT_EQ(monitor.trayIcons().size(), 1u);
    const auto& panel = monitor.panels().front();
    EXPECT_TRUE(monitor.trayIcons().front()->toolTip().startsWith(QString::fromStdString(panel.name)));
    EXPECT_EQ(monitor.trayIcons().front()->toolTip().count(QStringLiteral("Missing data")),
              static_cast<qsizetype>(panel.statusWidgets.size()));
    EXPECT_TRUE(monitor.windows().empty());

    monitor.activate(0);
    ASSERT_EQ(monitor.windows().size(), 1u);
    auto* popup = monitor.windows().front();
    EXPECT_EQ(popup->style(), PanelWindow::Style::popup);
    EXPECT_TRUE(popup->isVisible());
    EXPECT_TRUE(popup->windowFlags().testFlag(Qt::FramelessWindowHint));
    QTest::keyClick(popup, Qt::Key_Escape);
    EXPECT_FALSE(popup->isVisible());
    // Activating again opens it again; activating an open popup closes it.
    monitor.activate(0);
    ASSERT_EQ(monitor.windows().size(), 1u);
    EXPECT_TRUE(monitor.windows().front()->isVisible());
    monitor.activate(0);
    EXPECT_FALSE(monitor.windows().front()->isVisible());
    monitor.activate(7);
}

TEST(MonitorApp, TheStatusImageIsASquareWithADotPerFurtherWidget)
{
    application();
    auto inkedPixels = [](const QPixmap& image, int top, int bottom) {
        auto pixels = image.toImage();
        int count = 0;
        for (int y = top; y < bottom; ++y)
            for (int x = 0; x < pixels.width(); ++x)
                count += pixels.pixelColor(x, y).lightness() > 150 ? 1 : 0;
        return count;
    };
    ShownPanel one{"id", "CPU", {{"CPU", WidgetKind::cpuUsage}}, {}};
    ShownPanel three{"id", "CPU", {{"CPU", WidgetKind::cpuUsage}, {"RAM", WidgetKind::ramUsage}, {"GPU", WidgetKind::gpuUsage}}, {}};
    for (int height : {22, 44}) {
        auto single = statusImage(one, height);
        EXPECT_EQ(single.size(), QSize(height, height));
        // The title is drawn in the upper half.
        EXPECT_GT(inkedPixels(single, 0, height / 2), 0) << height;
        // The dots of further widgets sit along the bottom edge; a single widget has none.
        const int bottomBand = height - height / 6;
        EXPECT_EQ(inkedPixels(single, bottomBand, height), 0) << height;
        EXPECT_GT(inkedPixels(statusImage(three, height), bottomBand, height), 0) << height;
        EXPECT_EQ(statusImage(three, height, 2.0).toImage().size(), QSize(2 * height, 2 * height));
    }
    ShownPanel empty{"id", "Empty", {}, {}};
    EXPECT_EQ(statusImage(empty, 22).width(), 22);
    EXPECT_TRUE(statusText(empty).contains(QStringLiteral("Missing Widgets")));
    EXPECT_EQ(statusText(three).count(QStringLiteral("Missing data")), 3);
}
