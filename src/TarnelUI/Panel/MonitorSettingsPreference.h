#pragma once

#include "TarnelUI/Panel/MonitorSettings.h"

namespace quendal {
class Preferences;
}

namespace tarnel::ui {

// The Monitor configuration in the user's preferences, under "monitorSettings".
struct MonitorSettingsPreference {
    // The stored configuration, brought to the current version. A value that is missing or
    // does not decode reads as a new configuration; a migrated one is written back at once.
    static std::shared_ptr<MonitorSettings> load(quendal::Preferences& preferences,
                                                 MonitorDeviceCapabilities capabilities);
    static void save(quendal::Preferences& preferences, const MonitorSettings& settings);
};

} // namespace tarnel::ui
