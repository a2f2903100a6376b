#include "Platform/Startup/LoginItems.h"

#include "Platform/Statistics/SystemRoot.h"
#include "Platform/Startup/LaunchItems.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <set>
#include <sstream>
#include <unistd.h>

namespace tarnel::platform {

namespace fs = std::filesystem;

namespace {

constexpr const char* group = "[Desktop Entry]";

std::string trim(const std::string& text)
{
    const auto first = text.find_first_not_of(" \t\r\n");
    if (first == std::string::npos)
        return {};
    const auto last = text.find_last_not_of(" \t\r\n");
    return text.substr(first, last - first + 1);
}

std::vector<std::string> split(const std::string& text, char separator)
{
    std::vector<std::string> parts;
    std::string part;
    std::istringstream in(text);
    while (std::getline(in, part, separator))
        if (!trim(part).empty())
            parts.push_back(trim(part));
    return parts;
}

std::vector<fs::path> entriesIn(const fs::path& folder)
{
    std::vector<fs::path> entries;
    std::error_code ec;
    for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec))
        if (it->path().extension() == ".desktop" && !it->is_directory(ec))
            entries.push_back(it->path());
    return entries;
}

LoginItem itemFrom(const AutostartEntry& entry, const std::string& identifier)
{
    LoginItem item;
    item.identifier = identifier;
    item.name = entry.value("Name").value_or(fs::path(identifier).stem().string());
    if (const auto exec = entry.value("Exec"))
        item.program = desktopEntryProgram(*exec);
    item.icon = entry.value("Icon").value_or("");
    return item;
}

} // namespace

fs::path desktopEntryProgram(const std::string& exec)
{
    return LaunchItemReader::programOf(exec);
}

AutostartEntry AutostartEntry::parse(const std::string& text)
{
    AutostartEntry entry;
    bool inGroup = false;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line)) {
        line = trim(line);
        if (line.empty() || line[0] == '#')
            continue;
        if (line[0] == '[') {
            inGroup = line == group;
            continue;
        }
        const auto equals = line.find('=');
        if (!inGroup || equals == std::string::npos)
            continue;
        // The first occurrence of a key counts.
        entry.keys.try_emplace(trim(line.substr(0, equals)), trim(line.substr(equals + 1)));
    }
    return entry;
}

std::optional<std::string> AutostartEntry::value(const std::string& key) const
{
    const auto found = keys.find(key);
    if (found == keys.end())
        return std::nullopt;
    return found->second;
}

bool AutostartEntry::opens() const
{
    return value("Hidden").value_or("false") != "true" && value("X-GNOME-Autostart-enabled").value_or("true") != "false";
}

bool AutostartEntry::shownIn(const std::vector<std::string>& desktops) const
{
    auto named = [&](const std::string& key) {
        const auto list = split(value(key).value_or(""), ';');
        return std::any_of(list.begin(), list.end(), [&](const std::string& d) {
            return std::find(desktops.begin(), desktops.end(), d) != desktops.end();
        });
    };
    if (value("OnlyShowIn") && !named("OnlyShowIn"))
        return false;
    return !named("NotShowIn");
}

AutostartFolders AutostartFolders::live()
{
    AutostartFolders folders;
    if (const char* xdg = std::getenv("XDG_CONFIG_HOME"); xdg && *xdg == '/')
        folders.user = fs::path(xdg) / "autostart";
    else if (const char* home = std::getenv("HOME"); home && *home == '/')
        folders.user = fs::path(home) / ".config/autostart";
    const char* dirs = std::getenv("XDG_CONFIG_DIRS");
    for (const auto& dir : split(dirs && *dirs ? dirs : "/etc/xdg", ':'))
        if (dir.front() == '/')
            folders.system.push_back(fs::path(dir) / "autostart");
    if (const char* desktop = std::getenv("XDG_CURRENT_DESKTOP"))
        folders.desktops = split(desktop, ':');
    return folders;
}

LoginItemStore::LoginItemStore(AutostartFolders folders) : folders_(std::move(folders)) {}

fs::path LoginItemStore::userFile(const std::string& identifier) const
{
    if (folders_.user.empty())
        throw LoginItemError("There is no home folder to keep login items in");
    if (identifier.empty() || identifier.find('/') != std::string::npos || identifier == "." || identifier == "..")
        throw LoginItemError("\"" + identifier + "\" is not the name of an autostart entry");
    return folders_.user / identifier;
}

