#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel {

// The newest release's version in an AppStream metainfo document: releases are listed newest
// first, so the first <release version="..."> counts.
std::optional<std::string> metainfoVersion(std::string_view xml);
// `<id>.metainfo.xml` or the older `<id>.appdata.xml` in `folder`.
std::optional<std::string> metainfoVersionIn(const std::string& folder, const std::string& id);

// The top-level keys of a snap's meta/snap.yaml that name and version it.
struct SnapYaml {
    std::string name;
    std::string version;
    std::string title;

    static std::optional<SnapYaml> read(const std::string& path, std::string* error = nullptr);
    static SnapYaml parse(std::string_view text);
};

// The dpkg database below a root: which installed package owns a desktop entry, and its
// version. Read once, on first use; a machine without dpkg has an empty database.
class PackageDatabase {
public:
    explicit PackageDatabase(std::string systemRoot = "/");

    // `path` as installed ("/usr/share/applications/x.desktop"), without the fixture root.
    std::optional<std::string> owner(const std::string& path);
    std::optional<std::string> version(const std::string& package);
    // Installed-Size, in bytes (dpkg counts KiB).
    std::optional<std::int64_t> installedSize(const std::string& package);

private:
    void load();

    std::string systemRoot_;
    bool loaded_ = false;
    std::map<std::string, std::string, std::less<>> owners_;
    std::map<std::string, std::string, std::less<>> versions_;
    std::map<std::string, std::int64_t, std::less<>> sizes_;
};

// Finds an icon's file by the icon theme rules, in the hicolor fallback theme and then the
// pixmaps folder, preferring sizes near `preferredPixels`. An absolute name is its own file.
class IconResolver {
public:
    // Base folders in order of preference, each holding "icons" ("/usr/share").
    explicit IconResolver(std::vector<std::string> dataDirs, int preferredPixels = 128);

    std::optional<std::string> resolve(const std::string& name) const;
    std::optional<std::string> resolveIn(const std::string& iconsFolder, const std::string& name) const;

private:
    std::vector<std::string> dataDirs_;
    std::vector<std::string> sizeOrder_;
};

} // namespace tarnel
