#include "Scanning/Applications/ApplicationMetadata.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

namespace tarnel {

namespace fs = std::filesystem;

namespace {

std::optional<std::string> readText(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return std::nullopt;
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string_view trim(std::string_view text)
{
    auto begin = text.find_first_not_of(" \t\r");
    if (begin == std::string_view::npos)
        return {};
    return text.substr(begin, text.find_last_not_of(" \t\r") - begin + 1);
}

std::string unquote(std::string_view text)
{
    text = trim(text);
    if (text.size() >= 2 && (text.front() == '\'' || text.front() == '"') && text.back() == text.front())
        text = text.substr(1, text.size() - 2);
    return std::string(text);
}

bool isFile(const fs::path& path)
{
    std::error_code error;
    return fs::is_regular_file(path, error);
}

} // namespace

std::optional<std::string> metainfoVersion(std::string_view xml)
{
    for (auto at = xml.find("<release"); at != std::string_view::npos; at = xml.find("<release", at + 1)) {
        auto tagEnd = xml.find('>', at);
        auto tag = xml.substr(at, tagEnd == std::string_view::npos ? std::string_view::npos : tagEnd - at);
        // "<releases>" opens the list; a release tag is "<release" followed by a blank.
        if (tag.size() <= 8 || (tag[8] != ' ' && tag[8] != '\t' && tag[8] != '\n'))
            continue;
        auto key = tag.find("version=");
        if (key == std::string_view::npos || key + 9 >= tag.size())
            continue;
        char quote = tag[key + 8];
        auto end = tag.find(quote, key + 9);
        if ((quote != '"' && quote != '\'') || end == std::string_view::npos)
            continue;
        return std::string(tag.substr(key + 9, end - key - 9));
    }
    return std::nullopt;
}

std::optional<std::string> metainfoVersionIn(const std::string& folder, const std::string& id)
{
    for (const char* suffix : {".metainfo.xml", ".appdata.xml"}) {
        if (auto text = readText(folder + "/" + id + suffix))
            return metainfoVersion(*text);
    }
    return std::nullopt;
}

std::optional<SnapYaml> SnapYaml::read(const std::string& path, std::string* error)
{
    auto text = readText(path);
    if (!text) {
        if (error)
            *error = "cannot read " + path;
        return std::nullopt;
    }
    auto yaml = parse(*text);
    if (yaml.name.empty()) {
        if (error)
            *error = path + ": no name";
        return std::nullopt;
    }
    return yaml;
}

SnapYaml SnapYaml::parse(std::string_view text)
{
    SnapYaml yaml;
    while (!text.empty()) {
        auto newline = text.find('\n');
        auto line = text.substr(0, newline);
        text.remove_prefix(newline == std::string_view::npos ? text.size() : newline + 1);
        // Only top-level keys: an app's own "name:" is indented.
        if (line.empty() || line.front() == ' ' || line.front() == '\t' || line.front() == '#')
            continue;
        auto colon = line.find(':');
        if (colon == std::string_view::npos)
            continue;
        auto key = trim(line.substr(0, colon));
        auto value = unquote(line.substr(colon + 1));
        if (key == "name")
            yaml.name = value;
        else if (key == "version")
            yaml.version = value;
        else if (key == "title")
            yaml.title = value;
    }
    return yaml;
}

PackageDatabase::PackageDatabase(std::string systemRoot) : systemRoot_(std::move(systemRoot))
{
    if (systemRoot_.ends_with('/'))
        systemRoot_.pop_back();
}

void PackageDatabase::load()
{
    loaded_ = true;
    auto admin = systemRoot_ + "/var/lib/dpkg";
    if (auto status = readText(admin + "/status")) {
        std::string_view text = *status;
        std::string package;
        std::string version;
        std::optional<std::int64_t> size;
        bool installed = false;
        auto flush = [&] {
            if (!package.empty() && installed) {
                versions_[package] = version;
                if (size)
                    sizes_[package] = *size;
            }
            package.clear();
            version.clear();
            size.reset();
            installed = false;
        };
        while (!text.empty()) {
            auto newline = text.find('\n');
            auto line = text.substr(0, newline);
            text.remove_prefix(newline == std::string_view::npos ? text.size() : newline + 1);
            if (trim(line).empty())
                flush();
            else if (line.starts_with("Package:"))
                package = trim(line.substr(8));
            else if (line.starts_with("Version:"))
                version = trim(line.substr(8));
            else if (line.starts_with("Status:"))
                installed = line.ends_with(" installed");
            else if (line.starts_with("Installed-Size:")) {
                auto number = trim(line.substr(15));
                std::int64_t kib = 0;
                auto [end, failure] = std::from_chars(number.data(), number.data() + number.size(), kib);
                if (failure == std::errc() && end == number.data() + number.size() && kib >= 0)
                    size = kib * 1024;
            }
        }
        flush();
    }
    std::error_code error;
    for (fs::directory_iterator it(admin + "/info", error), end; !error && it != end; it.increment(error)) {
        auto name = it->path().filename().string();
        if (!name.ends_with(".list"))
            continue;
        auto package = name.substr(0, name.size() - 5);
        package = package.substr(0, package.find(':')); // "libfoo:amd64"
        std::ifstream in(it->path());
        for (std::string line; std::getline(in, line);)
            if (line.find("/applications/") != std::string::npos && line.ends_with(".desktop"))
                owners_.emplace(line, package);
    }
}

std::optional<std::string> PackageDatabase::owner(const std::string& path)
{
    if (!loaded_)
        load();
    auto found = owners_.find(path);
    if (found == owners_.end())
        return std::nullopt;
    return found->second;
}

std::optional<std::string> PackageDatabase::version(const std::string& package)
{
    if (!loaded_)
        load();
    auto found = versions_.find(package);
    if (found == versions_.end())
        return std::nullopt;
    return found->second;
}

std::optional<std::int64_t> PackageDatabase::installedSize(const std::string& package)
{
    if (!loaded_)
        load();
    auto found = sizes_.find(package);
    if (found == sizes_.end())
        return std::nullopt;
    return found->second;
}

IconResolver::IconResolver(std::vector<std::string> dataDirs, int preferredPixels) : dataDirs_(std::move(dataDirs))
{
    // The exact size, then the scalable icon, then the nearest sizes, larger ones first on a tie.
    std::vector<int> sizes{16, 22, 24, 32, 48, 64, 96, 128, 192, 256, 512};
    std::stable_sort(sizes.begin(), sizes.end(), [preferredPixels](int a, int b) {
        auto da = std::abs(a - preferredPixels);
        auto db = std::abs(b - preferredPixels);
        return da != db ? da < db : a > b;
    });
    for (int size : sizes) {
        sizeOrder_.push_back(std::to_string(size) + "x" + std::to_string(size));
        if (size == sizes.front())
            sizeOrder_.push_back("scalable");
    }
}

std::optional<std::string> IconResolver::resolveIn(const std::string& iconsFolder, const std::string& name) const
{
    static constexpr std::array extensions{".png", ".svg", ".xpm"};
    for (const auto& size : sizeOrder_)
        for (const char* extension : extensions) {
            auto path = iconsFolder + "/hicolor/" + size + "/apps/" + name + extension;
            if (isFile(path))
                return path;
        }
    return std::nullopt;
}

std::optional<std::string> IconResolver::resolve(const std::string& name) const
{
    if (name.empty())
        return std::nullopt;
    if (name.front() == '/')
        return isFile(name) ? std::optional(name) : std::nullopt;
    for (const auto& base : dataDirs_)
        if (auto path = resolveIn(base + "/icons", name))
            return path;
    for (const auto& base : dataDirs_)
        for (const char* extension : {".png", ".svg", ".xpm"}) {
            auto path = base + "/pixmaps/" + name + extension;
            if (isFile(path))
                return path;
        }
    return std::nullopt;
}

} // namespace tarnel
