// The sheet queue and its controller, with a fake window in virtual time.
#include "QuendalCore/Navigation/SheetController.h"

#include "VirtualTime.h"

#include <gtest/gtest.h>

using namespace quendal;
using tarnel::testing::VirtualTime;

namespace {

enum class TestRoute { first, second, unregistered };
std::string describe(TestRoute r)
{
    return std::to_string(static_cast<int>(r));
}

struct Page : SheetContent {
    explicit Page(TestRoute r, SheetSize s) : route(r), size(s) {}
    SheetSize fittingSize() override { return size; }
    TestRoute route;
    SheetSize size;
};

// A window that can be missing, with a stack of sheets; ending a sheet notifies at once,
// as a toolkit does from inside its close call.
struct FakeHost : SheetHost {
    bool window = true;
    bool keyAndVisible = false;
    int madeKey = 0;
    std::vector<std::shared_ptr<SheetContent>> sheets;
    std::vector<SheetSize> sizes;
    std::function<void()> windowAppeared;
    std::function<void()> sheetEnded;

    bool hasWindow() const override { return window; }
    bool isWindowKeyAndVisible() const override { return keyAndVisible; }
    void makeKeyAndOrderFront() override
    {
        ++madeKey;
        keyAndVisible = true;
    }
    void presentSheet(std::shared_ptr<SheetContent> content, SheetSize size) override
    {
        sheets.push_back(std::move(content));
        sizes.push_back(size);
    }
    void endSheet(const std::shared_ptr<SheetContent>& content) override
    {
        std::erase(sheets, content);
        if (sheetEnded)
            sheetEnded();
    }
    std::size_t sheetCount() const override { return sheets.size(); }
    Cancellable observeWindow(std::function<void()> appeared) override
    {
        windowAppeared = std::move(appeared);
        return Cancellable([this] { windowAppeared = nullptr; });
    }
    Cancellable observeSheetEnded(std::function<void()> ended) override
    {
        sheetEnded = std::move(ended);
        return Cancellable([this] { sheetEnded = nullptr; });
    }
    TestRoute shown() const { return static_cast<Page&>(*sheets.back()).route; }
};

} // namespace

template <>
struct std::hash<TestRoute> {
    std::size_t operator()(TestRoute r) const { return static_cast<std::size_t>(r); }
};

TEST(QueueNavigator, KeepsDistinctRoutesInOrder)
{
    QueueNavigator queue;
    queue.enqueue(AnyRoute(TestRoute::first));
    queue.enqueue({AnyRoute(TestRoute::second), AnyRoute(TestRoute::first)});
    EXPECT_EQ(queue.routes.value().size(), 2u) << "a route already queued is skipped";
    EXPECT_EQ(queue.current(), AnyRoute(TestRoute::first));
    queue.remove(AnyRoute(TestRoute::second));
    EXPECT_EQ(queue.dequeue(), AnyRoute(TestRoute::first));
    EXPECT_FALSE(queue.dequeue()) << "empty";
    EXPECT_FALSE(queue.current());
}

TEST(SheetController, ShowsQueuedSheetsOneAfterAnotherAndDefersUntilTheWindowExists)
{
    VirtualTime time;
    auto host = std::make_shared<FakeHost>();
    host->window = false;
    auto sheets = SheetCoordinator::make(host, {}, time.executor());
    sheets.router->registerViewController<TestRoute>(
        [](const TestRoute& r) { return std::make_shared<Page>(r, SheetSize{520, 0}); });

    sheets.navigator->enqueue({AnyRoute(TestRoute::first), AnyRoute(TestRoute::second)});
    time.poll();
    EXPECT_TRUE(host->sheets.empty()) << "no window yet";
    EXPECT_EQ(sheets.controller->pendingRoute(), AnyRoute(TestRoute::first));

    host->window = true;
    ASSERT_TRUE(host->windowAppeared);
    host->windowAppeared();
    time.poll();
    ASSERT_EQ(host->sheets.size(), 1u) << "the deferred route is presented when the window appears";
    EXPECT_EQ(host->shown(), TestRoute::first);
    EXPECT_EQ(host->sizes.back(), (SheetSize{400, 300})) << "a size with a zero side falls back";
    EXPECT_EQ(host->madeKey, 1);

    // The first sheet's done: its completion dequeues, and the second takes its place.
    sheets.navigator->dequeue();
    time.poll();
    ASSERT_EQ(host->sheets.size(), 1u);
    EXPECT_EQ(host->shown(), TestRoute::second);
    EXPECT_EQ(sheets.navigator->current(), AnyRoute(TestRoute::second))
        << "ending the replaced sheet does not dequeue the one now shown";

    // The user closes the last sheet: the queue empties.
    host->endSheet(host->sheets.back());
    time.poll();
    EXPECT_FALSE(sheets.navigator->current());
    EXPECT_FALSE(sheets.controller->presentedContent());
}

TEST(SheetController, AnUnregisteredRouteStaysQueuedAndShowsNothing)
{
    VirtualTime time;
    auto host = std::make_shared<FakeHost>();
    auto sheets = SheetCoordinator::make(host, {}, time.executor());
    sheets.navigator->enqueue(AnyRoute(TestRoute::unregistered));
    time.poll();
    EXPECT_TRUE(host->sheets.empty());
    EXPECT_EQ(sheets.navigator->current(), AnyRoute(TestRoute::unregistered));
}
