#include "Privileged/DeletionPolicy.h"

#include <array>
#include <string_view>

namespace tarnel::daemon {

namespace {

// Whole trees that belong to the system and are never cleaned through Tarnel.
constexpr std::array protectedRoots{
    "/proc", "/sys",   "/dev",   "/run",  "/boot", "/usr",     "/etc",  "/bin",
    "/sbin", "/lib",   "/lib32", "/lib64", "/libx32", "/snap/bin", "/var/lib/dpkg", "/var/lib/apt",
};

bool isWithin(const std::filesystem::path& path, const std::filesystem::path& root)
{
    auto p = path.begin();
    for (auto r = root.begin(); r != root.end(); ++r, ++p) {
        if (p == path.end() || *p != *r)
            return false;
    }
    return true;
}

} // namespace

DeletionPolicy::DeletionPolicy(std::filesystem::path home) : home_(std::move(home)) {}

std::vector<std::string> DeletionPolicy::crossableMounts() const
{
    std::vector<std::string> folders{"/home", "/tmp", "/var", "/var/tmp", "/var/log", "/var/cache"};
    if (home_.is_absolute()) {
        for (auto folder = home_.lexically_normal(); folder.has_relative_path(); folder = folder.parent_path()) {
            auto text = folder.string();
            while (text.size() > 1 && text.back() == '/')
                text.pop_back();
            folders.push_back(text);
            if (folder == folder.parent_path())
                break;
        }
    }
    return folders;
}

bool DeletionPolicy::isAdministrativeLocation(const std::filesystem::path& path)
{
    return (isWithin(path, "/var/log") || isWithin(path, "/var/cache")) && path != "/var/log" && path != "/var/cache";
}

std::optional<std::string> DeletionPolicy::refusal(const std::string& text) const
{
    if (text.empty())
        return "an empty path";
    if (text.find('\0') != std::string::npos)
        return "a path with a NUL byte";
    if (text.front() != '/')
        return "a relative path";
    std::filesystem::path path(text);
    for (const auto& part : path) {
        if (part == "..")
            return "a path with a \"..\" component";
        if (part == ".")
            return "a path with a \".\" component";
    }
    if (text.find("//") != std::string::npos)
        return "a path with an empty component";
    if (path.has_filename() == false && text != "/")
        path = path.parent_path(); // a trailing slash names the same entry
    if (path == "/" || path.relative_path().empty())
        return "the root folder";
    if (!home_.empty() && path == home_)
        return "the home folder itself";
    for (const auto* root : protectedRoots)
        if (isWithin(path, root))
            return std::string("a system location under ") + root;
    if (path == "/var" || path == "/home" || path == "/root" || path == "/tmp" || path == "/opt" || path == "/srv" ||
        path == "/mnt" || path == "/media" || path == "/var/log" || path == "/var/cache")
        return "a top-level system folder";
    return std::nullopt;
}

} // namespace tarnel::daemon
