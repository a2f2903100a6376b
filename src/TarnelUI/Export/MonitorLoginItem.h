#pragma once

#include <filesystem>

namespace tarnel::ui {

// The XDG autostart entry that starts the Monitor app at login.
class MonitorLoginItem {
public:
    static constexpr const char* fileName = "org.quendal.TarnelMonitor.desktop";

    // `autostartDirectory` is $XDG_CONFIG_HOME/autostart in the application.
    MonitorLoginItem(std::filesystem::path autostartDirectory, std::filesystem::path executable);
    // $XDG_CONFIG_HOME/autostart, or ~/.config/autostart.
    static std::filesystem::path defaultDirectory();

    // Writes the entry (replacing it whole) or removes it; throws std::system_error on failure.
    void setEnabled(bool enabled) const;
    bool isEnabled() const;
    std::filesystem::path file() const { return directory_ / fileName; }

private:
    std::filesystem::path directory_;
    std::filesystem::path executable_;
};

} // namespace tarnel::ui