std::vector<LoginItem> LoginItemStore::read() const
{
    // The first system folder that has an entry of a name wins over later ones.
    std::map<std::string, fs::path> systemEntries;
    for (const auto& folder : folders_.system)
        for (const auto& path : entriesIn(folder))
            systemEntries.try_emplace(path.filename().string(), path);
    std::map<std::string, fs::path> userEntries;
    for (const auto& path : entriesIn(folders_.user))
        userEntries.emplace(path.filename().string(), path);

    std::set<std::string> identifiers;
    for (const auto& [id, path] : systemEntries)
        identifiers.insert(id);
    for (const auto& [id, path] : userEntries)
        identifiers.insert(id);

    std::vector<LoginItem> items;
    for (const auto& id : identifiers) {
        const auto system = systemEntries.find(id);
        const auto user = userEntries.find(id);
        std::optional<AutostartEntry> systemEntry;
        if (system != systemEntries.end())
            if (auto text = SystemRoot::readText(system->second))
                systemEntry = AutostartEntry::parse(*text);
        std::optional<AutostartEntry> userEntry;
        if (user != userEntries.end())
            if (auto text = SystemRoot::readText(user->second))
                userEntry = AutostartEntry::parse(*text);
        if (systemEntry) {
            // A system entry that the system itself hides or keeps from this desktop never opens.
            if (!systemEntry->opens() || !systemEntry->shownIn(folders_.desktops))
                continue;
            auto item = itemFrom(*systemEntry, id);
            item.source = LoginItemSource::system;
            item.systemUrl = system->second;
            item.url = userEntry ? user->second : system->second;
            item.isEnabled = userEntry ? userEntry->opens() && userEntry->shownIn(folders_.desktops) : true;
            items.push_back(std::move(item));
        } else if (userEntry && userEntry->opens() && userEntry->shownIn(folders_.desktops)) {
            auto item = itemFrom(*userEntry, id);
            item.source = LoginItemSource::user;
            item.url = user->second;
            items.push_back(std::move(item));
        }
    }
    return items;
}

RemovedLoginItem LoginItemStore::remove(const LoginItem& item) const
{
    if (item.source != LoginItemSource::user)
        throw LoginItemError(item.name + " belongs to the system and is switched off, not removed");
    const auto path = userFile(item.identifier);
    if (item.url != path)
        throw LoginItemError(item.name + " is not in the user's autostart folder");
    const auto contents = SystemRoot::readText(path);
    if (!contents)
        throw LoginItemError(item.name + " is no longer there");
    if (::unlink(path.c_str()) != 0)
        throw LoginItemError("Unable to remove " + item.name + ": " + std::strerror(errno));
    return {path, *contents};
}

void LoginItemStore::restore(const RemovedLoginItem& removed) const
{
    const auto path = userFile(removed.url.filename().string());
    if (path != removed.url)
        throw LoginItemError(removed.url.string() + " is not in the user's autostart folder");
    writeUserFile(path, removed.contents, false);
}

void LoginItemStore::setSystemItemEnabled(const LoginItem& item, bool enabled) const
{
    if (item.source != LoginItemSource::system)
        throw LoginItemError(item.name + " is the user's own entry");
    const auto systemText = SystemRoot::readText(item.systemUrl);
    if (!systemText)
        throw LoginItemError("The system's entry of " + item.name + " is no longer there");
    const auto path = userFile(item.identifier);
    const auto userText = SystemRoot::readText(path);
    if (!enabled) {
        writeUserFile(path, withDesktopEntryKey(userText.value_or(*systemText), "Hidden", "true"), true);
        return;
    }
    if (!userText)
        return;
    // An override that only hides the system's entry goes; one the user changed keeps their changes.
    if (*userText == withDesktopEntryKey(*systemText, "Hidden", "true")) {
        if (::unlink(path.c_str()) != 0 && errno != ENOENT)
            throw LoginItemError("Unable to update " + item.name + ": " + std::strerror(errno));
        return;
    }
    auto text = withDesktopEntryKey(*userText, "Hidden", std::nullopt);
    text = withDesktopEntryKey(text, "X-GNOME-Autostart-enabled", std::nullopt);
    writeUserFile(path, text, true);
}

void LoginItemStore::writeUserFile(const fs::path& path, const std::string& contents, bool replace) const
{
    std::error_code ec;
    fs::create_directories(path.parent_path(), ec);
    if (ec)
        throw LoginItemError("Unable to create " + path.parent_path().string() + ": " + ec.message());
    auto temporary = path;
    temporary += ".tarnel-new";
    {
        std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
        out << contents;
        out.flush();
        if (!out) {
            fs::remove(temporary, ec);
            throw LoginItemError("Unable to write " + path.string());
        }
    }
    // Without replace, link() fails rather than overwrite an entry that appeared meanwhile.
    const int linked = replace ? std::rename(temporary.c_str(), path.c_str()) : ::link(temporary.c_str(), path.c_str());
    const int error = errno;
    if (!replace || linked != 0)
        fs::remove(temporary, ec);
    if (linked != 0)
        throw LoginItemError(error == EEXIST ? path.filename().string() + " exists again; it was left as it is"
                                             : "Unable to write " + path.string() + ": " + std::strerror(error));
}

std::string withDesktopEntryKey(const std::string& text, const std::string& key, const std::optional<std::string>& value)
{
    std::istringstream in(text);
    std::string line;
    std::string out;
    bool inGroup = false;
    bool sawGroup = false;
    bool written = false;
    auto addKey = [&] {
        if (value && !written)
            out += key + "=" + *value + "\n";
        written = true;
    };
    while (std::getline(in, line)) {
        const auto trimmed = trim(line);
        if (!trimmed.empty() && trimmed[0] == '[') {
            if (inGroup)
                addKey();
            inGroup = trimmed == group;
            sawGroup = sawGroup || inGroup;
            out += line + "\n";
            continue;
        }
        const auto equals = trimmed.find('=');
        if (inGroup && equals != std::string::npos && trim(trimmed.substr(0, equals)) == key)
            continue;
        out += line + "\n";
    }
    if (inGroup)
        addKey();
    if (!sawGroup) {
        out = std::string(group) + "\n" + out;
        if (value)
            out.insert(std::string(group).size() + 1, key + "=" + *value + "\n");
    }
    return out;
}

} // namespace tarnel::platform
