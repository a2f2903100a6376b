#include "QuendalFoundation/Logging/AppLogger.h"
#include "QuendalFoundation/Logging/LogArchive.h"
#include "QuendalFoundation/Logging/LogCollection.h"
#include "QuendalFoundation/Logging/LogPredicate.h"
#include "QuendalFoundation/Logging/LogStore.h"
#include "QuendalFoundation/Logging/ReverseLineReader.h"

#include "TestSupport.h"

#include <asio/co_spawn.hpp>
#include <asio/io_context.hpp>
#include <asio/use_future.hpp>

#include <gtest/gtest.h>
#include <zip.h>

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <set>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <unistd.h>

using namespace quendal;
using tarnel::testing::TemporaryDirectory;

namespace {

class Logging : public ::testing::Test {
protected:
    Logging() : store(std::make_shared<JsonLinesLogStore>(directory.path(), "tarnel"))
    {
        AppLogger::setStore(store);
        AppLogger::configure("org.quendal.Tarnel", "main", "");
    }
    ~Logging() override { AppLogger::setStore(nullptr); }

    TemporaryDirectory directory;
    std::shared_ptr<JsonLinesLogStore> store;
};

struct Unnamed : std::exception {
    const char* what() const noexcept override { return "(anonymous namespace)::Unnamed"; }
};

// Runs `work` on this thread's own loop until it ends; the loop waits for the background pool's
// answer because the awaiting coroutine keeps it busy.
template <class T>
T runHere(asio::awaitable<T> work)
{
    asio::io_context context;
    auto result = asio::co_spawn(context, std::move(work), asio::use_future);
    context.run();
    return result.get();
}

double now() { return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count(); }

} // namespace

TEST_F(Logging, LinesPrefixesAndErrorTexts)
{
    AppLogger::configure(std::nullopt, "app", std::nullopt);
    EXPECT_EQ(AppLogger::lineText(LogLevel::info, "connected", AppLogger::xpc, "/src/a/Client.cpp", "send()", 12),
              "[app][flow:xpc] connected");
    EXPECT_EQ(AppLogger::lineText(LogLevel::info, "connected", "", "/src/a/Client.cpp", "send()", 12), "[app] connected")
        << "an empty label adds no flow part";
    EXPECT_EQ(AppLogger::lineText(LogLevel::warning, "slow", nullptr, "/src/a/Client.cpp", "send()", 12),
              "[app] ⚠️ [Client.cpp:12] send() slow");
    AppLogger::registerEmoji("🛰", "/src/a/Client.cpp");
    EXPECT_EQ(AppLogger::lineText(LogLevel::info, "up", nullptr, "/src/a/Client.cpp", "start()", 3), "[app] 🛰 [Client.cpp:3] start() up");

    // A partial configure leaves the rest.
    AppLogger::configure(std::nullopt, "daemon", std::nullopt);
    EXPECT_EQ(AppLogger::configuration().subsystem, "org.quendal.Tarnel");
    AppLogger::configure(std::nullopt, std::nullopt, std::string("monitor"));
    EXPECT_EQ(AppLogger::lineText(LogLevel::info, "m", nullptr, "f.cpp", "g()", 1), "[monitor][daemon] m");
    AppLogger::configure(std::nullopt, std::string(""), std::string(""));
    EXPECT_EQ(AppLogger::lineText(LogLevel::info, "bare", nullptr, "f.cpp", "g()", 1), "bare") << "no parts, no prefix";

    EXPECT_EQ(AppLogger::functionName("void tarnel::DaemonManager::start(int, bool)"), "start()");
    EXPECT_EQ(AppLogger::functionName("int main()"), "main()");
    EXPECT_EQ(AppLogger::errorText(std::runtime_error("disk full")), "std::runtime_error: disk full – disk full");
    EXPECT_EQ(AppLogger::errorText(Unnamed()),
              "(anonymous namespace)::Unnamed: The operation could not be completed. ((anonymous namespace)::Unnamed)")
        << "a bare type name is not repeated";
    EXPECT_EQ(AppLogger::errorText(std::system_error(ENOENT, std::generic_category(), "open")),
              "std::system_error: open: No such file or directory – No such file or directory");
}

