#include "Scanning/Applications/DesktopEntry.h"

#include <fstream>
#include <sstream>

namespace tarnel {

namespace {

std::string_view trim(std::string_view text)
{
    auto begin = text.find_first_not_of(" \t\r");
    if (begin == std::string_view::npos)
        return {};
    auto end = text.find_last_not_of(" \t\r");
    return text.substr(begin, end - begin + 1);
}

std::string lastComponent(std::string_view path)
{
    auto slash = path.rfind('/');
    return std::string(slash == std::string_view::npos ? path : path.substr(slash + 1));
}

void fail(std::string* error, std::string text)
{
    if (error)
        *error = std::move(text);
}

} // namespace

std::optional<KeyFile> KeyFile::read(const std::string& path, std::string_view group, std::string* error)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        fail(error, "cannot read " + path);
        return std::nullopt;
    }
    std::ostringstream text;
    text << in.rdbuf();
    auto file = parse(text.str(), group, error);
    if (!file && error)
        *error = path + ": " + *error;
    return file;
}

std::optional<KeyFile> KeyFile::parse(std::string_view text, std::string_view group, std::string* error)
{
    KeyFile file;
    bool inGroup = false;
    bool found = false;
    while (!text.empty()) {
        auto newline = text.find('\n');
        auto line = trim(text.substr(0, newline));
        text.remove_prefix(newline == std::string_view::npos ? text.size() : newline + 1);
        if (line.empty() || line.front() == '#')
            continue;
        if (line.front() == '[') {
            if (line.back() != ']') {
                fail(error, "malformed group header \"" + std::string(line) + "\"");
                return std::nullopt;
            }
            auto name = line.substr(1, line.size() - 2);
            // A repeated group is malformed; the first one counts.
            inGroup = name == group && !found;
            found = found || inGroup;
            continue;
        }
        if (!inGroup)
            continue;
        auto equals = line.find('=');
        if (equals == std::string_view::npos || equals == 0)
            continue; // not a key line; a launcher ignores it too
        file.values_.emplace(std::string(trim(line.substr(0, equals))), std::string(trim(line.substr(equals + 1))));
    }
    if (!found) {
        fail(error, "no [" + std::string(group) + "] group");
        return std::nullopt;
    }
    return file;
}

std::optional<std::string> KeyFile::value(std::string_view key) const
{
    auto found = values_.find(key);
    if (found == values_.end())
        return std::nullopt;
    return found->second;
}

bool KeyFile::isTrue(std::string_view key) const
{
    auto text = value(key);
    return text && (*text == "true" || *text == "1");
}

std::optional<DesktopEntry> DesktopEntry::from(const KeyFile& file, std::string* error)
{
    auto type = file.value("Type");
    if (!type || *type != "Application") {
        fail(error, "not an application entry");
        return std::nullopt;
    }
    if (file.isTrue("Hidden") || file.isTrue("NoDisplay")) {
        fail(error, "hidden entry");
        return std::nullopt;
    }
    DesktopEntry entry;
    entry.exec = file.value("Exec").value_or("");
    entry.name = file.value("Name").value_or("");
    if (entry.exec.empty() || splitExec(entry.exec).empty()) {
        fail(error, "entry without Exec");
        return std::nullopt;
    }
    if (entry.name.empty()) {
        fail(error, "entry without Name");
        return std::nullopt;
    }
    entry.icon = file.value("Icon").value_or("");
    entry.startupWMClass = file.value("StartupWMClass").value_or("");
    entry.version = file.value("X-AppImage-Version").value_or("");
    entry.flatpakId = file.value("X-Flatpak").value_or("");
    entry.snapName = file.value("X-SnapInstanceName").value_or("");
    return entry;
}

std::optional<DesktopEntry> DesktopEntry::read(const std::string& path, std::string* error)
{
    auto file = KeyFile::read(path, "Desktop Entry", error);
    if (!file)
        return std::nullopt;
    auto entry = from(*file, error);
    if (!entry && error)
        *error = path + ": " + *error;
    return entry;
}

std::string DesktopEntry::program() const
{
    auto words = splitExec(exec);
    // "env VAR=x program": the program is the first word that is no assignment.
    std::size_t first = 0;
    if (!words.empty() && lastComponent(words[0]) == "env") {
        first = 1;
        while (first < words.size() && words[first].find('=') != std::string::npos)
            ++first;
    }
    if (first >= words.size())
        return {};
    if (lastComponent(words[first]) != "flatpak")
        return words[first];
    std::string id;
    for (auto i = first + 1; i < words.size(); ++i) {
        const auto& word = words[i];
        if (word.starts_with("--command="))
            return word.substr(std::string_view("--command=").size());
        if (word != "run" && !word.starts_with("-") && id.empty())
            id = word;
    }
    return id.empty() ? flatpakId : id;
}

std::vector<std::string> splitExec(std::string_view exec)
{
    std::vector<std::string> words;
    std::string word;
    bool quoted = false;
    bool inWord = false;
    for (std::size_t i = 0; i < exec.size(); ++i) {
        char c = exec[i];
        if (quoted) {
            if (c == '\\' && i + 1 < exec.size()) {
                word += exec[++i];
            } else if (c == '"') {
                quoted = false;
            } else {
                word += c;
            }
            continue;
        }
        if (c == '"') {
            quoted = inWord = true;
        } else if (c == ' ' || c == '\t') {
            if (inWord)
                words.push_back(std::move(word));
            word.clear();
            inWord = false;
        } else if (c == '%' && i + 1 < exec.size()) {
            if (exec[i + 1] == '%') {
                word += '%';
                inWord = true;
            }
            ++i; // field codes stand for arguments the launcher adds
        } else {
            word += c;
            inWord = true;
        }
    }
    if (inWord && !word.empty())
        words.push_back(std::move(word));
    return words;
}

} // namespace tarnel
