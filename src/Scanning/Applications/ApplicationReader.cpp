#include "Scanning/Applications/ApplicationReader.h"

#include "Scanning/Applications/DesktopEntry.h"
#include "Scanning/Applications/SquashfsImage.h"
#include "Scanning/SupportFiles/SupportFileMatcher.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <unordered_map>

namespace tarnel {

namespace fs = std::filesystem;

namespace {

void fail(std::string* error, std::string text)
{
    if (error)
        *error = std::move(text);
}

std::string fileName(const std::string& path)
{
    return fs::path(path).filename().string();
}

std::string stripSuffix(std::string text, std::string_view suffix)
{
    if (text.ends_with(suffix))
        text.resize(text.size() - suffix.size());
    return text;
}

bool exists(const std::string& path)
{
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0;
}

ApplicationResource resourceFor(const std::string& path)
{
    struct stat info {};
    ApplicationResource resource;
    resource.url = "file://" + path;
    resource.name = fileName(path);
    if (::lstat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) {
        resource.type = FileNode::NodeType::directory;
        resource.url += "/";
    } else {
        resource.size = ::lstat(path.c_str(), &info) == 0 ? static_cast<std::int64_t>(info.st_size) : 0;
    }
    return resource;
}

void applyEntry(ApplicationItem& item, const DesktopEntry& entry, const std::string& desktopFileId)
{
    item.bundleInfo.name = entry.name;
    item.identity.displayName = entry.name;
    item.identity.desktopFileId = desktopFileId;
    item.identity.execProgram = entry.program();
    item.identity.startupWMClass = entry.startupWMClass;
    item.iconName = entry.icon;
}

void finishInfo(ApplicationItem& item)
{
    item.bundleInfo.vendor = BundleInfo::vendorOf(item.bundleInfo.identifier);
    item.binaries.files = {resourceFor(item.url)};
}

} // namespace

ApplicationReader::ApplicationReader(ApplicationLocations locations)
    : locations_(std::move(locations)), packages_(locations_.systemRoot), icons_(locations_.iconDataDirs)
{
}

void ApplicationReader::resolveIcon(ApplicationItem& item, const std::string& ownIconsFolder) const
{
    if (!ownIconsFolder.empty() && !item.iconName.empty() && item.iconName.front() != '/')
        item.iconPath = icons_.resolveIn(ownIconsFolder, item.iconName);
    if (!item.iconPath)
        item.iconPath = icons_.resolve(item.iconName);
}

std::optional<ApplicationItem> ApplicationReader::readFlatpak(const std::string& appFolder, bool user,
                                                              std::string* error)
{
    auto id = fileName(appFolder);
    auto deploy = appFolder + "/current/active";
    auto metadata = KeyFile::read(deploy + "/metadata", "Application", error);
    if (!metadata)
        return std::nullopt;
    ApplicationItem item;
    item.url = appFolder;
    item.kind = ApplicationKind::flatpak;
    item.userInstalled = user;
    item.bundleInfo.identifier = metadata->value("name").value_or(id);
    item.identity.sandboxId = item.bundleInfo.identifier;
    item.identity.applicationRoot = appFolder;
    auto exported = deploy + "/export/share";
    auto entryId = item.bundleInfo.identifier + ".desktop";
    if (auto entry = DesktopEntry::read(exported + "/applications/" + entryId)) {
        applyEntry(item, *entry, entryId);
    } else {
        // A Flatpak without a launcher entry (a command-line tool) is still installed software.
        item.bundleInfo.name = item.bundleInfo.identifier.substr(item.bundleInfo.identifier.rfind('.') + 1);
        item.identity.displayName = item.bundleInfo.name;
        item.identity.desktopFileId = entryId;
    }
    // The command it runs inside the sandbox, never the launcher on the host.
    if (auto command = metadata->value("command"))
        item.identity.execProgram = *command;
    auto version = metainfoVersionIn(exported + "/metainfo", item.bundleInfo.identifier);
    if (!version)
        version = metainfoVersionIn(deploy + "/files/share/metainfo", item.bundleInfo.identifier);
    if (version)
        item.bundleInfo.version = BundleVersion::fromText(*version);
    resolveIcon(item, exported + "/icons");
    finishInfo(item);
    return item;
}

std::optional<ApplicationItem> ApplicationReader::readSnap(const std::string& snapFolder, std::string* error)
{
    auto current = snapFolder + "/current";
    auto yaml = SnapYaml::read(current + "/meta/snap.yaml", error);
    if (!yaml)
        return std::nullopt;
    auto entries = desktopEntriesIn(current + "/meta/gui");
    std::optional<DesktopEntry> entry;
    std::string entryId;
    for (const auto& [path, id] : entries) {
        if ((entry = DesktopEntry::read(path))) {
            entryId = yaml->name + "_" + id;
            break;
        }
    }
    if (!entry) {
        fail(error, snapFolder + ": no application entry");
        return std::nullopt;
    }
    ApplicationItem item;
    item.url = snapFolder;
    item.kind = ApplicationKind::snap;
    applyEntry(item, *entry, entryId);
    item.bundleInfo.identifier = yaml->name;
    item.identity.sandboxId = yaml->name;
    item.identity.applicationRoot = snapFolder;
    // Snap entries run "/snap/bin/<name>", which names the snap and nothing else.
    item.identity.execProgram = yaml->name;
    if (!yaml->version.empty())
        item.bundleInfo.version = BundleVersion::fromText(yaml->version);
    if (item.iconName.starts_with("${SNAP}"))
        item.iconName = current + item.iconName.substr(7);
    resolveIcon(item);
    finishInfo(item);
    return item;
}

std::optional<ApplicationItem> ApplicationReader::readAppImage(const std::string& path, bool user, std::string* error)
{
    auto name = fileName(path);
    if (!name.ends_with(".AppImage") || name.size() == 9) {
        fail(error, path + ": not an application image");
        return std::nullopt;
    }
    if (!exists(path)) {
        fail(error, path + ": no such file");
        return std::nullopt;
    }
    // "Nimbus-2.1-x86_64": the words before the first that starts with a digit name it, that
    // word versions it.
    auto stem = stripSuffix(name, ".AppImage");
    std::string title;
    std::string version;
    std::size_t start = 0;
    while (start <= stem.size()) {
        auto dash = stem.find_first_of("-_", start);
        auto word = stem.substr(start, dash == std::string::npos ? std::string::npos : dash - start);
        if (!word.empty() && std::isdigit(static_cast<unsigned char>(word.front())) && !title.empty()) {
            version = word;
            break;
        }
        if (!title.empty())
            title += ' ';
        title += word;
        if (dash == std::string::npos)
            break;
        start = dash + 1;
    }
    ApplicationItem item;
    item.url = path;
    item.kind = ApplicationKind::appImage;
    item.userInstalled = user;
    item.bundleInfo.name = title;
    item.bundleInfo.identifier = title;
    if (!version.empty())
        item.bundleInfo.version = BundleVersion::fromText(version);
    item.identity.displayName = title;
    item.identity.execProgram = path;
    item.identity.applicationRoot = path;
    // The entry inside names it better than the file name, which users rename.
    std::string entryName;
    std::string entryError;
    if (auto text = appImageDesktopEntry(path, &entryError, &entryName)) {
        std::string parseError;
        auto file = KeyFile::parse(*text, "Desktop Entry", &parseError);
        if (auto entry = file ? DesktopEntry::from(*file, &parseError) : std::nullopt) {
            applyEntry(item, *entry, entryName);
            item.bundleInfo.identifier = stripSuffix(entryName, ".desktop");
            item.identity.execProgram = path;
            if (!entry->version.empty())
                item.bundleInfo.version = BundleVersion::fromText(entry->version);
            resolveIcon(item);
        }
    }
    finishInfo(item);
    return item;
}

std::optional<ApplicationItem> ApplicationReader::readEntry(const std::string& path, const std::string& desktopFileId,
                                                            bool user, std::string* error)
{
    auto entry = DesktopEntry::read(path, error);
    if (!entry)
        return std::nullopt;
    auto program = entry->program();
    auto launcher = fileName(splitExec(entry->exec).front());
    if (!entry->flatpakId.empty() || !entry->snapName.empty() || launcher == "flatpak" ||
        program.starts_with("/snap/bin/") || launcher == "snap") {
        fail(error, path + ": exported by a sandboxed application");
        return std::nullopt;
    }
    if (program.ends_with(".AppImage")) {
        auto item = readAppImage(program, user, error);
        if (item) {
            applyEntry(*item, *entry, desktopFileId);
            item->identity.execProgram = program;
            resolveIcon(*item);
        }
        return item;
    }
    ApplicationItem item;
    item.userInstalled = user;
    applyEntry(item, *entry, desktopFileId);
    item.bundleInfo.identifier = stripSuffix(desktopFileId, ".desktop");
    auto installedPath = path;
    if (locations_.systemRoot != "/" && installedPath.starts_with(locations_.systemRoot))
        installedPath = installedPath.substr(locations_.systemRoot.size());
    auto opt = locations_.optFolder + "/";
    if (auto package = user ? std::nullopt : packages_.owner(installedPath)) {
        item.kind = ApplicationKind::package;
        item.url = path;
        item.identity.owningPackage = *package;
        if (auto version = packages_.version(*package))
            item.bundleInfo.version = BundleVersion::fromText(*version);
        item.installedSize = packages_.installedSize(*package);
    } else if (program.starts_with(opt) && program.size() > opt.size()) {
        item.kind = ApplicationKind::handInstalled;
        item.url = opt + program.substr(opt.size(), program.find('/', opt.size()) - opt.size());
        item.identity.applicationRoot = item.url;
    } else {
        item.kind = ApplicationKind::handInstalled;
        item.url = path;
    }
    auto metainfo = locations_.systemRoot == "/" ? std::string("/usr/share/metainfo")
                                                 : locations_.systemRoot + "/usr/share/metainfo";
    if (auto version = metainfoVersionIn(metainfo, item.bundleInfo.identifier))
        item.bundleInfo.version = BundleVersion::fromText(*version);
    if (!entry->version.empty())
        item.bundleInfo.version = BundleVersion::fromText(entry->version);
    resolveIcon(item);
    finishInfo(item);
    return item;
}

std::optional<ApplicationItem> ApplicationReader::readOptRoot(const std::string& folder, std::string* error)
{
    std::error_code failure;
    std::vector<std::string> candidates;
    for (fs::recursive_directory_iterator it(folder, fs::directory_options::skip_permission_denied, failure), end;
         !failure && it != end; it.increment(failure)) {
        if (it.depth() >= 3)
            it.disable_recursion_pending();
        if (it->path().extension() == ".desktop")
            candidates.push_back(it->path().string());
    }
    std::sort(candidates.begin(), candidates.end());
    for (const auto& path : candidates) {
        auto id = fileName(path);
        auto item = readEntry(path, id, false);
        if (!item)
            continue;
        item->kind = ApplicationKind::handInstalled;
        item->url = folder;
        item->identity.applicationRoot = folder;
        item->identity.owningPackage.clear();
        finishInfo(*item);
        return item;
    }
    fail(error, folder + ": no application entry inside");
    return std::nullopt;
}

std::optional<ApplicationItem> ApplicationReader::readNested(const std::string& path)
{
    if (path.ends_with(".AppImage"))
        return readAppImage(path, false);
    auto entry = DesktopEntry::read(path);
    if (!entry)
        return std::nullopt;
    ApplicationItem item;
    auto id = fileName(path);
    applyEntry(item, *entry, id);
    item.bundleInfo.identifier = stripSuffix(id, ".desktop");
    item.bundleInfo.vendor = BundleInfo::vendorOf(item.bundleInfo.identifier);
    item.url = path;
    return item;
}

std::vector<std::pair<std::string, std::string>> desktopEntriesIn(const std::string& folder)
{
    std::vector<std::pair<std::string, std::string>> entries;
    std::error_code failure;
    for (fs::recursive_directory_iterator it(folder, fs::directory_options::skip_permission_denied, failure), end;
         !failure && it != end; it.increment(failure)) {
        if (it->path().extension() != ".desktop" || it->is_directory(failure))
            continue;
        auto relative = it->path().lexically_relative(folder).string();
        std::replace(relative.begin(), relative.end(), '/', '-');
        entries.emplace_back(it->path().string(), relative);
    }
    std::sort(entries.begin(), entries.end());
    return entries;
}

void mergeByIdentifier(std::vector<std::shared_ptr<ApplicationItem>>& into,
                       const std::vector<std::shared_ptr<ApplicationItem>>& items)
{
    std::unordered_map<std::string, std::shared_ptr<ApplicationItem>> known;
    for (const auto& item : into)
        known.emplace(item->bundleInfo.identifier, item);
    for (const auto& item : items) {
        auto [found, added] = known.emplace(item->bundleInfo.identifier, item);
        if (added) {
            into.push_back(item);
            continue;
        }
        auto& files = found->second->binaries.files;
        for (const auto& resource : item->binaries.files)
            if (std::find(files.begin(), files.end(), resource) == files.end())
                files.push_back(resource);
    }
}

bool isProtectedApplication(const ApplicationItem& item)
{
    for (const auto& name : {item.identity.desktopFileId, item.bundleInfo.identifier, item.identity.owningPackage})
        if (!name.empty() && !SupportFileMatcher::passesBlockList(asciiLowercase(name)))
            return true;
    return false;
}

} // namespace tarnel