TEST_F(Logging, AFollowedStreamsEndIsLoggedUnlessItWasACancellation)
{
    AppLogger::configure(std::nullopt, "app", std::nullopt);
    auto failure = [](auto error) { return std::make_exception_ptr(error); };
    EXPECT_TRUE(AppLogger::errorUnlessCancelled(failure(asio::system_error(asio::error::operation_aborted)), "op", "?"));
    EXPECT_FALSE(AppLogger::errorUnlessCancelled(failure(std::runtime_error("daemon gone")), "start(onUpdate:)", "?"));
    EXPECT_FALSE(AppLogger::errorUnlessCancelled(failure(std::runtime_error("daemon gone")), {}, "?"));
    EXPECT_FALSE(AppLogger::errorUnlessCancelled(failure(42), {}, "ended with an unknown error"));

    auto lines = AppLogger::collectLogs("eventType == logEvent", 1, std::nullopt);
    ASSERT_EQ(lines.size(), 3u) << "nothing for the cancellation";
    EXPECT_TRUE(lines[0].ends_with("start(onUpdate:) std::runtime_error: daemon gone – daemon gone")) << lines[0];
    EXPECT_TRUE(lines[1].ends_with("] TestBody() std::runtime_error: daemon gone – daemon gone")) << "the caller's place: " << lines[1];
    EXPECT_TRUE(lines[2].ends_with("ended with an unknown error")) << lines[2];
}

TEST_F(Logging, LinesCarryTheCallSite)
{
    AppLogger::configure(std::nullopt, "app", std::nullopt);
    const unsigned line = __LINE__ + 1;
    AppLogger::warning("disk is slow", AppLogger::lifecycle);
    AppLogger::info("no location");
    AppLogger::registerEmoji("🧪");
    AppLogger::info("registered here");
    AppLogger::error(std::runtime_error("boom"));

    auto lines = AppLogger::collectLogs("eventType == logEvent", 1, std::nullopt);
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_TRUE(lines[0].ends_with(fmt::format("<Warning> (org.quendal.Tarnel) [app] [app][flow:lifecycle] ⚠️ [LoggingTests.cpp:{}] TestBody() disk is slow", line)))
        << lines[0];
    EXPECT_TRUE(lines[1].ends_with("<Info> (org.quendal.Tarnel) [app] [app] no location")) << lines[1];
    EXPECT_NE(lines[2].find("🧪 [LoggingTests.cpp:"), std::string::npos) << "the calling file's emoji: " << lines[2];
    EXPECT_TRUE(lines[3].ends_with("<Error> (org.quendal.Tarnel) [app] [app] 🧪 [LoggingTests.cpp:" +
                                   std::to_string(line + 4) + "] TestBody() std::runtime_error: boom – boom"))
        << lines[3];

    AppLogger::setMinimumLevel(LogLevel::notice);
    AppLogger::info("filtered out");
    AppLogger::setMinimumLevel(LogLevel::debug);
    EXPECT_EQ(AppLogger::collectLogs("eventType == logEvent", 1, std::nullopt).size(), 4u);
}

