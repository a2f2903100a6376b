#include "QuendalFoundation/Formatting/TemperatureFormatter.h"
#include "QuendalFoundation/Logging/AppLogger.h"
#include "QuendalFoundation/Logging/LogStore.h"
#include "QuendalFoundation/Preferences/Preferences.h"
#include "QuendalFoundation/Preferences/Theme.h"

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace quendal;
using tarnel::testing::TemporaryDirectory;

TEST(Preferences, DefaultsRoundTripsAndUnknownValues)
{
    TemporaryDirectory directory;
    Preferences preferences(directory.path() / "tarnel" / "preferences.json");
    EXPECT_EQ(read(preferences, PreferenceKeys::settingsTheme), "system");
    EXPECT_EQ(read(preferences, PreferenceKeys::temperatureUnitFormat), "system");
    EXPECT_TRUE(read(preferences, PreferenceKeys::runMonitorAtLogin));
    EXPECT_TRUE(read(preferences, PreferenceKeys::showSidebar));

    write(preferences, PreferenceKeys::runMonitorAtLogin, false);
    write(preferences, PreferenceKeys::settingsTheme, std::string("dark"));
    Preferences again(preferences.file());
    EXPECT_FALSE(read(again, PreferenceKeys::runMonitorAtLogin));
    EXPECT_EQ(read(again, PreferenceKeys::settingsTheme), "dark");

    // A value of another type reads as the default; an unknown unit reads as system.
    again.set("showSidebar", std::string("yes"));
    EXPECT_TRUE(read(preferences, PreferenceKeys::showSidebar));
    again.set("temperatureUnitFormat", std::string("rankine"));
    EXPECT_EQ(temperatureUnitFormat(read(preferences, PreferenceKeys::temperatureUnitFormat)), TemperatureUnitFormat::system);

    preferences.setJson("monitorSettings", R"({"panels":[1,2]})");
    EXPECT_EQ(again.jsonValue("monitorSettings"), R"({"panels":[1,2]})");
    EXPECT_THROW(preferences.setJson("x", "{broken"), std::invalid_argument);
    preferences.remove("monitorSettings");
    EXPECT_FALSE(again.contains("monitorSettings"));
}

TEST(Preferences, AnUnreadableDocumentIsKeptAsideAndDefaultsApply)
{
    TemporaryDirectory directory;
    AppLogger::setStore(std::make_shared<JsonLinesLogStore>(directory.path() / "log", "test"));
    const auto file = directory.path() / "preferences.json";
    tarnel::testing::writeFile(file, "[\"an array is no document\"]");
    {
        Preferences first(file);
        EXPECT_TRUE(read(first, PreferenceKeys::showSidebar));
    }
    tarnel::testing::writeFile(file, "{\"showSidebar\": fal");
    Preferences preferences(file);
    EXPECT_TRUE(read(preferences, PreferenceKeys::showSidebar));
    write(preferences, PreferenceKeys::showSidebar, false);
    EXPECT_FALSE(read(preferences, PreferenceKeys::showSidebar));
    int keptAside = 0;
    for (const auto& entry : std::filesystem::directory_iterator(directory.path()))
        if (entry.path().filename().string().starts_with("preferences.json.unreadable-"))
            ++keptAside;
    EXPECT_EQ(keptAside, 2) << "each unreadable document is kept";
    const auto logged = AppLogger::collectLogs("eventType == logEvent", 1, std::nullopt);
    ASSERT_EQ(logged.size(), 2u);
    EXPECT_NE(logged[1].find("could not be read"), std::string::npos) << logged[1];
    AppLogger::setStore(nullptr);
}

TEST(Preferences, ObserversHearOfOwnAndOtherProcessesChanges)
{
    TemporaryDirectory directory;
    const auto file = directory.path() / "preferences.json";
    Preferences application(file);
    Preferences monitor(file); // stands for the Monitor app: its own copy of the document
    std::vector<std::string> heard;
    auto subscription = application.observe([&](const std::string& key) { heard.push_back(key); });

    write(application, PreferenceKeys::showSidebar, false);
    EXPECT_EQ(heard, std::vector<std::string>{"showSidebar"});
    write(application, PreferenceKeys::showSidebar, false);
    EXPECT_EQ(heard.size(), 1u) << "an unchanged value is not a change";

    write(monitor, PreferenceKeys::temperatureUnitFormat, std::string("kelvin"));
    monitor.remove("showSidebar");
    application.refresh();
    EXPECT_EQ(heard, (std::vector<std::string>{"showSidebar", "showSidebar", "temperatureUnitFormat"}));
    EXPECT_EQ(read(application, PreferenceKeys::temperatureUnitFormat), "kelvin");
    EXPECT_TRUE(read(application, PreferenceKeys::showSidebar)) << "a removed key reads as its default again";

    subscription.cancel();
    write(application, PreferenceKeys::runMonitorAtLogin, false);
    EXPECT_EQ(heard.size(), 3u);

    // Registered defaults answer every read and are never written.
    application.registerDefault("benchmarkRuns", std::int64_t{3});
    EXPECT_EQ(application.integerValue("benchmarkRuns"), 3);
    EXPECT_EQ(application.jsonValue("benchmarkRuns"), "3");
    EXPECT_FALSE(application.contains("benchmarkRuns"));
    EXPECT_EQ(tarnel::testing::readFile(file).find("benchmarkRuns"), std::string::npos);
}

