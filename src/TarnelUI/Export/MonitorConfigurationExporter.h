#pragma once

#include "TarnelFoundation/Codec/Date.h"
#include "TarnelUI/Export/MonitorPlatform.h"

#include <filesystem>
#include <memory>

namespace quendal {
class Preferences;
}

namespace tarnel::ui {

class MonitorSettings;

// Hands the Monitor app the configuration: the snapshot into the preferences and its file, the
// settings into theirs, then the "configurationChanged" signal. A failing step is logged and the
// next one still runs, so the Monitor app reloads whatever did get written.
class MonitorConfigurationExporter {
public:
    MonitorConfigurationExporter(quendal::Preferences& preferences, std::shared_ptr<MonitorSignals> signals,
                                 std::filesystem::path directory);

    void exportConfiguration(const MonitorSettings& settings, bool runAtLogin, Date now = Date::now()) const;

private:
    quendal::Preferences& preferences_;
    std::shared_ptr<MonitorSignals> signals_;
    std::filesystem::path directory_;
};

} // namespace tarnel::ui
