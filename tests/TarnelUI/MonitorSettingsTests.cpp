#include "LogCapture.h"

#include "QuendalFoundation/Preferences/Preferences.h"
#include "TarnelUI/Core/MonitorWidget.h"
#include "TarnelUI/Panel/MonitorSettingsPreference.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

using namespace tarnel;
using namespace tarnel::ui;
using quendal::LogLevel;

namespace {

using K = PanelItemKind;

std::vector<PanelItemKind> kindsOf(const std::vector<PanelPointer>& panels)
{
    std::vector<PanelItemKind> kinds;
    for (const auto& panel : panels)
        kinds.push_back(panel->kind());
    return kinds;
}

bool hasBatteryWidget(const PanelStore& store)
{
    for (const auto& panel : store.panels().items())
        for (const auto& [id, widget] : panel->widgetStore().allWidgets())
            if (widget->kind() == WidgetKind::batteryUsage)
                return true;
    return false;
}

struct StoredPreferences {
    tarnel::testing::TemporaryDirectory directory{"tarnel-ui"};
    quendal::Preferences preferences{directory.path() / "preferences.json"};
};

// A document as an older release wrote it: the fields added since are absent, one widget is
// of a kind this build no longer knows, and one key is no longer read.
const char* olderDocument = R"({
  "version": 2,
  "panelStyle": {"shape": "rectangular", "titleAlignment": "center",
                 "appearance": {"theme": "minimal", "mode": "dark"}, "animate": true},
  "statusStyle": {"animate": false},
  "panelStore": {
    "widgetLinks": {},
    "enabledIds": ["11111111-1111-4111-8111-111111111111"],
    "panels": [{
      "id": "11111111-1111-4111-8111-111111111111",
      "kind": "combined",
      "customName": "",
      "layout": "grid",
      "widgetStore": {
        "panelWidgets": [
          {"kind": "ramUsage", "widget": {"id": "22222222-2222-4222-8222-222222222222", "kind": "ramUsage",
           "titleSettings": {"showTitle": true, "customTitle": "", "customOverride": false},
           "model": {"context": "panel", "statistics": {"entries": ["memoryPressure", []]}}}},
          {"kind": "moonPhase", "widget": {"id": "33333333-3333-4333-8333-333333333333", "kind": "moonPhase",
           "titleSettings": {"showTitle": true, "customTitle": "", "customOverride": false},
           "model": {"context": "panel", "statistics": {"entries": []}}}},
          {"kind": "processUsage", "widget": {"id": "44444444-4444-4444-8444-444444444444", "kind": "processUsage",
           "titleSettings": {"showTitle": false, "customTitle": "Top", "customOverride": true},
           "linkedPanel": "11111111-1111-4111-8111-111111111111",
           "model": {"context": "panel", "statistics": {"entries": ["processCPUUsage", [0, 1]]}}}},
          {"kind": "temperatureSensor", "widget": {"id": "55555555-5555-4555-8555-555555555555",
           "kind": "temperatureSensor",
           "titleSettings": {"showTitle": true, "customTitle": "", "customOverride": false},
           "model": {"context": "panel", "statistics": {"entries": []}}}}
        ],
        "statusWidgets": []
      }
    }]
  }
})";

} // namespace

TEST(MonitorSettingsCoding, AnOlderDocumentLoadsWithDefaultsAndLosesOnlyTheUnknownWidget)
{
    tarnel::testing::LogCapture log;
    auto settings = MonitorSettings::decode(Json::parse(olderDocument));
    EXPECT_EQ(settings->panelStyle().shape, PanelStyle::Shape::rectangular);
    EXPECT_EQ(settings->panelStyle().appearance.theme, PanelAppearance::Theme::minimal);
    auto store = settings->panelStore();
    ASSERT_EQ(store->panels().items().size(), 1u);
    const auto& widgets = store->panels().items()[0]->widgetStore().panelWidgets().items();
    ASSERT_EQ(widgets.size(), 3u);
    EXPECT_EQ(log.count(LogLevel::error, "Unable to decode widget 33333333-3333-4333-8333-333333333333"), 1u);

    // Missing defaulted fields take their defaults; a stored demand follows the settings again.
    auto ram = std::dynamic_pointer_cast<MonitorWidget<RAMUsageWidget>>(widgets[0]);
    ASSERT_TRUE(ram);
    EXPECT_TRUE(ram->model().detailed());
    EXPECT_EQ(ram->statistics().entries.size(), 6u);
    auto process = std::dynamic_pointer_cast<MonitorWidget<ProcessUsageWidget>>(widgets[1]);
    ASSERT_TRUE(process);
    EXPECT_EQ(process->model().count(), 10);
    EXPECT_EQ(process->titleSettings().customTitle, "Top");
    EXPECT_EQ(process->linkedPanel(), store->panels().items()[0]->id());
    auto sensors = std::dynamic_pointer_cast<MonitorWidget<TemperatureSensorWidget>>(widgets[2]);
    ASSERT_TRUE(sensors);
    EXPECT_EQ(sensors->model().group(), WidgetSensorGroup::cpu);
    EXPECT_EQ(sensors->statistics().entries.size(), 15u);

    // The reserved keys are neither kept nor written.
    auto written = settings->encode();
    EXPECT_FALSE(written["panelStore"].contains("widgetLinks"));
    EXPECT_FALSE(written["panelStore"]["panels"][0].contains("layout"));
    EXPECT_EQ(MonitorSettings::decode(written)->encode(), written);
}

