#include "App/Dashboard/StorageOverview.h"

#include <algorithm>
#include <map>
#include <set>
#include <string>

namespace tarnel {

namespace {

struct Draft {
    std::int64_t sortIndex = 0;
    std::string sortTitle;
    std::string title;
    std::string icon;
    std::vector<StatsStorageVolumeSnapshot> snapshots;
};

// Natural order for names with numbers in them, like the platform's standard comparison.
bool standardLess(const std::string& a, const std::string& b)
{
    std::size_t i = 0, j = 0;
    while (i < a.size() && j < b.size()) {
        if (std::isdigit(static_cast<unsigned char>(a[i])) && std::isdigit(static_cast<unsigned char>(b[j]))) {
            std::size_t ie = i, je = j;
            while (ie < a.size() && std::isdigit(static_cast<unsigned char>(a[ie])))
                ++ie;
            while (je < b.size() && std::isdigit(static_cast<unsigned char>(b[je])))
                ++je;
            const auto na = std::stoull(a.substr(i, std::min<std::size_t>(ie - i, 18)));
            const auto nb = std::stoull(b.substr(j, std::min<std::size_t>(je - j, 18)));
            if (na != nb)
                return na < nb;
            i = ie;
            j = je;
            continue;
        }
        const auto ca = std::tolower(static_cast<unsigned char>(a[i]));
        const auto cb = std::tolower(static_cast<unsigned char>(b[j]));
        if (ca != cb)
            return ca < cb;
        ++i;
        ++j;
    }
    return a.size() - i < b.size() - j;
}

std::string fallbackIcon(const HardwareStorageCatalog& storage, const HardwareDiskCatalogItem* item)
{
    if (item) {
        if (const auto* drive = storage.physicalDrive(*item))
            return driveIcon(*drive);
        return driveIcon(*item);
    }
    const auto drives = storage.physicalDrives();
    for (const auto& drive : drives)
        if (drive.isInternal)
            return driveIcon(drive);
    if (!drives.empty())
        return driveIcon(drives.front());
    return "drive-harddisk";
}

} // namespace

std::string driveIcon(const HardwareDiskCatalogItem& drive)
{
    if (!drive.isInternal)
        return "drive-external";
    if (drive.isRemovable)
        return "drive-removable-media";
    return "drive-harddisk";
}

StatsStorageCapacitySummary capacitySummary(const std::vector<StatsStorageVolumeSnapshot>& volumes)
{
    auto of = [](const StatsStorageVolumeSnapshot& v) {
        return StatsStorageCapacitySummary{v.freeBytes, v.totalBytes, v.usedBytes, v.availableBytes, v.purgeableBytes};
    };
    for (const auto& v : volumes)
        if (v.identifier == "/")
            return of(v);
    std::set<std::uint64_t> totals;
    for (const auto& v : volumes)
        totals.insert(v.totalBytes);
    if (totals.size() == 1)
        return of(volumes.front());
    StatsStorageCapacitySummary sum;
    for (const auto& v : volumes) {
        sum.freeBytes += v.freeBytes;
        sum.totalBytes += v.totalBytes;
        sum.usedBytes += v.usedBytes;
        sum.availableBytes += v.availableBytes;
        sum.purgeableBytes += v.purgeableBytes;
    }
    return sum;
}

std::vector<StorageOverviewEntry> storageOverview(const std::vector<StatsStorageVolumeSnapshot>& volumes,
                                                  const HardwareCatalogSnapshot& catalog)
{
    const auto& storage = catalog.storage;
    std::vector<std::string> order;
    std::map<std::string, Draft> drafts;
    for (const auto& volume : volumes) {
        const auto* item = storage.disk(volume.identifier, volume.name);
        const auto* drive = item ? storage.physicalDrive(*item) : nullptr;
        if (item && drive) {
            const auto key = "drive:" + drive->identifier;
            auto [found, added] = drafts.try_emplace(key);
            if (added) {
                order.push_back(key);
                found->second = Draft{drive->index, drive->name, drive->name, driveIcon(*drive), {}};
            }
            found->second.snapshots.push_back(volume);
        } else {
            const auto key = "volume:" + volume.identifier;
            if (!drafts.contains(key))
                order.push_back(key);
            drafts[key] = Draft{volume.index, volume.name, volume.name, fallbackIcon(storage, item), {volume}};
        }
    }
    std::vector<Draft> sorted;
    for (const auto& key : order)
        sorted.push_back(drafts[key]);
    std::stable_sort(sorted.begin(), sorted.end(), [](const Draft& a, const Draft& b) {
        if (a.sortIndex != b.sortIndex)
            return a.sortIndex < b.sortIndex;
        return standardLess(a.sortTitle, b.sortTitle);
    });
    std::vector<StorageOverviewEntry> rows;
    for (const auto& draft : sorted) {
        const auto summary = capacitySummary(draft.snapshots);
        rows.push_back({draft.title, draft.icon, summary.usedBytes, summary.totalBytes});
    }
    return rows;
}

} // namespace tarnel
