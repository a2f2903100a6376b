#include "QuendalFoundation/Logging/AppLogger.h"
#include "QuendalFoundation/Logging/LogArchive.h"
#include "QuendalFoundation/Logging/LogPredicate.h"
#include "QuendalFoundation/Logging/LogStore.h"

#include "TestSupport.h"

#include <gtest/gtest.h>
#include <zip.h>

#include <chrono>
#include <stdexcept>

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
    EXPECT_EQ(AppLogger::errorText(std::exception()), "std::exception: std::exception");
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
    auto daemonOnly = AppLogger::collectLogs(AppLogger::predicate({{std::nullopt, std::string("tarneld")}}), 48, std::nullopt);
    EXPECT_EQ(daemonOnly.size(), 2u);

    // The store is capped: past its size it rotates and keeps one older file.
    JsonLinesLogStore small(directory.path() / "small", "tiny", 2000);
    for (int i = 0; i < 100; ++i)
        small.write({now(), LogLevel::info, "s", "c", "tiny", 1, std::string(40, 'x')});
    EXPECT_LE(std::filesystem::file_size(small.file()), 2000u);
    EXPECT_TRUE(std::filesystem::exists(small.file().string() + ".1"));
}

TEST_F(Logging, ReportAProblemPacksTheLogWithItsFolder)
{
    AppLogger::info("before the report");
    struct Presenter : ReportProblemPresenter {
        std::filesystem::path destination;
        bool confirm = true, saved = false;
        std::string error;
        bool confirmSaveLogs() override { return confirm; }
        std::optional<std::filesystem::path> chooseDestination(const std::filesystem::path&, const std::string& name) override
        {
            EXPECT_EQ(name, "TarnelLogs.zip");
            return destination;
        }
        void showSaved() override { saved = true; }
        void showError(const std::string& e) override { error = e; }
    } presenter;
    presenter.destination = directory.path() / "out" / "TarnelLogs.zip";
    std::filesystem::create_directories(presenter.destination.parent_path());
    tarnel::testing::writeFile(presenter.destination, "an older file");

    LogArchive archive({{std::string("org.quendal.Tarnel"), std::string("tarnel")}}, directory.path() / "work");
    std::filesystem::create_directories(directory.path() / "work");
    archive.reportAProblem(presenter, directory.path());
    ASSERT_TRUE(presenter.saved) << presenter.error;

    int error = 0;
    zip_t* zip = zip_open(presenter.destination.c_str(), ZIP_RDONLY, &error);
    ASSERT_NE(zip, nullptr) << "the old file was replaced by an archive";
    EXPECT_GE(zip_name_locate(zip, "TarnelLogs/", 0), 0) << "the folder is kept as the parent";
    auto index = zip_name_locate(zip, "TarnelLogs/TarnelLogs.log", 0);
    ASSERT_GE(index, 0);
    zip_stat_t stat;
    zip_stat_index(zip, static_cast<zip_uint64_t>(index), 0, &stat);
    std::string contents(stat.size, '\0');
    zip_file_t* file = zip_fopen_index(zip, static_cast<zip_uint64_t>(index), 0);
    zip_fread(file, contents.data(), stat.size);
    zip_fclose(file);
    zip_close(zip);
    EXPECT_NE(contents.find("before the report"), std::string::npos);

    // A destination that cannot be written ends with the error alert.
    Presenter failing;
    failing.destination = directory.path() / "missing-folder" / "x.zip";
    archive.reportAProblem(failing, directory.path());
    EXPECT_FALSE(failing.saved);
    EXPECT_FALSE(failing.error.empty());
    Presenter cancelled;
    cancelled.confirm = false;
    archive.reportAProblem(cancelled, directory.path());
    EXPECT_FALSE(cancelled.saved);
    EXPECT_TRUE(cancelled.error.empty());
}
