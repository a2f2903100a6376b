#pragma once

#include "QuendalFoundation/Runtime/Cancellable.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace quendal {

// A plain preference value.
using PreferenceValue = std::variant<bool, std::int64_t, double, std::string>;

// The user's preferences: one JSON document, written atomically (temporary file and rename)
// under a lock file, so threads and the application and the Monitor app can write different
// keys at once without losing each other's writes. A change made by another process is picked
// up at the next read or `refresh()`, and observers hear of every key that changed.
class Preferences {
public:
    static Preferences& shared();
    // $XDG_CONFIG_HOME/tarnel/preferences.json, or ~/.config/tarnel/preferences.json.
    static std::filesystem::path defaultFile();

    explicit Preferences(std::filesystem::path file);
    ~Preferences();
    Preferences(const Preferences&) = delete;
    Preferences& operator=(const Preferences&) = delete;

    // The value a key reads as while nothing of its type is stored; never written to the file.
    void registerDefault(const std::string& key, const PreferenceValue& value);

    // Typed reads: the stored value when it has the type, else the registered default, else
    // `fallback`.
    bool boolValue(const std::string& key, bool fallback = false);
    std::int64_t integerValue(const std::string& key, std::int64_t fallback = 0);
    double doubleValue(const std::string& key, double fallback = 0);
    std::string stringValue(const std::string& key, const std::string& fallback = {});
    // The JSON text stored under a key (records kept by other modules), or its registered default.
    std::optional<std::string> jsonValue(const std::string& key);
    bool contains(const std::string& key);

    void set(const std::string& key, const PreferenceValue& value);
    // Throws std::invalid_argument when `jsonText` is not JSON.
    void setJson(const std::string& key, const std::string& jsonText);
    void remove(const std::string& key);

    // Re-reads the document if another process replaced it, telling observers what changed.
    void refresh();
    // `onChange` receives the name of each key whose value changed, on the thread that saw it.
    [[nodiscard]] Cancellable observe(std::function<void(const std::string& key)> onChange);

    const std::filesystem::path& file() const { return file_; }

    struct Document;
    struct Observers;

private:
    template <class Read>
    auto withDocument(Read read);
    // Under mutex_: reloads a replaced file and returns the keys that changed.
    std::vector<std::string> reloadIfChanged();
    void update(const std::string& key, const std::function<void(Document&)>& change);
    void notify(const std::vector<std::string>& keys);

    std::filesystem::path file_;
    std::mutex mutex_;
    std::unique_ptr<Document> document_;
    std::shared_ptr<Observers> observers_;
};

// A key with its name and default; reading never yields nothing.
template <class T>
struct PreferenceKey {
    std::string name;
    T defaultValue;
};

// Typed access; the key's default is registered when it is first touched.
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
// A `MonitorSettings` document; its owner supplies the default.
inline constexpr const char* monitorSettings = "monitorSettings";
} // namespace PreferenceKeys

} // namespace quendal
