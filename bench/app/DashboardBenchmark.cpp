// One Dashboard update as the user pays for it: the store folds a batch, the provider rebuilds
// every section, the screen makes its cards again and the window repaints. Offscreen, on the
// recorded laptop with a battery and two graphics devices.
#include "Dashboard/DashboardCards.h"
#include "QtExecutor.h"
#include "Shell/MainWindow.h"
#include "Theme/ThemeManager.h"

#include "App/Dashboard/DashboardProvider.h"
#include "App/Shell/Router.h"

#include "DashboardWindow.h"
#include "LaptopDashboardProvider.h"

#include "QuendalFoundation/Runtime/Runtime.h"

#include <QApplication>
#include <QStyleFactory>
#include <QTest>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

using namespace tarnel;
namespace laptop = tarnel::testing::laptop;

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    gui::QtMainContext context;
    quendal::Runtime::shared().setMainExecutor(gui::QtExecutor(context));
    const int runs = argc > 1 ? std::max(10, std::atoi(argv[1])) : 300;

    const laptop::ProviderSetup setup = laptop::makeProvider(100, [](const StatsProcessUsageSnapshot& p) { return p.name; });
    const auto& store = setup.store;
    const auto& provider = setup.provider;
    tarnel::testing::DashboardWindow shown(Router::make([] { return quendal::AsyncStream<StatsUpdateBatch>::make().first; }),
                                           provider);
    auto& window = shown.window;
    auto*& screen = shown.screen;
    if (!QTest::qWaitForWindowExposed(&window) || !screen) {
        std::fprintf(stderr, "the window did not appear\n");
        return 1;
    }
    QTest::qWait(200); // the catalogue and inventory loads land

    using Clock = std::chrono::steady_clock;
    auto since = [](Clock::time_point from) { return std::chrono::duration<double, std::micro>(Clock::now() - from).count(); };
    std::vector<double> total, sections, rebuild, repaint;
    for (int i = 0; i < runs; ++i) {
        const auto batch = laptop::batch(100 + i);
        const auto start = Clock::now();
        store->apply(batch);
        screen->reload();
        const double rebuilt = since(start);
        const auto paintStart = Clock::now();
        window.repaint();
        const double painted = since(paintStart);
        total.push_back(rebuilt + painted);
        rebuild.push_back(rebuilt);
        repaint.push_back(painted);
        const auto sectionsStart = Clock::now();
        (void)provider->sections();
        sections.push_back(since(sectionsStart));
        QCoreApplication::processEvents(); // deferred deletes of the old cards
    }
    auto median = [](std::vector<double> v) {
        std::sort(v.begin(), v.end());
        return v[v.size() / 2];
    };
    auto p90 = [](std::vector<double> v) {
        std::sort(v.begin(), v.end());
        return v[v.size() * 9 / 10];
    };
    std::printf("dashboard update, %d runs: median %.0f us (p90 %.0f us) = apply + rebuild %.0f us + repaint %.0f us; "
                "of the rebuild, the provider's sections alone %.0f us\n",
                runs, median(total), p90(total), median(rebuild), median(repaint), median(sections));
    std::printf("the content was made again %d times and single cards %d times in %d reloads\n", screen->rebuildCount(),
                screen->replacedCellCount(), screen->reloadCount());
    quendal::Runtime::shared().resetMainExecutor();
    return 0;
}