TEST(Preferences, ThemeAndUnitValues)
{
    TemporaryDirectory directory;
    Preferences preferences(directory.path() / "preferences.json");
    EXPECT_EQ(storedTheme(preferences), Theme::system) << "a fresh installation follows the system";
    storeTheme(preferences, Theme::dark);
    EXPECT_EQ(storedTheme(preferences), Theme::dark);
    int stores = 0;
    auto subscription = preferences.observe([&](const std::string&) { ++stores; });
    preferences.set("settingsTheme", std::string("Dark"));
    EXPECT_EQ(storedTheme(preferences), Theme::system) << "raw values are exact";
    preferences.set("settingsTheme", std::int64_t{1});
    EXPECT_EQ(storedTheme(preferences), Theme::system);
    EXPECT_EQ(stores, 2);
    EXPECT_EQ(themeFromRawValue("light"), Theme::light);
    EXPECT_EQ(titleKey(Theme::light), "settings_theme_light");
    EXPECT_EQ(defaultTitle(TemperatureUnitFormat::kelvin), "Kelvin");
    EXPECT_EQ(titleKey(TemperatureUnitFormat::system), "settings_temperature_system");
    EXPECT_EQ(allTemperatureUnitFormats.back(), TemperatureUnitFormat::kelvin);
}

TEST(Preferences, TwoProcessesWritingAThousandKeysEachLoseNothing)
{
    TemporaryDirectory directory;
    const auto file = directory.path() / "preferences.json";
    auto writeMany = [&](const std::string& prefix) {
        Preferences preferences(file);
        for (int i = 0; i < 1000; ++i)
            preferences.set(prefix + std::to_string(i), std::int64_t{i});
    };
    pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        writeMany("monitor-");
        ::_exit(0);
    }
    std::thread sibling([&] { writeMany("thread-"); });
    writeMany("app-");
    sibling.join();
    int status = 0;
    ::waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);

    Preferences reader(file);
    int found = 0;
    for (const auto* prefix : {"monitor-", "thread-", "app-"})
        for (int i = 0; i < 1000; ++i)
            found += reader.integerValue(prefix + std::to_string(i), -1) == i;
    EXPECT_EQ(found, 3000);
}

TEST(Preferences, TemperaturesRoundBeforeConverting)
{
    using F = TemperatureFormatter;
    EXPECT_EQ(F::string(0.4, TemperatureUnitFormat::celsius), "0 °C");
    EXPECT_EQ(F::string(-0.4, TemperatureUnitFormat::celsius), "0 °C");
    EXPECT_EQ(F::string(25.6, TemperatureUnitFormat::celsius), "26 °C");
    EXPECT_EQ(F::string(25.6, TemperatureUnitFormat::fahrenheit), "79 °F") << "26 °C is 78.8 °F";
    EXPECT_EQ(F::string(26, TemperatureUnitFormat::kelvin), "299 K");
    EXPECT_EQ(F::value(26, TemperatureUnitFormat::kelvin), 299);
    EXPECT_EQ(F::value(25.6, TemperatureUnitFormat::fahrenheit), 79);
    EXPECT_EQ(F::unitText(TemperatureUnitFormat::fahrenheit), "32 °F");
    EXPECT_EQ(F::unitText(TemperatureUnitFormat::kelvin), "273 K");
    EXPECT_EQ(F::string(-40.4, TemperatureUnitFormat::fahrenheit), "-40 °F");
    EXPECT_EQ(F::string(-0.6, TemperatureUnitFormat::celsius), "-1 °C");
    EXPECT_EQ(F::string(99.5, TemperatureUnitFormat::fahrenheit), "212 °F") << "100 °C after rounding, not 211.1";
    EXPECT_EQ(F::value(-40.4, TemperatureUnitFormat::celsius), -40);
    EXPECT_EQ(F::systemUnit(std::string("en_US.UTF-8")), TemperatureUnitFormat::fahrenheit);
    EXPECT_EQ(F::systemUnit(std::string("de_DE.UTF-8")), TemperatureUnitFormat::celsius);
    EXPECT_EQ(F::systemUnit(std::string("C.UTF-8")), TemperatureUnitFormat::celsius);
    EXPECT_EQ(temperatureUnitFormat("kelvin"), TemperatureUnitFormat::kelvin);
    EXPECT_EQ(rawValue(TemperatureUnitFormat::fahrenheit), "fahrenheit");
}