TEST(MonitorSettingsCoding, EveryDefaultPanelSurvivesASaveAndALoad)
{
    for (bool battery : {true, false}) {
        MonitorSettings settings(MonitorDeviceCapabilities{battery});
        auto written = settings.encode();
        auto loaded = MonitorSettings::decode(written);
        EXPECT_EQ(loaded->encode(), written);
        for (std::size_t i = 0; i < settings.panelStore()->panels().items().size(); ++i) {
            const auto& original = settings.panelStore()->panels().items()[i];
            const auto& back = loaded->panelStore()->panels().items()[i];
            EXPECT_EQ(back->id(), original->id());
            EXPECT_EQ(back->widgetStore().statistics(WidgetContext::status),
                      original->widgetStore().statistics(WidgetContext::status));
            EXPECT_EQ(back->widgetStore().statistics(WidgetContext::panel),
                      original->widgetStore().statistics(WidgetContext::panel));
        }
    }
}

TEST(MonitorSettingsCoding, EachPartFailsOnItsOwn)
{
    tarnel::testing::LogCapture log;
    MonitorSettings original(MonitorDeviceCapabilities{false});
    original.setPanelStyle({PanelStyle::Shape::rectangular, PanelStyle::TitleAlignment::trailing, {}, true});
    auto document = original.encode();

    auto withoutVersion = document;
    withoutVersion.erase("version");
    EXPECT_THROW(MonitorSettings::decode(withoutVersion), ModelDecodingError);
    auto textVersion = document;
    textVersion["version"] = "2";
    EXPECT_THROW(MonitorSettings::decode(textVersion), ModelDecodingError);

    // A broken store gives the defaults of a device with a battery; the style survives.
    for (auto breakStore : std::vector<std::function<void(Json&)>>{
             [](Json& store) { store.erase("enabledIds"); },
             [](Json& store) { store["panels"][0]["widgetStore"].erase("panelWidgets"); },
             [](Json& store) { store["panels"][1]["kind"] = "weather"; },
             [](Json& store) { store = "garbage"; },
         }) {
        auto broken = document;
        breakStore(broken["panelStore"]);
        auto settings = MonitorSettings::decode(broken);
        EXPECT_TRUE(hasBatteryWidget(*settings->panelStore()));
        EXPECT_EQ(settings->panelStore()->enabledIds().size(), 7u);
        EXPECT_EQ(settings->panelStyle(), original.panelStyle());
    }
    EXPECT_FALSE(hasBatteryWidget(*original.panelStore()));

    // A broken style leaves the panels as they are.
    auto brokenStyle = document;
    brokenStyle["panelStyle"].erase("animate");
    brokenStyle["statusStyle"] = Json::array();
    auto settings = MonitorSettings::decode(brokenStyle);
    EXPECT_EQ(settings->panelStyle(), PanelStyle{});
    EXPECT_EQ(settings->statusStyle(), StatusStyle{});
    EXPECT_EQ(settings->panelStore()->encode(), original.panelStore()->encode());
}

