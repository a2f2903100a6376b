#include "MainWindow.h"
#include "QtExecutor.h"
#include "TestSupport.h"

#include "QuendalFoundation/Runtime/Runtime.h"

#include <QApplication>
#include <QImage>
#include <QTest>
#include <QThread>

#include <asio/co_spawn.hpp>
#include <asio/detached.hpp>

#include <gtest/gtest.h>

#include <filesystem>

namespace {

void application() { ASSERT_NE(QApplication::instance(), nullptr); }

} // namespace

int main(int argc, char** argv)
{
    // Qt must be torn down before static destructors run.
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

TEST(MainWindowSmoke, OpensAtItsMinimumSizeAndWritesAScreenshot)
{
    application();
    tarnel::gui::MainWindow window;
    window.show();
    window.resize(100, 100); // the minimum size wins
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    EXPECT_EQ(window.size(), QSize(980, 612));
    EXPECT_EQ(window.minimumSize(), QSize(980, 612));

    auto directory = tarnel::testing::binaryDirectory() / "screenshots";
    std::filesystem::create_directories(directory);
    auto file = directory / "main-window.png";
    ASSERT_TRUE(window.grab().save(QString::fromStdString(file.string())));
    QImage written(QString::fromStdString(file.string()));
    ASSERT_FALSE(written.isNull());
    EXPECT_EQ(written.size() / written.devicePixelRatio(), QSize(980, 612));
}

TEST(MainWindowSmoke, MainExecutorRunsWorkOnTheGuiThreadFromTheEventLoop)
{
    application();
    tarnel::gui::QtMainContext context;
    auto& runtime = quendal::Runtime::shared();
    runtime.setMainExecutor(tarnel::gui::QtExecutor(context));

    auto* guiThread = QThread::currentThread();
    bool done = false, startedOnGui = false, backgroundOffGui = false, resumedOnGui = false;
    auto work = [&]() -> asio::awaitable<void> {
        startedOnGui = QThread::currentThread() == guiThread;
        backgroundOffGui = co_await quendal::inBackground([&] { return QThread::currentThread() != guiThread; });
        resumedOnGui = QThread::currentThread() == guiThread;
        done = true;
    };
    asio::co_spawn(runtime.mainExecutor(), work(), asio::detached);
    EXPECT_FALSE(done) << "posting must never run the work inline";
    EXPECT_TRUE(QTest::qWaitFor([&] { return done; }, 10000));
    EXPECT_TRUE(startedOnGui);
    EXPECT_TRUE(backgroundOffGui);
    EXPECT_TRUE(resumedOnGui);
    runtime.resetMainExecutor();
}
