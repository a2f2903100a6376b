#include "Platform/Statistics/ApplicationPathResolver.h"

#include "Platform/Statistics/TextParsing.h"

#include <fmt/format.h>

namespace tarnel::platform {

namespace {

// "<prefix><name>/..." gives "<prefix><name>"; absent when the path does not go below a named folder.
std::optional<std::string> rootBelow(std::string_view path, std::string_view prefix)
{
    if (!path.starts_with(prefix))
        return std::nullopt;
    auto end = path.find('/', prefix.size());
    if (end == std::string_view::npos || end == prefix.size())
        return std::nullopt;
    return std::string(path.substr(0, end));
}

// A folder name Flatpak would accept as an application id (reverse-domain, no path tricks).
bool isApplicationId(std::string_view id)
{
    if (id.empty() || id.find('.') == std::string_view::npos || id.front() == '.')
        return false;
    for (char c : id) {
        bool ok = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' || c == '_' || c == '-';
        if (!ok)
            return false;
    }
    return true;
}

} // namespace

std::optional<std::string> ApplicationPathResolver::resolve(pid_t pid, const std::string& path) const
{
    // The AppImage runtime mounts the image at a folder named ".mount_<name><random>".
    if (path.find("/.mount_") != std::string::npos)
        return appImage(pid);
    if (auto deployment = rootBelow(path, "/var/lib/flatpak/app/"))
        return deployment;
    if (auto user = path.find("/.local/share/flatpak/app/"); user != std::string::npos)
        return rootBelow(path, std::string_view(path).substr(0, user + std::string_view("/.local/share/flatpak/app/").size()));
    if (path.starts_with("/app/"))
        return flatpakSandbox(pid);
    if (auto snap = rootBelow(path, "/snap/"))
        return snap;
    if (auto folder = rootBelow(path, "/opt/"))
        return folder;
    return std::nullopt;
}

std::optional<std::string> ApplicationPathResolver::appImage(pid_t pid) const
{
    // The runtime tells its child where the image is; another user's environment is not ours to read.
    auto environment = SystemRoot::readText(root_.resolve(fmt::format("/proc/{}/environ", pid)));
    if (!environment)
        return std::nullopt;
    std::string_view rest(*environment);
    while (!rest.empty()) {
        auto end = rest.find('\0');
        auto entry = rest.substr(0, end);
        if (entry.starts_with("APPIMAGE=") && entry.size() > 9 && entry[9] == '/')
            return std::string(entry.substr(9));
        if (end == std::string_view::npos)
            break;
        rest.remove_prefix(end + 1);
    }
    return std::nullopt;
}

std::optional<std::string> ApplicationPathResolver::flatpakSandbox(pid_t pid) const
{
    // Inside the sandbox the deployment is mounted at /app; the sandbox's info file names the
    // application and, on current Flatpak, the deployment's real folder (system or per-user).
    auto info = SystemRoot::readText(root_.resolve(fmt::format("/proc/{}/root/.flatpak-info", pid)));
    if (!info)
        return std::nullopt;
    std::string_view section;
    std::optional<std::string_view> id;
    std::optional<std::string_view> deploymentFiles;
    for (auto line : text::lines(*info)) {
        line = text::trim(line);
        if (line.starts_with('[')) {
            section = line;
        } else if (section == "[Application]" && line.starts_with("name=")) {
            id = text::trim(line.substr(5));
        } else if (section == "[Instance]" && line.starts_with("app-path=")) {
            deploymentFiles = text::trim(line.substr(9));
        }
    }
    if (!id || !isApplicationId(*id))
        return std::nullopt;
    if (deploymentFiles) {
        auto marker = fmt::format("/flatpak/app/{}/", *id);
        if (auto at = deploymentFiles->find(marker); at != std::string_view::npos && deploymentFiles->front() == '/')
            return std::string(deploymentFiles->substr(0, at + marker.size() - 1));
    }
    auto deployment = fmt::format("/var/lib/flatpak/app/{}", *id);
    if (SystemRoot::exists(root_.resolve(deployment)))
        return deployment;
    return std::nullopt;
}

} // namespace tarnel::platform
