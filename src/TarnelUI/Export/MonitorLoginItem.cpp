#include "TarnelUI/Export/MonitorLoginItem.h"

#include "TarnelUI/Export/MonitorConfigurationStore.h"

#include <cstdlib>
#include <system_error>

namespace tarnel::ui {

namespace {

// Exec keys quote a path that holds a space or a character the desktop entry format reserves.
std::string quotedExec(const std::string& path)
{
    std::string quoted = "\"";
    for (char c : path) {
        if (c == '"' || c == '`' || c == '$' || c == '\\')
            quoted += "\\\\";
        quoted += c;
    }
    return quoted + "\"";
}

} // namespace

MonitorLoginItem::MonitorLoginItem(std::filesystem::path autostartDirectory, std::filesystem::path executable)
    : directory_(std::move(autostartDirectory)), executable_(std::move(executable))
{
}

std::filesystem::path MonitorLoginItem::defaultDirectory()
{
    if (const char* config = std::getenv("XDG_CONFIG_HOME"); config && *config == '/')
        return std::filesystem::path(config) / "autostart";
    const char* home = std::getenv("HOME");
    return std::filesystem::path(home ? home : "/") / ".config" / "autostart";
}

void MonitorLoginItem::setEnabled(bool enabled) const
{
    if (!enabled) {
        std::error_code error;
        std::filesystem::remove(file(), error);
        // No folder means no entry: nothing to remove.
        if (error && error != std::errc::not_a_directory)
            throw std::system_error(error, "Unable to remove " + file().string());
        return;
    }
    MonitorConfigurationStore::replaceFile(file(), "[Desktop Entry]\n"
                                                   "Type=Application\n"
                                                   "Name=Tarnel Monitor\n"
                                                   "Comment=Tarnel's panels in the desktop panel\n"
                                                   "Exec=" + quotedExec(executable_.string()) + "\n"
                                                   "Icon=org.quendal.Tarnel\n"
                                                   "Terminal=false\n"
                                                   "NoDisplay=true\n"
                                                   "X-GNOME-Autostart-enabled=true\n");
}

bool MonitorLoginItem::isEnabled() const
{
    std::error_code error;
    return std::filesystem::is_regular_file(file(), error);
}

} // namespace tarnel::ui
