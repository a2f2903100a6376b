#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace tarnel::platform {

struct LoginItemError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The keys of an entry's [Desktop Entry] group; localized keys are kept under their full name.
struct AutostartEntry {
    std::map<std::string, std::string> keys;

    static AutostartEntry parse(const std::string& text);
    std::optional<std::string> value(const std::string& key) const;
    // False for Hidden=true and for X-GNOME-Autostart-enabled=false.
    bool opens() const;
    // OnlyShowIn and NotShowIn against the desktops of $XDG_CURRENT_DESKTOP.
    bool shownIn(const std::vector<std::string>& desktops) const;
};

enum class LoginItemSource {
    user,   // the user's own entry: removed by deleting the user's file
    system, // an entry of the system: switched off by a user entry with Hidden=true
};

struct LoginItem {
    std::string name;
    std::string identifier; // the entry's file name, which a user entry of the same name overrides
    std::filesystem::path program;
    std::string icon;
    bool isEnabled = true;
    LoginItemSource source = LoginItemSource::user;
    std::filesystem::path url; // the entry in effect: the user's file where there is one
    std::filesystem::path systemUrl; // the system's entry, for system items

    friend bool operator==(const LoginItem&, const LoginItem&) = default;
};

// A removed user entry, kept whole so the removal can be undone.
struct RemovedLoginItem {
    std::filesystem::path url;
    std::string contents;
};

struct AutostartFolders {
    std::filesystem::path user;                // $XDG_CONFIG_HOME/autostart
    std::vector<std::filesystem::path> system; // autostart of each $XDG_CONFIG_DIRS, first wins
    std::vector<std::string> desktops;         // $XDG_CURRENT_DESKTOP

    static AutostartFolders live();
};

// Reads and changes the XDG autostart entries with the user's own rights. Nothing here ever
// removes or writes a file outside the user's folder.
class LoginItemStore {
public:
    explicit LoginItemStore(AutostartFolders folders = AutostartFolders::live());

    // Entries that open in this desktop, and system entries the user switched off; by identifier.
    std::vector<LoginItem> read() const;

    // A user's own entry: deletes the file and gives what it held.
    RemovedLoginItem remove(const LoginItem& item) const;
    // Writes a removed entry back; refuses when a file of that name has appeared since.
    void restore(const RemovedLoginItem& removed) const;
    // A system entry: off writes the user's override with Hidden=true, on takes it back.
    void setSystemItemEnabled(const LoginItem& item, bool enabled) const;

    const AutostartFolders& folders() const { return folders_; }

private:
    void writeUserFile(const std::filesystem::path& path, const std::string& contents, bool replace) const;
    std::filesystem::path userFile(const std::string& identifier) const;

    AutostartFolders folders_;
};

// The entry's text with one key of [Desktop Entry] set (value given) or dropped (nullopt).
// The program an Exec line runs.
std::filesystem::path desktopEntryProgram(const std::string& exec);

std::string withDesktopEntryKey(const std::string& text, const std::string& key, const std::optional<std::string>& value);

} // namespace tarnel::platform
