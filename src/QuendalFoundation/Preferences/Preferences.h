#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <variant>

namespace quendal {

// A stored preference value: the JSON text of whatever the key holds.
using PreferenceValue = std::variant<bool, std::int64_t, double, std::string>;

// The user's preferences: one JSON document, written atomically (temporary file and rename)
// under a lock file, so threads and the application and the Monitor app can write different
// keys at once without losing each other's writes. A change on disk is picked up at the
// next read.
class Preferences {
public:
    static Preferences& shared();
    // $XDG_CONFIG_HOME/tarnel/preferences.json, or ~/.config/tarnel/preferences.json.
    static std::filesystem::path defaultFile();

    explicit Preferences(std::filesystem::path file);

    // Typed reads: the stored value when it has the type, else the registered default.
    bool boolValue(const std::string& key, bool fallback);
    std::int64_t integerValue(const std::string& key, std::int64_t fallback);
    double doubleValue(const std::string& key, double fallback);
    std::string stringValue(const std::string& key, const std::string& fallback);
    // A whole JSON document stored under a key (records kept by other Parts).
    std::optional<std::string> jsonValue(const std::string& key);

    void set(const std::string& key, const PreferenceValue& value);
    void setJson(const std::string& key, const std::string& jsonText);
    void remove(const std::string& key);
    bool contains(const std::string& key);

    const std::filesystem::path& file() const { return file_; }

    struct Document;

private:
    void reloadIfChanged();
    void update(const std::function<void(Document&)>& change);

    std::filesystem::path file_;
    std::mutex mutex_;
    std::shared_ptr<Document> document_;
    std::optional<std::filesystem::file_time_type> loadedTime_;
    std::uintmax_t loadedSize_ = 0;
};

// A key with its name and default; reading never yields nothing.
template <class T>
struct PreferenceKey {
    std::string name;
    T defaultValue;
};

// Typed access for the four plain types; enumerations convert through their raw strings.
bool read(Preferences& preferences, const PreferenceKey<bool>& key);
std::int64_t read(Preferences& preferences, const PreferenceKey<std::int64_t>& key);
double read(Preferences& preferences, const PreferenceKey<double>& key);
std::string read(Preferences& preferences, const PreferenceKey<std::string>& key);
void write(Preferences& preferences, const PreferenceKey<bool>& key, bool value);
void write(Preferences& preferences, const PreferenceKey<std::int64_t>& key, std::int64_t value);
void write(Preferences& preferences, const PreferenceKey<double>& key, double value);
void write(Preferences& preferences, const PreferenceKey<std::string>& key, const std::string& value);

// The keys of the settings.
namespace PreferenceKeys {
inline const PreferenceKey<std::string> settingsTheme{"settingsTheme", "system"};
inline const PreferenceKey<std::string> temperatureUnitFormat{"temperatureUnitFormat", "system"};
inline const PreferenceKey<bool> runMonitorAtLogin{"runMonitorAtLogin", true};
inline const PreferenceKey<bool> showSidebar{"showSidebar", true};
inline constexpr const char* monitorSettings = "monitorSettings";
} // namespace PreferenceKeys

} // namespace quendal