TEST_F(Logging, PredicatesAreBuiltEscapedAndEvaluated)
{
    EXPECT_EQ(AppLogger::predicate({}), "eventType == logEvent");
    auto text = AppLogger::predicate({{std::string("org.quendal.Tarnel"), std::string("tarnel")},
                                      {std::string("we\"ird\\sub"), std::nullopt},
                                      {std::string(""), std::string("tarneld")}});
    EXPECT_EQ(text, R"((subsystem == "org.quendal.Tarnel") OR (process == "tarnel") OR (subsystem == "we\"ird\\sub") OR (process == "tarneld"))");

    auto predicate = LogPredicate::parse(text);
    LogRecord record;
    record.subsystem = "we\"ird\\sub";
    EXPECT_TRUE(predicate.matches(record)) << "the quoted subsystem stays one term";
    record.subsystem = "other";
    record.process = "tarneld";
    EXPECT_TRUE(predicate.matches(record));
    record.process = "tarneld2";
    EXPECT_FALSE(predicate.matches(record));
    EXPECT_TRUE(LogPredicate::parse(R"(process BEGINSWITH "tarneld" AND (category == "main"))").matches(
        LogRecord{0, LogLevel::info, "", "main", "tarneld2", 0, ""}));
    EXPECT_TRUE(LogPredicate::parse("eventType == logEvent").matches(record));
    // The start-up predicate of the application: six BEGINSWITH terms.
    const auto startup = LogPredicate::parse(
        R"((subsystem BEGINSWITH "org.quendal.Tarnel") OR (subsystem BEGINSWITH "org.quendal.TarnelMonitor") OR )"
        R"((subsystem BEGINSWITH "org.quendal.Tarnel.Daemon") OR (process BEGINSWITH "Tarnel") OR )"
        R"((process BEGINSWITH "Tarnel Monitor") OR (process BEGINSWITH "TarnelDaemon"))");
    EXPECT_TRUE(startup.matches(LogRecord{0, LogLevel::info, "org.quendal.TarnelMonitor.widgets", "", "x", 0, ""}));
    EXPECT_TRUE(startup.matches(LogRecord{0, LogLevel::info, "com.other", "", "Tarnel Monitor", 0, ""}));
    EXPECT_FALSE(startup.matches(LogRecord{0, LogLevel::info, "org.quendal.Tarne", "", "tarnel", 0, ""})) << "case and prefix are exact";
    EXPECT_TRUE(LogPredicate::parse(R"(((process == "a") OR (process == "b")) AND ((category == "c")))")
                    .matches(LogRecord{0, LogLevel::info, "", "c", "b", 0, ""}));
    for (const auto* bad : {"", "subsystem = \"x\"", "(subsystem == \"x\"", "subsystem == \"x", "process == x", "colour == \"red\""})
        EXPECT_THROW(LogPredicate::parse(bad), PredicateSyntaxError) << bad;
}

TEST_F(Logging, CollectReadsBackTheNewestLinesOfTheWantedSources)
{
    for (int i = 0; i < 20; ++i)
        AppLogger::info("line " + std::to_string(i), AppLogger::lifecycle);
    AppLogger::error("went wrong");
    // Another process's store in the same folder, and an old line that falls outside the hours.
    JsonLinesLogStore other(directory.path(), "tarneld");
    other.write({now(), LogLevel::notice, "org.quendal.Tarnel.Daemon", "main", "tarneld", 42, "daemon line"});
    other.write({now() - 30 * 3600, LogLevel::notice, "org.quendal.Tarnel.Daemon", "main", "tarneld", 42, "old line"});

    auto all = AppLogger::collectLogs(AppLogger::predicate({{std::string("org.quendal.Tarnel"), std::nullopt}}), 24, std::nullopt);
    ASSERT_EQ(all.size(), 21u);
    EXPECT_NE(all.front().find("line 0"), std::string::npos);
    EXPECT_NE(all.back().find("went wrong"), std::string::npos);
    EXPECT_NE(all.back().find("(org.quendal.Tarnel) [main]"), std::string::npos) << all.back();

    auto five = AppLogger::collectLogs(AppLogger::predicate({}), 24, 5);
    ASSERT_EQ(five.size(), 5u);
    EXPECT_NE(five.back().find("daemon line"), std::string::npos) << "newest last";
    EXPECT_EQ(runHere(collectLogsInBackground(AppLogger::predicate({}), 24, 3)), std::vector<std::string>(five.end() - 3, five.end()));
    auto daemonOnly = AppLogger::collectLogs(AppLogger::predicate({{std::nullopt, std::string("tarneld")}}), 48, std::nullopt);
    EXPECT_EQ(daemonOnly.size(), 2u);

    // A malformed line loses nothing else.
    {
        std::ofstream(store->file(), std::ios::app) << "{not json\n\n";
    }
    EXPECT_EQ(AppLogger::collectLogs("eventType == logEvent", 24, std::nullopt).size(), 22u);
}

TEST_F(Logging, LinesOfManyThreadsStayWholeAndAreAllKept)
{
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([t] {
            for (int i = 0; i < 250; ++i)
                AppLogger::notice(fmt::format("thread {} line {} {}", t, i, std::string(static_cast<std::size_t>(i), '.')));
        });
    for (auto& thread : threads)
        thread.join();
    auto lines = AppLogger::collectLogs("eventType == logEvent", 1, std::nullopt);
    ASSERT_EQ(lines.size(), 1000u);
    std::set<std::string> seen;
    for (const auto& line : lines) {
        auto at = line.find("thread ");
        ASSERT_NE(at, std::string::npos) << line;
        seen.insert(line.substr(at, line.find(' ', line.find("line ", at) + 5) - at));
    }
    EXPECT_EQ(seen.size(), 1000u) << "no line lost or merged with another";

    // A store whose folder cannot be made neither throws nor stops the program.
    JsonLinesLogStore blocked(store->file() / "not-a-folder", "x");
    EXPECT_NO_THROW(blocked.write({now(), LogLevel::error, "s", "c", "x", 1, "lost"}));
    EXPECT_TRUE(blocked.read(LogPredicate::parse("eventType == logEvent"), 1, 5).empty());
}

