#include "TarnelUI/Panel/MonitorSettingsPreference.h"

#include "QuendalFoundation/Logging/AppLogger.h"
#include "QuendalFoundation/Preferences/Preferences.h"

namespace tarnel::ui {

using quendal::AppLogger;

std::shared_ptr<MonitorSettings> MonitorSettingsPreference::load(quendal::Preferences& preferences,
                                                                MonitorDeviceCapabilities capabilities)
{
    std::shared_ptr<MonitorSettings> settings;
    if (auto text = preferences.jsonValue(quendal::PreferenceKeys::monitorSettings)) {
        try {
            settings = MonitorSettings::decode(Json::parse(*text));
        } catch (const std::exception& failure) {
            AppLogger::error(std::string("Unable to decode Monitor settings: ") + failure.what(), AppLogger::monitor);
        }
    }
    if (!settings)
        settings = std::make_shared<MonitorSettings>();
    if (settings->version() != MonitorSettings::currentVersion) {
        AppLogger::info("Migrating Monitor model version.", AppLogger::monitor);
        settings->migrate(MonitorSettings::currentVersion, capabilities);
        save(preferences, *settings);
    }
    return settings;
}

void MonitorSettingsPreference::save(quendal::Preferences& preferences, const MonitorSettings& settings)
{
    preferences.setJson(quendal::PreferenceKeys::monitorSettings, settings.encode().dump());
}

} // namespace tarnel::ui
