#include "TarnelFoundation/Catalog/HardwareCatalog.h"
#include "TarnelFoundation/Codec/Record.h"

#include <algorithm>
#include <cctype>
#include <deque>
#include <filesystem>
#include <unordered_set>

namespace tarnel {

TARNEL_RECORD(HardwareDiskCatalogItem, index, identifier, parentIdentifier, childIdentifiers, name, mediaName, content,
              filesystemName, mountPoint, kind, driveKind, isInternal, isRemovable, isWritable, isBootable, isWholeDisk,
              sizeBytes, freeBytes, usedBytes, vendor, protocolName, locationDescription, serialNumber, revision,
              blockSizeBytes, smartStatus, smartCapable)
TARNEL_RECORD(HardwareStorageCatalog, disks)
TARNEL_RECORD(HardwareGPUFirmwareSnapshot, data, compileDate, efiVersion, revision, vBiosRevision)
TARNEL_RECORD(HardwareGPUCatalogItem, index, identifier, name, vendor, family, subvendor, subsystem, kind, isHeadless,
              isLowPower, isRemovable, vramBytes, driverBundle, partID, cardID, revisionID, accelerator, clockMHz,
              memoryClockMHz, supportsAudio, supportedFeatureSets, firmware)
TARNEL_RECORD(HardwareFanCatalogItem, index, identifier, name, minimumRPM, maximumRPM)
TARNEL_RECORD(HardwareTemperatureSensorCatalogItem, statistic, index, identifier, name)
TARNEL_RECORD(HardwareCatalogSnapshot, storage, gpus, fans, temperatureSensors, generatedAt)

namespace {

bool isRaidText(const std::optional<std::string>& text)
{
    if (!text)
        return false;
    std::string lower = *text;
    std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return std::tolower(c); });
    return lower.find("raid") != std::string::npos || lower == "52414944-0000-11aa-aa11-00306543ecac";
}

// A path standardised as a file URL's path would be: no trailing slash, no "." parts, ".."
// resolved lexically.
std::string standardised(std::string_view key)
{
    if (key.empty())
        return {};
    auto normal = std::filesystem::path(std::string(key)).lexically_normal().string();
    while (normal.size() > 1 && normal.back() == '/')
        normal.pop_back();
    return normal;
}

} // namespace

int HardwareStorageCatalog::naturalCompare(std::string_view a, std::string_view b)
{
    std::size_t i = 0, j = 0;
    while (i < a.size() && j < b.size()) {
        const bool da = std::isdigit(static_cast<unsigned char>(a[i])) != 0;
        const bool db = std::isdigit(static_cast<unsigned char>(b[j])) != 0;
        if (da && db) {
            std::size_t si = i, sj = j;
            while (si < a.size() && a[si] == '0')
                ++si;
            while (sj < b.size() && b[sj] == '0')
                ++sj;
            std::size_t ei = si, ej = sj;
            while (ei < a.size() && std::isdigit(static_cast<unsigned char>(a[ei])))
                ++ei;
            while (ej < b.size() && std::isdigit(static_cast<unsigned char>(b[ej])))
                ++ej;
            if (ei - si != ej - sj)
                return ei - si < ej - sj ? -1 : 1;
            if (auto c = a.substr(si, ei - si).compare(b.substr(sj, ej - sj)); c != 0)
                return c < 0 ? -1 : 1;
            i = ei;
            j = ej;
            continue;
        }
        const auto ca = std::tolower(static_cast<unsigned char>(a[i]));
        const auto cb = std::tolower(static_cast<unsigned char>(b[j]));
        if (ca != cb)
            return ca < cb ? -1 : 1;
        ++i;
        ++j;
    }
    if (i < a.size())
        return 1;
    if (j < b.size())
        return -1;
    return 0;
}

void HardwareStorageCatalog::sort(std::vector<HardwareDiskCatalogItem>& items)
{
    std::stable_sort(items.begin(), items.end(), [](const auto& x, const auto& y) {
        if (x.index != y.index)
            return x.index < y.index;
        return naturalCompare(x.identifier, y.identifier) < 0;
    });
}

const HardwareDiskCatalogItem* HardwareStorageCatalog::disk(std::string_view identifier) const
{
    for (const auto& d : disks)
        if (d.identifier == identifier)
            return &d;
    return nullptr;
}

std::vector<HardwareDiskCatalogItem> HardwareStorageCatalog::children(const HardwareDiskCatalogItem& item) const
{
    std::vector<HardwareDiskCatalogItem> result;
    for (const auto& id : item.childIdentifiers)
        if (const auto* child = disk(id))
            result.push_back(*child);
    sort(result);
    return result;
}

