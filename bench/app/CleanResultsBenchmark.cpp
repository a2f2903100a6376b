// The Clean results tree at 100,000 rows: the groups built from a scan's items and the tree of
// the largest group shown offscreen, then one tick of that group with its repaint.
#include "Clean/GroupedResultsScreen.h"
#include "Clean/GroupedResultsTreeModel.h"
#include "QtExecutor.h"

#include "App/Clean/CleanResultsProvider.h"

#include "QuendalFoundation/Runtime/Runtime.h"

#include <QApplication>
#include <QListWidget>
#include <QStandardItemModel>
#include <QStyleFactory>
#include <QTest>
#include <QTreeView>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

using namespace tarnel;
using Clock = std::chrono::steady_clock;

namespace {

struct NoPrompts : ResultsPrompts {
    bool confirm(const std::string&, const std::string&, const std::string&, const std::string&) override { return false; }
    void warn(const std::string&, const std::string&) override {}
    void showStatus(const std::string&, std::chrono::milliseconds) override {}
};

// 100,000 rows: 90,000 files in Downloads, 1,000 cache folders of 10 files each.
std::map<CleanScanGroup, CleanScanItemSet> scanResult()
{
    std::map<CleanScanGroup, CleanScanItemSet> found;
    auto file = [](std::string path, std::int64_t size) {
        return std::make_shared<FileNode>(std::move(path), nullptr, size, FileNode::NodeType::file);
    };
    for (int i = 0; i < 90'000; ++i)
        found[CleanScanGroup::downloads].insert(*CleanScanItem::make(file("/home/u/Downloads/f" + std::to_string(i), 1000 + i)));
    for (int c = 0; c < 1'000; ++c) {
        std::vector<CleanScanItem> children;
        for (int i = 0; i < 9; ++i)
            children.push_back(*CleanScanItem::make(file("/home/u/.cache/c" + std::to_string(c) + "/" + std::to_string(i), 100)));
        auto folder = std::make_shared<FileNode>("/home/u/.cache/c" + std::to_string(c), nullptr, 0, FileNode::NodeType::directory);
        found[CleanScanGroup::userCache].insert(*CleanScanItem::make(folder, children));
    }
    return found;
}

double ms(Clock::duration d)
{
    return std::chrono::duration<double, std::milli>(d).count();
}

double median(std::vector<double> values)
{
    std::ranges::sort(values);
    return values[values.size() / 2];
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    gui::QtMainContext context;
    quendal::Runtime::shared().setMainExecutor(gui::QtExecutor(context));
    const int runs = argc > 1 ? std::max(3, std::atoi(argv[1])) : 10;
    const auto found = scanResult();

    std::vector<double> builds, ticks;
    for (int run = 0; run < runs; ++run) {
        CleanResultsStore store;
        auto provider = std::make_shared<CleanResultsProvider>(
            GroupedResultsProvider::Services{.prompts = std::make_shared<NoPrompts>(), .fileActions = nullptr,
                                             .deleter = {}, .executor = quendal::Runtime::shared().mainExecutor()},
            CleanScanner::shared(), store);
        const auto start = Clock::now();
        store.state = std::make_shared<GroupedResultsState>(makeCleanResultGroups(found));
        gui::GroupedResultsScreen screen(provider);
        screen.resize(1100, 700);
        screen.show();
        screen.highlightRow(1); // the largest group
        screen.repaint();
        screen.tree()->viewport()->repaint();
        builds.push_back(ms(Clock::now() - start));

        auto& largest = *store.state->groups[0];
        const auto tickStart = Clock::now();
        provider->selectionDidChange(largest, true);
        screen.tree()->viewport()->repaint();
        screen.groupList()->viewport()->repaint();
        ticks.push_back(ms(Clock::now() - tickStart));
        if (screen.treeModel()->rowCount() != 90'000 || largest.selectionState != SelectionState::on)
            return 1;
    }
    // The peer: Qt's own item model with the same 100,000 checkable rows in a plain tree view.
    std::vector<double> peerBuilds;
    for (int run = 0; run < runs; ++run) {
        const auto start = Clock::now();
        QStandardItemModel model;
        auto* downloads = new QStandardItem(QStringLiteral("Downloads"));
        for (int i = 0; i < 90'000; ++i) {
            auto* row = new QStandardItem(QStringLiteral("f%1").arg(i));
            row->setCheckable(true);
            downloads->appendRow({row, new QStandardItem(QString::number(1000 + i))});
        }
        model.appendRow(downloads);
        QTreeView view;
        view.setUniformRowHeights(true);
        view.setModel(&model);
        view.setRootIndex(model.index(0, 0));
        view.resize(800, 650);
        view.show();
        view.viewport()->repaint();
        peerBuilds.push_back(ms(Clock::now() - start));
    }
    std::printf("peer (QStandardItemModel, 90000 rows of one group): build and show median %.1f ms\n", median(peerBuilds));
    std::printf("rows 100000, runs %d\nbuild and show: median %.1f ms, worst %.1f ms\ntick of the largest group: median %.1f ms, worst %.1f ms\n",
                runs, median(builds), *std::ranges::max_element(builds), median(ticks), *std::ranges::max_element(ticks));
    quendal::Runtime::shared().resetMainExecutor();
    return 0;
}
