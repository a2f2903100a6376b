// The Settings rows: what they show is what is stored, and every choice is stored at once.
#include "App/Settings/SettingsProvider.h"

#include "QuendalFoundation/Preferences/Preferences.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

using namespace tarnel;

namespace {

struct Fixture {
    tarnel::testing::TemporaryDirectory directory;
    quendal::Preferences preferences{directory.path() / "preferences.json"};
    quendal::Theme theme = quendal::Theme::system;
    std::vector<quendal::Theme> applied;
    int reloads = 0;
    std::vector<bool> loginChoices;
    std::shared_ptr<SettingsProvider> provider = std::make_shared<SettingsProvider>(SettingsProvider::Sources{
        &preferences, [this] { return theme; },
        [this](quendal::Theme chosen) {
            applied.push_back(chosen);
            theme = chosen;
        },
        [this](bool on) { loginChoices.push_back(on); }});

    Fixture() { provider->setReload([this] { ++reloads; }); }

    template <class Model>
    Model row(const std::string& identifier)
    {
        for (const auto& section : provider->sections())
            for (const auto& item : section.items)
                if (item.identifier == identifier)
                    return *item.as<Model>();
        ADD_FAILURE() << "no row " << identifier;
        return {};
    }
};

} // namespace

TEST(Settings, SectionsInOrderShowingWhatIsStored)
{
    Fixture f;
    EXPECT_EQ(f.provider->identifier, "settings");
    EXPECT_EQ(f.provider->title, "Settings");
    const auto sections = f.provider->sections();
    ASSERT_EQ(sections.size(), 3u);
    EXPECT_TRUE(sections[0].items.empty()) << "a spacer";
    EXPECT_EQ(sections[1].header, "Monitor");
    EXPECT_EQ(sections[2].header, "Appearance");
    ASSERT_EQ(sections[2].items.size(), 2u);
    EXPECT_TRUE(sections[2].items[0].as<SettingsMenuModel>());
    EXPECT_FALSE(sections[2].items[0].as<SettingsSwitchModel>()) << "a cell holds the one type it was made with";

    // A fresh installation: the switch on, the theme and the unit following the system.
    auto login = f.row<SettingsSwitchModel>("runMonitorAtLogin");
    EXPECT_TRUE(login.isOn);
    EXPECT_EQ(login.title, "Run Tarnel Monitor on Login");
    auto theme = f.row<SettingsMenuModel>("theme");
    EXPECT_EQ(theme.options, (std::vector<std::string>{"System", "Light", "Dark"}));
    EXPECT_EQ(theme.selectedIndex, 0u);
    auto unit = f.row<SettingsMenuModel>("temperatureUnit");
    EXPECT_EQ(unit.options, (std::vector<std::string>{"System", "Celsius", "Fahrenheit", "Kelvin"}));
    EXPECT_EQ(unit.selectedIndex, 0u);

    // An unknown stored unit reads as the default.
    quendal::write(f.preferences, quendal::PreferenceKeys::temperatureUnitFormat, std::string("rankine"));
    EXPECT_EQ(f.row<SettingsMenuModel>("temperatureUnit").selectedIndex, 0u);
    quendal::write(f.preferences, quendal::PreferenceKeys::temperatureUnitFormat, std::string("kelvin"));
    EXPECT_EQ(f.row<SettingsMenuModel>("temperatureUnit").selectedIndex, 3u);
}

TEST(Settings, ChoicesAreStoredAndTheRowsReload)
{
    Fixture f;
    f.row<SettingsSwitchModel>("runMonitorAtLogin").onChange(false);
    EXPECT_FALSE(quendal::read(f.preferences, quendal::PreferenceKeys::runMonitorAtLogin));
    EXPECT_FALSE(f.row<SettingsSwitchModel>("runMonitorAtLogin").isOn);

    f.row<SettingsMenuModel>("temperatureUnit").onSelect(2);
    EXPECT_EQ(quendal::read(f.preferences, quendal::PreferenceKeys::temperatureUnitFormat), "fahrenheit");

    f.row<SettingsMenuModel>("theme").onSelect(2);
    EXPECT_EQ(f.applied, std::vector<quendal::Theme>{quendal::Theme::dark}) << "the theme goes through the manager";
    EXPECT_EQ(f.row<SettingsMenuModel>("theme").selectedIndex, 2u);
    EXPECT_EQ(f.reloads, 3);

    // An index past the menu changes nothing.
    f.row<SettingsMenuModel>("theme").onSelect(7);
    f.row<SettingsMenuModel>("temperatureUnit").onSelect(9);
    EXPECT_EQ(f.applied.size(), 1u);
    EXPECT_EQ(quendal::read(f.preferences, quendal::PreferenceKeys::temperatureUnitFormat), "fahrenheit");
    EXPECT_EQ(f.reloads, 3);

    // A row outliving its provider does nothing.
    auto orphan = f.row<SettingsSwitchModel>("runMonitorAtLogin");
    f.provider.reset();
    orphan.onChange(true);
    EXPECT_FALSE(quendal::read(f.preferences, quendal::PreferenceKeys::runMonitorAtLogin));
}

TEST(Settings, TheLoginSwitchGoesToTheMonitorController)
{
    Fixture f;
    f.row<SettingsSwitchModel>("runMonitorAtLogin").onChange(false);
    f.row<SettingsSwitchModel>("runMonitorAtLogin").onChange(true);
    EXPECT_EQ(f.loginChoices, (std::vector<bool>{false, true}));
    // The row shows the choice at once, before the controller has run.
    EXPECT_TRUE(f.row<SettingsSwitchModel>("runMonitorAtLogin").isOn);
}