TEST_F(Logging, TheStoreIsCappedAndTheNewestLinesSpanItsFiles)
{
    // Past its size a file rotates to one backup; the backup is replaced, never added to.
    JsonLinesLogStore small(directory.path() / "small", "tiny", 4000);
    const double start = now() - 100;
    for (int i = 0; i < 100; ++i)
        small.write({start + i, LogLevel::info, "s", "c", "tiny", 1, fmt::format("line {:03d} {}", i, std::string(40, 'x'))});
    EXPECT_LE(std::filesystem::file_size(small.file()), 4000u);
    const auto backup = small.file().string() + ".1";
    EXPECT_LE(std::filesystem::file_size(backup), 4000u);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(small.file().parent_path()), {}), 2);

    // The newest lines come from the live file and then the backup, oldest first.
    const auto inLive = std::count(std::istreambuf_iterator<char>(*std::make_unique<std::ifstream>(small.file())), {}, '\n');
    auto lines = small.read(LogPredicate::parse("subsystem == \"s\""), 1, static_cast<std::size_t>(inLive + 2));
    ASSERT_EQ(lines.size(), static_cast<std::size_t>(inLive + 2));
    EXPECT_NE(lines.front().find(fmt::format("line {:03d}", 100 - inLive - 2)), std::string::npos) << lines.front();
    EXPECT_NE(lines.back().find("line 099"), std::string::npos) << lines.back();
    // The hours window cuts by time, not by count: only the last 30 seconds' lines.
    EXPECT_EQ(small.read(LogPredicate::parse("eventType == logEvent"), 30.0 / 3600, std::nullopt).size(), 29u);
    EXPECT_TRUE(small.read(LogPredicate::parse("subsystem == \"other\""), 1, 5).empty());
}

TEST(ReverseLineReader, ReadsLinesBackwardsAcrossBlocks)
{
    TemporaryDirectory directory;
    const auto file = directory.path() / "lines";
    tarnel::testing::writeFile(file, "first\n\nsecond line\nthird, a longer line than one block\nlast");
    ReverseLineReader reader(file, 4);
    std::vector<std::string> lines;
    while (auto line = reader.previous())
        lines.push_back(*line);
    EXPECT_EQ(lines, (std::vector<std::string>{"last", "third, a longer line than one block", "second line", "first"}));
    ReverseLineReader missing(directory.path() / "missing");
    EXPECT_FALSE(missing.previous());
}

TEST(JournalLogStore, ALineLoggedIsReadBack)
{
    if (!JournalLogStore::isAvailable())
        GTEST_SKIP() << "no journald socket on this machine; the file store stands in for it";
    AppLogger::setStore(std::make_shared<JournalLogStore>());
    AppLogger::configure("org.quendal.Tarnel.Test", "main", "");
    const auto marker = fmt::format("journal check {}", ::getpid());
    AppLogger::notice(marker);
    // journald takes the datagram asynchronously, and lines of earlier runs are in the journal
    // too: wait for this run's line.
    std::vector<std::string> lines;
    const auto predicate = AppLogger::predicate({{std::string("org.quendal.Tarnel.Test"), std::nullopt}});
    auto ours = [&] { return !lines.empty() && lines.back().find(marker) != std::string::npos; };
    for (int attempt = 0; attempt < 100 && !ours(); ++attempt) {
        lines = AppLogger::collectLogs(predicate, 1, 5);
        if (!ours())
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    AppLogger::setStore(nullptr);
    ASSERT_TRUE(ours()) << (lines.empty() ? std::string("nothing read back") : lines.back());
    EXPECT_LE(lines.size(), 5u);
    EXPECT_NE(lines.back().find("<Notice> (org.quendal.Tarnel.Test) [main] [main] "), std::string::npos) << lines.back();
    EXPECT_NE(lines.back().find(" [LoggingTests.cpp:"), std::string::npos) << lines.back();
}