std::vector<HardwareDiskCatalogItem> HardwareStorageCatalog::descendants(const HardwareDiskCatalogItem& item) const
{
    std::vector<HardwareDiskCatalogItem> result;
    std::deque<HardwareDiskCatalogItem> queue;
    for (auto& c : children(item))
        queue.push_back(std::move(c));
    std::unordered_set<std::string> seen{item.identifier};
    while (!queue.empty()) {
        auto next = std::move(queue.front());
        queue.pop_front();
        // A malformed catalogue may loop; an item is visited once.
        if (!seen.insert(next.identifier).second)
            continue;
        for (auto& c : children(next))
            queue.push_back(std::move(c));
        result.push_back(std::move(next));
    }
    return result;
}

std::set<std::string> HardwareStorageCatalog::descendantIdentifiers(std::string_view identifier) const
{
    std::set<std::string> result;
    const auto* item = disk(identifier);
    if (!item)
        return result;
    std::vector<std::string> work = item->childIdentifiers;
    while (!work.empty()) {
        auto id = std::move(work.back());
        work.pop_back();
        if (!result.insert(id).second)
            continue;
        if (const auto* found = disk(id))
            work.insert(work.end(), found->childIdentifiers.begin(), found->childIdentifiers.end());
    }
    return result;
}

std::vector<HardwareDiskCatalogItem> HardwareStorageCatalog::physicalDrives() const
{
    std::vector<HardwareDiskCatalogItem> taken;
    for (const auto& d : disks)
        if (d.kind == HardwareDiskKind::drive && !d.parentIdentifier)
            taken.push_back(d);
    const bool anyRaid = std::any_of(taken.begin(), taken.end(), [](const auto& d) {
        return isRaidText(d.protocolName) || isRaidText(d.mediaName) || isRaidText(d.content);
    });
    if (anyRaid) {
        std::vector<HardwareDiskCatalogItem> standing;
        for (const auto& d : taken) {
            auto below = descendants(d);
            const bool member = std::any_of(below.begin(), below.end(), [](const auto& x) {
                return isRaidText(x.content) || isRaidText(x.mediaName) || isRaidText(x.filesystemName);
            });
            if (!member)
                standing.push_back(d);
        }
        taken = std::move(standing);
    }
    sort(taken);
    return taken;
}

std::vector<HardwareDiskCatalogItem> HardwareStorageCatalog::rootDisks() const
{
    std::vector<HardwareDiskCatalogItem> roots;
    for (const auto& d : disks)
        if (!d.parentIdentifier)
            roots.push_back(d);
    sort(roots);
    return roots;
}

const HardwareDiskCatalogItem* HardwareStorageCatalog::disk(std::string_view matching,
                                                            const std::optional<std::string>& name) const
{
    const auto key = standardised(matching);
    for (const auto& d : disks) {
        if (d.identifier == matching)
            return &d;
        if (d.mountPoint && !d.mountPoint->empty() && !key.empty() && standardised(*d.mountPoint) == key)
            return &d;
    }
    if (name) {
        for (const auto& d : disks)
            if (d.kind == HardwareDiskKind::volume && d.name == *name)
                return &d;
    }
    return nullptr;
}

const HardwareDiskCatalogItem* HardwareStorageCatalog::physicalDrive(const HardwareDiskCatalogItem& item) const
{
    std::unordered_set<std::string> visited;
    const HardwareDiskCatalogItem* current = &item;
    for (;;) {
        if (current->kind == HardwareDiskKind::drive)
            return current;
        if (!current->parentIdentifier)
            return nullptr;
        if (!visited.insert(*current->parentIdentifier).second)
            return nullptr;
        current = disk(*current->parentIdentifier);
        if (!current)
            return nullptr;
    }
}

std::optional<std::int64_t> HardwareStorageCatalog::sharedVolumeCount(const HardwareDiskCatalogItem& item) const
{
    const HardwareDiskCatalogItem* container = nullptr;
    if (item.kind == HardwareDiskKind::container)
        container = &item;
    else if (item.kind == HardwareDiskKind::volume && item.parentIdentifier)
        container = disk(*item.parentIdentifier);
    if (!container)
        return std::nullopt;
    std::int64_t count = 0;
    for (const auto& c : children(*container))
        if (c.kind == HardwareDiskKind::volume)
            ++count;
    if (count < 2)
        return std::nullopt;
    return count;
}

} // namespace tarnel
