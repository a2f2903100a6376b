// The Clean screens on a generated home's results: the intro, the scanning overlay, the groups
// and the tree with their ticks and keys, the confirmation and the outcome, with screenshots.
#include "Clean/CleanScreen.h"
#include "Clean/GroupedResultsScreen.h"
#include "Clean/GroupedResultsTreeModel.h"
#include "Clean/QtResultsPrompts.h"
#include "QtExecutor.h"
#include "Theme/ThemeManager.h"

#include "Screenshots.h"
#include "WidgetTestSupport.h"
#include "TestSupport.h"

#include <QApplication>
#include <QLabel>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QStyleFactory>
#include <QTest>
#include <QTreeView>

#include <gtest/gtest.h>

using namespace tarnel;
using namespace tarnel::testing;
namespace fs = std::filesystem;

namespace {

struct Prompts : ResultsPrompts {
    std::vector<std::string> asked, warnings;
    bool confirm(const std::string& message, const std::string&, const std::string&, const std::string&) override
    {
        asked.push_back(message);
        return true;
    }
    void warn(const std::string& m, const std::string& i) override { warnings.push_back(m + "|" + i); }
    void showStatus(const std::string& text, std::chrono::milliseconds duration) override
    {
        if (screen)
            screen->showStatus(text, duration);
    }
    gui::GroupedResultsScreen* screen = nullptr;
};

// A generated home and the groups a scan of it gives.
struct Home {
    Home()
    {
        auto add = [&](CleanScanGroup group, const fs::path& path, std::size_t bytes) {
            writeFile(path, std::string(bytes, 'x'));
            auto node = std::make_shared<FileNode>(path.string(), nullptr, static_cast<std::int64_t>(bytes),
                                                   FileNode::NodeType::file);
            found[group].insert(*CleanScanItem::make(node));
        };
        const auto home = folder.path();
        add(CleanScanGroup::downloads, home / "Downloads/holiday-photos.zip", 48'000);
        add(CleanScanGroup::downloads, home / "Downloads/installer.run", 31'000);
        add(CleanScanGroup::downloads, home / "Downloads/report-final.pdf", 9'000);
        add(CleanScanGroup::diskImages, home / "Downloads/distro.iso", 70'000);
        add(CleanScanGroup::userLogs, home / ".local/state/editor/today.log", 12'000);
        add(CleanScanGroup::userLogs, home / ".xsession-errors", 4'000);
        add(CleanScanGroup::packages, home / "Desktop/tool.deb", 22'000);
        // A cache folder with files below it.
        auto cache = std::make_shared<FileNode>((home / ".cache/thumbnails").string(), nullptr, 0, FileNode::NodeType::directory);
        std::vector<CleanScanItem> children;
        for (int i = 0; i < 4; ++i) {
            const auto path = home / ".cache/thumbnails" / ("thumb-" + std::to_string(i) + ".png");
            writeFile(path, std::string(5'000 + i * 1'000, 'p'));
            children.push_back(*CleanScanItem::make(
                std::make_shared<FileNode>(path.string(), nullptr, 5'000 + i * 1'000, FileNode::NodeType::file)));
        }
        found[CleanScanGroup::userCache].insert(*CleanScanItem::make(cache, children));
        found[CleanScanGroup::userCache].setSize(*CleanScanItem::make(cache, children), 26'000);
    }
    TemporaryDirectory folder;
    std::map<CleanScanGroup, CleanScanItemSet> found;
};

struct Screen {
    explicit Screen(Home& home)
    {
        store.state = std::make_shared<GroupedResultsState>(makeCleanResultGroups(home.found));
        provider = std::make_shared<CleanResultsProvider>(
            GroupedResultsProvider::Services{
                .prompts = prompts,
                .fileActions = nullptr,
                .deleter = [this](std::vector<std::string> paths, DaemonClient::Reason) -> asio::awaitable<std::vector<bool>> {
                    sent = paths;
                    co_return std::vector<bool>(paths.size(), true);
                },
                .executor = quendal::Runtime::shared().mainExecutor()},
            CleanScanner::shared(), store);
        results = std::make_unique<gui::GroupedResultsScreen>(provider);
        prompts->screen = results.get();
        results->resize(960, 600);
        results->show();
    }
    CleanResultsStore store;
    std::shared_ptr<Prompts> prompts = std::make_shared<Prompts>();
    std::shared_ptr<CleanResultsProvider> provider;
    std::unique_ptr<gui::GroupedResultsScreen> results;
    std::vector<std::string> sent;
};

void saveBoth(QWidget& widget, const std::string& name)
{
    gui::TarnelThemeManager::shared().setTheme(quendal::Theme::light);
    QTest::qWait(30);
    save(widget, name);
    gui::TarnelThemeManager::shared().setTheme(quendal::Theme::dark);
    QTest::qWait(30);
    save(widget, name + "-dark");
    gui::TarnelThemeManager::shared().setTheme(quendal::Theme::light);
}

int rowOf(QListWidget& list, const std::string& prefix)
{
    for (int row = 0; row < list.count(); ++row)
        if (list.item(row)->text().startsWith(QString::fromStdString(prefix)))
            return row;
    return -1;
}

} // namespace

int main(int argc, char** argv)
{
    tarnel::testing::WidgetTestOptions options;
    options.scrollBarStyle = false;
    return tarnel::testing::runWidgetTests(argc, argv, options);
}

TEST(CleanScreen, TicksInTheTreeAndListDriveTheSummaryAndTheDeletion)
{
    Home home;
    Screen s(home);
    auto& list = *s.results->groupList();
    ASSERT_EQ(list.count(), 10) << "the head row and all nine groups";
    EXPECT_FALSE(s.results->deleteBar()->isVisible()) << "nothing ticked, no bar";

    const int downloadsRow = rowOf(list, "Downloads");
    ASSERT_GT(downloadsRow, 0);
    s.results->highlightRow(downloadsRow);
    auto& model = *s.results->treeModel();
    ASSERT_EQ(model.rowCount(), 3);
    EXPECT_EQ(model.index(0, 0).data().toString(), QStringLiteral("holiday-photos.zip")) << "largest first";

    // A tick in the tree turns the group partial in the list and shows the bar.
    ASSERT_TRUE(model.setData(model.index(0, 0), Qt::Checked, Qt::CheckStateRole));
    EXPECT_EQ(list.item(downloadsRow)->checkState(), Qt::PartiallyChecked);
    EXPECT_TRUE(s.results->deleteBar()->isVisible());
    EXPECT_EQ(s.results->summaryLabel()->text(), QStringLiteral("48 KB selected"));

    // Control and Return on the current row ticks it as well.
    s.results->tree()->setCurrentIndex(model.index(2, 0));
    QTest::keyClick(s.results->tree(), Qt::Key_Return, Qt::ControlModifier);
    EXPECT_EQ(model.index(2, 0).data(Qt::CheckStateRole).toInt(), Qt::Checked);

    // The caches' folder, ticked from the list as a whole group.
    const int cacheRow = rowOf(list, "User Cache");
    ASSERT_GT(cacheRow, 0);
    list.item(cacheRow)->setCheckState(Qt::Checked);
    s.results->highlightRow(cacheRow);
    s.results->tree()->expandAll();
    EXPECT_EQ(model.index(0, 0, model.index(0, 0)).data(Qt::CheckStateRole).toInt(), Qt::Checked);
    saveBoth(*s.results, "clean-results");

    QTest::mouseClick(s.results->deleteButton(), Qt::LeftButton);
    ASSERT_TRUE(QTest::qWaitFor([&] { return s.provider->lastOutcome().has_value(); }, 5000));
    EXPECT_EQ(s.prompts->asked, std::vector<std::string>{"Are you sure you want to delete 3 items permanently?"});
    EXPECT_EQ(s.sent.size(), 3u);
    EXPECT_TRUE(s.sent[2].ends_with(".cache/thumbnails")) << "the ticked folder goes whole";
    EXPECT_TRUE(s.results->statusBanner()->isVisible());
    EXPECT_TRUE(s.results->statusBanner()->text().startsWith(QStringLiteral("Deleted 3 items")));
    EXPECT_EQ(list.count(), 9) << "the fully ticked caches group went";
    EXPECT_FALSE(s.results->deleteBar()->isVisible());
    saveBoth(*s.results, "clean-outcome");
}

TEST(CleanScreen, IntroScanningOverlayAndConfirmation)
{
    Home home;
    CleanResultsStore::shared().state.reset();
    auto prompts = std::make_shared<gui::QtResultsPrompts>();
    auto provider = std::make_shared<CleanResultsProvider>(
        GroupedResultsProvider::Services{.prompts = prompts, .fileActions = nullptr, .deleter = {},
                                         .executor = quendal::Runtime::shared().mainExecutor()},
        CleanScanner::shared(), CleanResultsStore::shared());
    gui::CleanScreen screen(provider, prompts);
    screen.resize(960, 600);
    screen.show();
    EXPECT_FALSE(screen.showsResults());
    EXPECT_FALSE(screen.viewButton()->isVisible()) << "no result yet: only the scan button";
    EXPECT_EQ(screen.scanButton()->text(), QStringLiteral("Scan"));
    saveBoth(screen, "clean-intro");

    // With a result standing, opening the results starts no scan; the overlay is drawn as the
    // scanner's listener calls draw it.
    CleanResultsStore::shared().state = std::make_shared<GroupedResultsState>(makeCleanResultGroups(home.found));
    screen.showResults();
    EXPECT_FALSE(CleanScanner::shared().isRunning());
    provider->resultsViewController.lock()->showOverlay(
        {.title = "Scanning", .message = "Digging through User Logs...", .animated = false, .progress = 0.35});
    EXPECT_TRUE(screen.results()->overlay()->isVisible());
    saveBoth(screen, "clean-scanning");
    provider->resultsViewController.lock()->dismissOverlay();
    EXPECT_FALSE(screen.results()->overlay()->isVisible());

    // Back on the intro, it offers a new scan and the items.
    screen.showIntro();
    EXPECT_TRUE(screen.viewButton()->isVisible());
    EXPECT_EQ(screen.viewButton()->text(), QStringLiteral("Show 8 Items"));
    EXPECT_EQ(screen.scanButton()->text(), QStringLiteral("New Scan"));

    auto box = gui::makeDeleteConfirmation("Are you sure you want to delete 3 items permanently?",
                                           "This action can not be reversed.", "Delete 3 items", "Cancel", &screen);
    box->show();
    QTest::qWait(30);
    saveBoth(*box, "clean-confirmation");
    CleanResultsStore::shared().state.reset();
}
