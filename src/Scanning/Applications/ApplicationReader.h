#pragma once

#include "Scanning/Applications/ApplicationItem.h"
#include "Scanning/Applications/ApplicationLocations.h"
#include "Scanning/Applications/ApplicationMetadata.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tarnel {

// Reads one application from where it is installed. Each read fails (nullopt, `error` saying
// why) when the place holds no application: no metadata, a hidden entry, an entry without Exec,
// an entry exported by a sandbox whose root is read instead. Not thread-safe: one per scan step.
class ApplicationReader {
public:
    explicit ApplicationReader(ApplicationLocations locations);

    // ".../flatpak/app/<id>", its active deployment below.
    std::optional<ApplicationItem> readFlatpak(const std::string& appFolder, bool user, std::string* error = nullptr);
    // "/snap/<name>"; a snap without a desktop entry (a runtime, snapd) is no application.
    std::optional<ApplicationItem> readSnap(const std::string& snapFolder, std::string* error = nullptr);
    // Named by the desktop entry inside it, else by its file name ("Nimbus-2.1-x86_64.AppImage");
    // never run or mounted.
    std::optional<ApplicationItem> readAppImage(const std::string& path, bool user, std::string* error = nullptr);
    // A desktop entry of a packaged or hand-installed application, its id `desktopFileId`.
    std::optional<ApplicationItem> readEntry(const std::string& path, const std::string& desktopFileId, bool user,
                                             std::string* error = nullptr);
    // "/opt/<name>": the first application entry inside names it.
    std::optional<ApplicationItem> readOptRoot(const std::string& folder, std::string* error = nullptr);

    // An application inside another one's root: a desktop entry or an image.
    std::optional<ApplicationItem> readNested(const std::string& path);

    const ApplicationLocations& locations() const { return locations_; }

private:
    void resolveIcon(ApplicationItem& item, const std::string& ownIconsFolder = {}) const;

    ApplicationLocations locations_;
    PackageDatabase packages_;
    IconResolver icons_;
};

// The desktop entries of a folder and its subfolders with their ids ("kde-foo.desktop" for
// "kde/foo.desktop"), sorted by path. An unreadable folder gives none.
std::vector<std::pair<std::string, std::string>> desktopEntriesIn(const std::string& folder);

// Joins items with the same identifier into the first: the later one's binaries are appended.
// Applied to `into` with each of `items` in order.
void mergeByIdentifier(std::vector<std::shared_ptr<ApplicationItem>>& into,
                       const std::vector<std::shared_ptr<ApplicationItem>>& items);

// Desktop components and the desktop's own programs are never offered for removal.
bool isProtectedApplication(const ApplicationItem& item);

} // namespace tarnel
