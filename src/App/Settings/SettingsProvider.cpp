#include "App/Settings/SettingsProvider.h"

#include "App/Localization/Localizable.h"

#include "QuendalFoundation/Formatting/TemperatureFormatter.h"
#include "QuendalFoundation/Preferences/Preferences.h"

namespace tarnel {

namespace {

CollectionViewSection section(std::string identifier, std::optional<std::string> header, std::vector<CollectionViewCellModel> items)
{
    return {std::move(identifier), std::move(items), CollectionViewSection::Layout::list, std::move(header), std::nullopt};
}

template <class Options>
std::vector<std::string> titlesOf(const Options& options)
{
    std::vector<std::string> titles;
    for (auto option : options)
        titles.push_back(localized(quendal::titleKey(option)));
    return titles;
}

template <class Options, class Value>
std::size_t indexOf(const Options& options, Value value)
{
    for (std::size_t i = 0; i < options.size(); ++i)
        if (options[i] == value)
            return i;
    return 0;
}

} // namespace

SettingsProvider::SettingsProvider(Sources sources) : sources_(std::move(sources))
{
    title = localized("settings_title");
    identifier = "settings";
    icon = "settings";
}

std::vector<CollectionViewSection> SettingsProvider::sections()
{
    return {
        section("spacer", std::nullopt, {}),
        section("monitor", localized("monitor_title"), {runAtLoginRow()}),
        section("appearance", localized("settings_appearance_title"), {themeRow(), temperatureRow()}),
    };
}

CollectionViewCellModel SettingsProvider::runAtLoginRow()
{
    std::weak_ptr<SettingsProvider> weak = weak_from_this();
    SettingsSwitchModel model{localized("settings_monitor_run_at_login"), localized("settings_monitor_run_at_login_note"),
                              quendal::read(*sources_.preferences, quendal::PreferenceKeys::runMonitorAtLogin),
                              [weak](bool on) {
                                  if (auto self = weak.lock()) {
                                      quendal::write(*self->sources_.preferences, quendal::PreferenceKeys::runMonitorAtLogin, on);
                                      if (self->sources_.setRunMonitorAtLogin)
                                          self->sources_.setRunMonitorAtLogin(on);
                                      self->reload();
                                  }
                              }};
    return CollectionViewCellModel::make("runMonitorAtLogin", std::move(model));
}

CollectionViewCellModel SettingsProvider::themeRow()
{
    std::weak_ptr<SettingsProvider> weak = weak_from_this();
    SettingsMenuModel model{localized("settings_theme_title"), titlesOf(quendal::allThemes),
                            indexOf(quendal::allThemes, sources_.theme()), [weak](std::size_t index) {
                                auto self = weak.lock();
                                if (!self || index >= quendal::allThemes.size())
                                    return;
                                self->sources_.setTheme(quendal::allThemes[index]);
                                self->reload();
                            }};
    return CollectionViewCellModel::make("theme", std::move(model));
}

CollectionViewCellModel SettingsProvider::temperatureRow()
{
    std::weak_ptr<SettingsProvider> weak = weak_from_this();
    // An unknown stored unit reads as the key's default.
    const auto stored =
        quendal::temperatureUnitFormat(quendal::read(*sources_.preferences, quendal::PreferenceKeys::temperatureUnitFormat));
    SettingsMenuModel model{localized("settings_temperature_title"), titlesOf(quendal::allTemperatureUnitFormats),
                            indexOf(quendal::allTemperatureUnitFormats, stored), [weak](std::size_t index) {
                                auto self = weak.lock();
                                if (!self || index >= quendal::allTemperatureUnitFormats.size())
                                    return;
                                quendal::write(*self->sources_.preferences, quendal::PreferenceKeys::temperatureUnitFormat,
                                               std::string(quendal::rawValue(quendal::allTemperatureUnitFormats[index])));
                                self->reload();
                            }};
    return CollectionViewCellModel::make("temperatureUnit", std::move(model));
}

} // namespace tarnel
