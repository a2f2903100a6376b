#include "TarnelUI/Export/MonitorConfigurationExporter.h"

#include "QuendalFoundation/Logging/AppLogger.h"
#include "TarnelUI/Export/MonitorConfigurationSnapshot.h"
#include "TarnelUI/Export/MonitorConfigurationStore.h"

#include <exception>
#include <utility>

namespace tarnel::ui {

namespace {

// Runs one write; its failure is logged under this function's name and goes no further.
template <class Write>
void save(Write&& write)
{
    try {
        write();
    } catch (const std::exception& failure) {
        quendal::AppLogger::error(failure, quendal::AppLogger::monitor);
    }
}

} // namespace

MonitorConfigurationExporter::MonitorConfigurationExporter(quendal::Preferences& preferences,
                                                           std::shared_ptr<MonitorSignals> signals,
                                                           std::filesystem::path directory)
    : preferences_(preferences), signals_(std::move(signals)), directory_(std::move(directory))
{
}

void MonitorConfigurationExporter::exportConfiguration(const MonitorSettings& settings, bool runAtLogin, Date now) const
{
    const auto snapshot = MonitorConfigurationSnapshot::make(settings, runAtLogin, now);
    save([&] { MonitorConfigurationStore::saveSnapshot(snapshot, preferences_); });
    save([&] { MonitorConfigurationStore::saveSnapshot(snapshot, directory_ / MonitorConfigurationStore::snapshotFileName); });
    save([&] { MonitorConfigurationStore::saveSettings(settings, directory_ / MonitorConfigurationStore::settingsFileName); });
    try {
        signals_->post(MonitorSignal::configurationChanged);
    } catch (const std::exception& failure) {
        quendal::AppLogger::error(failure, quendal::AppLogger::monitor);
    }
}

} // namespace tarnel::ui
