#include "Platform/Startup/LaunchItems.h"

#include "Platform/Statistics/SystemRoot.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <regex>
#include <sstream>

namespace tarnel::platform {

namespace fs = std::filesystem;

namespace {

const std::vector<std::string> runnableSuffixes{".service", ".socket", ".timer", ".path"};

std::string trim(const std::string& text)
{
    const auto first = text.find_first_not_of(" \t\r\n");
    if (first == std::string::npos)
        return {};
    const auto last = text.find_last_not_of(" \t\r\n");
    return text.substr(first, last - first + 1);
}

std::string suffixOf(const std::string& unit)
{
    const auto dot = unit.rfind('.');
    return dot == std::string::npos ? std::string() : unit.substr(dot);
}

std::string baseOf(const std::string& unit)
{
    const auto dot = unit.rfind('.');
    return dot == std::string::npos ? unit : unit.substr(0, dot);
}

UnitScope scopeOf(JobType type)
{
    switch (type) {
    case JobType::agent:
        return UnitScope::globalUser;
    case JobType::userAgent:
        return UnitScope::user;
    case JobType::daemon:
        break;
    }
    return UnitScope::system;
}

} // namespace

UnitFile UnitFile::parse(const std::string& text)
{
    UnitFile file;
    std::string section;
    std::istringstream in(text);
    std::string line;
    std::string pending;
    while (std::getline(in, line)) {
        // A line ending in a backslash goes on in the next one.
        if (!line.empty() && line.back() == '\\') {
            pending += line.substr(0, line.size() - 1) + " ";
            continue;
        }
        line = trim(pending + line);
        pending.clear();
        if (line.empty() || line[0] == '#' || line[0] == ';')
            continue;
        if (line.front() == '[' && line.back() == ']') {
            section = line.substr(1, line.size() - 2);
            file.sections[section];
            continue;
        }
        const auto equals = line.find('=');
        if (equals == std::string::npos || section.empty())
            continue;
        auto& values = file.sections[section][trim(line.substr(0, equals))];
        const auto value = trim(line.substr(equals + 1));
        // An empty assignment resets a list key.
        if (value.empty())
            values.clear();
        else
            values.push_back(value);
    }
    return file;
}

const std::vector<std::string>* UnitFile::values(const std::string& section, const std::string& key) const
{
    const auto s = sections.find(section);
    if (s == sections.end())
        return nullptr;
    const auto k = s->second.find(key);
    return k == s->second.end() ? nullptr : &k->second;
}

std::optional<std::string> UnitFile::value(const std::string& section, const std::string& key) const
{
    const auto* all = values(section, key);
    if (!all || all->empty())
        return std::nullopt;
    return all->back();
}

UnitFolders UnitFolders::live(const fs::path& root)
{
    fs::path config;
    if (const char* xdg = std::getenv("XDG_CONFIG_HOME"); xdg && *xdg == '/')
        config = xdg;
    else if (const char* home = std::getenv("HOME"); home && *home == '/')
        config = fs::path(home) / ".config";
    auto below = [&](const fs::path& path) { return root / path.relative_path(); };
    return {root, below("/etc/systemd/user"), config.empty() ? fs::path() : below(config / "systemd/user"),
            below("/etc/systemd/system")};
}

LaunchItemReader::LaunchItemReader(UnitFolders folders, const UnitStateSource& states, std::vector<std::string> ownLabels)
    : folders_(std::move(folders)), states_(states), ownLabels_(std::move(ownLabels))
{
}

std::vector<std::string> LaunchItemReader::defaultOwnLabels()
{
    return {"org.quendal.Tarnel.Daemon", "org.quendal.TarnelMonitor"};
}

std::string LaunchItemReader::cleanName(const std::string& name)
{
    const auto trimmed = trim(name);
    std::vector<std::string> parts;
    std::size_t start = 0;
    for (;;) {
        const auto dot = trimmed.find('.', start);
        parts.push_back(trimmed.substr(start, dot == std::string::npos ? std::string::npos : dot - start));
        if (dot == std::string::npos)
            break;
        start = dot + 1;
    }
    static const std::regex part("^[A-Za-z][A-Za-z0-9_-]*$");
    if (parts.size() >= 3 &&
        std::all_of(parts.begin(), parts.end(), [](const std::string& p) { return std::regex_match(p, part); }))
        return parts.back();
    return trimmed;
}

fs::path LaunchItemReader::programOf(const std::string& execStart)
{
    auto line = trim(execStart);
    std::size_t at = 0;
    while (at < line.size() && std::string_view("-@+!:").find(line[at]) != std::string_view::npos)
        ++at;
    line = line.substr(at);
    if (!line.empty() && (line[0] == '"' || line[0] == '\'')) {
        const auto close = line.find(line[0], 1);
        return line.substr(1, close == std::string::npos ? std::string::npos : close - 1);
    }
    return line.substr(0, line.find_first_of(" \t"));
}

fs::path LaunchItemReader::resolved(const fs::path& file) const
{
    // Links are followed inside the root, as systemctl --root reads them.
    fs::path current = file;
    for (int hops = 0; hops < 16; ++hops) {
        std::error_code ec;
        if (!fs::is_symlink(current, ec))
            return current;
        auto target = fs::read_symlink(current, ec);
        if (ec)
            return current;
        if (target == "/dev/null")
            return target;
        current = target.is_absolute() ? folders_.root / target.relative_path() : current.parent_path() / target;
    }
    return current;
}

std::optional<fs::path> LaunchItemReader::programFor(const fs::path& folder, const std::string& unit,
                                                     const UnitFile& file) const
{
    if (const auto exec = file.value("Service", "ExecStart"))
        return programOf(*exec);
    // A timer, path or socket runs the service it names, or the one of its own name.
    std::vector<std::string> candidates;
    const auto section = suffixOf(unit).substr(1);
    if (const auto named = file.value(std::string(1, static_cast<char>(std::toupper(section[0]))) + section.substr(1), "Unit"))
        candidates.push_back(*named);
    const auto base = baseOf(unit);
    candidates.push_back(base + ".service");
    if (suffixOf(unit) == ".socket")
        candidates.push_back(base + "@.service");
    for (const auto& candidate : candidates) {
        if (candidate == unit)
            continue;
        const auto text = SystemRoot::readText(resolved(folder / candidate));
        if (!text)
            continue;
        if (const auto exec = UnitFile::parse(*text).value("Service", "ExecStart"))
            return programOf(*exec);
    }
    return std::nullopt;
}

std::optional<LaunchItem> LaunchItemReader::item(const fs::path& unitFile) const
{
    const auto label = unitFile.filename().string();
    const auto suffix = suffixOf(label);
    if (std::find(runnableSuffixes.begin(), runnableSuffixes.end(), suffix) == runnableSuffixes.end())
        return std::nullopt;
    LaunchItem item;
    const auto folder = unitFile.parent_path();
    if (!folders_.globalUser.empty() && folder == folders_.globalUser)
        item.type = JobType::agent;
    else if (!folders_.user.empty() && folder == folders_.user)
        item.type = JobType::userAgent;
    else if (!folders_.system.empty() && folder == folders_.system)
        item.type = JobType::daemon;
    else
        return std::nullopt;

    std::error_code ec;
    const auto target = resolved(unitFile);
    if (!fs::is_regular_file(target, ec) && target != "/dev/null")
        return std::nullopt;
    const auto text = target == "/dev/null" ? std::optional<std::string>(std::string()) : SystemRoot::readText(target);
    if (!text)
        return std::nullopt;
    const auto file = UnitFile::parse(*text);
    item.label = label;
    item.url = unitFile;
    item.fileDisabled = trim(*text).empty();
    const auto wants = [&](const char* key) {
        const auto* values = file.values("Install", key);
        return values && !values->empty();
    };
    item.startsAutomatically = wants("WantedBy") || wants("RequiredBy") || wants("UpheldBy") || suffix == ".timer" ||
                               suffix == ".path" || suffix == ".socket";
    if (const auto program = programFor(target == "/dev/null" ? folder : target.parent_path(), label, file);
        program && !program->empty()) {
        item.program.path = *program;
        item.program.displayName = cleanName(program->filename().string());
    } else {
        item.program.displayName = cleanName(baseOf(label));
    }
    item.state = states_.state(scopeOf(item.type), label);
    if (item.state.word == "masked" || item.state.word == "masked-runtime")
        item.fileDisabled = true;
    item.isEnabled = item.state.enabled().value_or(!item.fileDisabled);
    return item;
}

std::vector<LaunchItem> LaunchItemReader::readFolder(const fs::path& folder, JobType) const
{
    std::vector<LaunchItem> items;
    if (folder.empty())
        return items;
    std::error_code ec;
    std::vector<fs::path> files;
    for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
        // Drop-in and .wants folders are no units of their own.
        if (it->is_directory(ec))
            continue;
        files.push_back(it->path());
    }
    std::sort(files.begin(), files.end());
    for (const auto& file : files)
        if (auto made = item(file); made && (made->startsAutomatically || made->fileDisabled))
            items.push_back(std::move(*made));
    return items;
}

std::vector<LaunchItem> LaunchItemReader::read() const
{
    std::vector<LaunchItem> all;
    for (auto [folder, type] : {std::pair{folders_.user, JobType::userAgent}, std::pair{folders_.globalUser, JobType::agent},
                                std::pair{folders_.system, JobType::daemon}}) {
        auto items = readFolder(folder, type);
        all.insert(all.end(), std::make_move_iterator(items.begin()), std::make_move_iterator(items.end()));
    }
    std::erase_if(all, [&](const LaunchItem& item) {
        return std::any_of(ownLabels_.begin(), ownLabels_.end(),
                           [&](const std::string& own) { return item.label.find(own) != std::string::npos; });
    });
    return all;
}

} // namespace tarnel::platform
