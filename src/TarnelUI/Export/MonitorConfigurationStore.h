#pragma once

#include "TarnelUI/Export/MonitorConfigurationSnapshot.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace quendal {
class Preferences;
}

namespace tarnel::ui {

class MonitorSettings;

// Where the application leaves the Monitor app's configuration, and how it is read back.
// Writes replace a file whole (a temporary file renamed over it), so a reader never sees half a
// document and a failed write leaves the older file in place.
namespace MonitorConfigurationStore {

inline constexpr const char* preferencesKey = "monitorConfigurationSnapshot";
inline constexpr const char* snapshotFileName = "MonitorConfigurationSnapshot.json";
inline constexpr const char* settingsFileName = "MonitorSettings.json";

// $XDG_DATA_HOME/Tarnel/Monitor, or ~/.local/share/Tarnel/Monitor.
std::filesystem::path directory();
std::filesystem::path snapshotFileURL();
std::filesystem::path settingsFileURL();

// Throws std::invalid_argument when the preferences refuse the document.
void saveSnapshot(const MonitorConfigurationSnapshot& snapshot, quendal::Preferences& preferences);
// None when nothing is stored or it does not decode.
std::optional<MonitorConfigurationSnapshot> loadSnapshot(quendal::Preferences& preferences);

// Throws std::system_error with the file and the reason when it cannot be written.
void saveSnapshot(const MonitorConfigurationSnapshot& snapshot, const std::filesystem::path& file);
std::optional<MonitorConfigurationSnapshot> loadSnapshot(const std::filesystem::path& file);
void saveSettings(const MonitorSettings& settings, const std::filesystem::path& file);
// None when the file is missing or unreadable or the document has no version.
std::shared_ptr<MonitorSettings> loadSettings(const std::filesystem::path& file);

// Writes `contents` to `file` through a temporary file beside it, creating the folders.
void replaceFile(const std::filesystem::path& file, const std::string& contents);

} // namespace MonitorConfigurationStore

} // namespace tarnel::ui
