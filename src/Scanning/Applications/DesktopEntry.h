#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel {

// The keys of one group of a freedesktop key file: desktop entries, a Flatpak's `metadata`.
// Localised keys ("Name[de]") are kept under their full key and not used.
class KeyFile {
public:
    // Fails (nullopt, with `error` set) for a file that can't be read or has no such group.
    static std::optional<KeyFile> read(const std::string& path, std::string_view group, std::string* error = nullptr);
    static std::optional<KeyFile> parse(std::string_view text, std::string_view group, std::string* error = nullptr);

    std::optional<std::string> value(std::string_view key) const;
    bool isTrue(std::string_view key) const;

private:
    std::map<std::string, std::string, std::less<>> values_;
};

// A desktop entry of type Application that a launcher would show.
struct DesktopEntry {
    std::string name;
    std::string exec;
    std::string icon;
    std::string startupWMClass;
    std::string version;     // X-AppImage-Version, or empty
    std::string flatpakId;   // X-Flatpak, or empty
    std::string snapName;    // X-SnapInstanceName, or empty

    // Hidden, NoDisplay, without Exec or not an application: no entry, with `error` saying why.
    static std::optional<DesktopEntry> from(const KeyFile& file, std::string* error = nullptr);
    static std::optional<DesktopEntry> read(const std::string& path, std::string* error = nullptr);

    // The program of the Exec line with quoting and field codes removed: for `flatpak run`, the
    // `--command=` program or else the application id, never the launcher itself.
    std::string program() const;
};

// Exec's words after unquoting, field codes ("%f") dropped.
std::vector<std::string> splitExec(std::string_view exec);

} // namespace tarnel