TEST(MonitorSettingsPreference, MissingOrOldSettingsAreReplacedAndWrittenBack)
{
    tarnel::testing::LogCapture log;
    StoredPreferences stored;
    MonitorDeviceCapabilities noBattery{false};

    // Nothing stored: a new configuration, not written.
    auto fresh = MonitorSettingsPreference::load(stored.preferences, noBattery);
    EXPECT_EQ(fresh->version(), 2);
    EXPECT_FALSE(stored.preferences.contains("monitorSettings"));

    // A document without a version reads as a new configuration too.
    auto document = MonitorSettings(noBattery).encode();
    document.erase("version");
    stored.preferences.setJson("monitorSettings", document.dump());
    EXPECT_EQ(MonitorSettingsPreference::load(stored.preferences, noBattery)->version(), 2);

    // Version 1 loses its panels to the defaults for this device, and is written back.
    MonitorSettings custom(MonitorDeviceCapabilities{true});
    std::get<PanelPointer>(custom.panelStore()->createCustomPanel("Mine"));
    document = custom.encode();
    document["version"] = 1;
    stored.preferences.setJson("monitorSettings", document.dump());
    auto migrated = MonitorSettingsPreference::load(stored.preferences, noBattery);
    EXPECT_EQ(migrated->version(), 2);
    EXPECT_EQ(kindsOf(migrated->panelStore()->panels().items()),
              (std::vector{K::combined, K::cpuGpu, K::memory, K::storage, K::sensors, K::network, K::power}));
    EXPECT_FALSE(hasBatteryWidget(*migrated->panelStore()));
    EXPECT_EQ(migrated->panelStore()->enabledIds().size(), 7u);
    EXPECT_EQ(log.count(LogLevel::info, "Migrating Monitor model version."), 1u);
    auto written = Json::parse(*stored.preferences.jsonValue("monitorSettings"));
    EXPECT_EQ(written, migrated->encode());

    // The current version loads as stored, without another migration.
    auto again = MonitorSettingsPreference::load(stored.preferences, MonitorDeviceCapabilities{true});
    EXPECT_EQ(again->encode(), written);
    EXPECT_EQ(log.count(LogLevel::info, "Migrating Monitor model version."), 1u);
}

TEST(MonitorSettingsObservers, AChangeDeepInAPanelReachesTheSettings)
{
    MonitorSettings settings;
    int changes = 0;
    auto observation = settings.changes().sink([&](bool) { ++changes; });
    auto widget = settings.panelStore()->panels().items()[3]->widgetStore().panelWidgets().items()[0];

    widget->setTitleSettings({true, "Disk", true});
    EXPECT_EQ(changes, 1);
    widget->setLinkedPanel(UUID::random());
    EXPECT_EQ(changes, 2);
    settings.panelStore()->panels().items()[0]->widgetStore().panelWidgets().items()[0]->setContext(
        WidgetContext::status);
    EXPECT_EQ(changes, 3);
    settings.panelStore()->setEnabled(settings.panelStore()->combinedPanel()->id(), false);
    EXPECT_EQ(changes, 4);
    settings.setStatusStyle({true});
    EXPECT_EQ(changes, 5);
    settings.setStatusStyle({true});
    EXPECT_EQ(changes, 5);

    // Migration replaces the panels: their old widgets are no longer heard.
    settings.migrate(2, {});
    EXPECT_EQ(changes, 5);
    MonitorSettings old(1, PanelStore::makeDefault({}), {}, {});
    int oldChanges = 0;
    auto oldObservation = old.changes().sink([&](bool) { ++oldChanges; });
    auto stale = old.panelStore()->panels().items()[1];
    old.migrate(2, {});
    EXPECT_GT(oldChanges, 0);
    int afterMigration = oldChanges;
    stale->setCustomName("gone");
    EXPECT_EQ(oldChanges, afterMigration);
}

TEST(PanelMaterials, ThemeModeAndTheDesktopChooseTheMaterial)
{
    using Theme = PanelAppearance::Theme;
    using Mode = PanelAppearance::Mode;
    EXPECT_EQ(panelMaterial({Theme::standard, Mode::system}, {.dark = true}), PanelMaterial::standardDark);
    EXPECT_EQ(panelMaterial({Theme::standard, Mode::light}, {.dark = true}), PanelMaterial::standardLight);
    EXPECT_EQ(panelMaterial({Theme::minimal, Mode::dark}, {}), PanelMaterial::minimalDark);
    EXPECT_EQ(panelMaterial({Theme::minimal, Mode::light}, {.reducedTransparency = true}),
              PanelMaterial::minimalLightReducedTransparency);
    EXPECT_EQ(panelMaterial({Theme::standard, Mode::dark}, {.increasedContrast = true, .reducedTransparency = true}),
              PanelMaterial::standardDarkIncreasedContrast);
}
