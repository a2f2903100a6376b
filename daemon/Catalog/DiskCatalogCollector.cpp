#include "Catalog/DiskCatalogCollector.h"

#include "Platform/Statistics/TextParsing.h"

#include "Platform/Statistics/MountInfoReader.h"

#include <charconv>
#include <map>

namespace tarnel::daemon {

namespace {

std::optional<std::uint64_t> unsignedNumber(const std::optional<std::string>& text)
{
    if (!text)
        return std::nullopt;
    std::uint64_t value = 0;
    auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), value);
    if (error != std::errc())
        return std::nullopt;
    return value;
}

} // namespace

DiskCatalogCollector::DiskCatalogCollector(platform::SystemRoot root,
                                           std::shared_ptr<const platform::FileSystemStatistics> statistics)
    : root_(std::move(root)), statistics_(std::move(statistics))
{
}

HardwareStorageCatalog DiskCatalogCollector::collect() const
{
    using platform::SystemRoot;
    HardwareStorageCatalog catalog;
    std::map<std::string, std::size_t> byName;       // kernel name to index in disks
    std::map<std::string, std::string> byDeviceNumber; // "major:minor" to kernel name

    // SCSI attributes are padded with blanks ("ATA     "); what is left may be nothing.
    auto read = [&](const std::filesystem::path& base, const char* attribute) -> std::optional<std::string> {
        auto value = SystemRoot::readAttribute(base / attribute);
        if (!value)
            return std::nullopt;
        auto trimmed = std::string(platform::text::trim(*value));
        if (trimmed.empty())
            return std::nullopt;
        return trimmed;
    };
    auto add = [&](HardwareDiskCatalogItem item, const std::filesystem::path& base) {
        if (auto dev = read(base, "dev"))
            byDeviceNumber[*dev] = item.identifier;
        if (auto sectors = unsignedNumber(read(base, "size")))
            item.sizeBytes = *sectors * 512; // always 512-byte units in sysfs
        item.index = static_cast<std::int64_t>(catalog.disks.size());
        byName[item.identifier] = catalog.disks.size();
        catalog.disks.push_back(std::move(item));
    };

    const auto blockRoot = root_.resolve("/sys/block");
    for (const auto& name : SystemRoot::listDirectory(blockRoot)) {
        if (name.starts_with("ram") || name.starts_with("zram"))
            continue; // memory, not storage
        const auto base = blockRoot / name;
        HardwareDiskCatalogItem disk;
        disk.identifier = name;
        disk.name = name;
        disk.isWholeDisk = true;
        disk.isRemovable = read(base, "removable") == "1";
        disk.isWritable = read(base, "ro") != "1";
        const auto rotational = read(base, "queue/rotational");
        disk.driveKind = rotational == "1"   ? HardwareDriveKind::rotational
                         : rotational == "0" ? HardwareDriveKind::solidState
                                             : HardwareDriveKind::unknown;
        if (auto block = unsignedNumber(read(base, "queue/logical_block_size")))
            disk.blockSizeBytes = static_cast<std::int64_t>(*block);
        const auto link = SystemRoot::readLink(base).value_or("");
        if (name.starts_with("loop")) {
            auto backing = read(base, "loop/backing_file");
            if (!backing)
                continue; // an unused loop device
            disk.kind = HardwareDiskKind::diskImage;
            disk.mediaName = backing;
            disk.name = std::filesystem::path(*backing).filename().string();
        } else if (name.starts_with("dm-")) {
            const auto uuid = read(base, "dm/uuid").value_or("");
            disk.name = read(base, "dm/name").value_or(name);
            disk.isWholeDisk = false;
            disk.kind = uuid.starts_with("CRYPT-") ? HardwareDiskKind::container : HardwareDiskKind::volume;
            disk.content = uuid.starts_with("CRYPT-LUKS") ? std::optional<std::string>("crypto_LUKS")
                           : uuid.starts_with("LVM-")     ? std::optional<std::string>("LVM2_member")
                                                          : std::nullopt;
        } else if (name.starts_with("md")) {
            disk.kind = HardwareDiskKind::drive;
            disk.protocolName = "Linux Software RAID";
            disk.mediaName = read(base, "md/level");
        } else {
            disk.kind = HardwareDiskKind::drive;
            disk.vendor = read(base, "device/vendor");
            disk.mediaName = read(base, "device/model");
            disk.serialNumber = read(base, "device/serial");
            disk.revision = read(base, "device/firmware_rev");
            if (!disk.revision)
                disk.revision = read(base, "device/rev");
            disk.protocolName = name.starts_with("nvme")              ? std::optional<std::string>("NVMe")
                                : link.find("/usb") != std::string::npos ? std::optional<std::string>("USB")
                                : disk.vendor == "ATA"                   ? std::optional<std::string>("SATA")
                                                                         : std::optional<std::string>("SCSI");
            disk.isInternal = disk.protocolName != "USB" && !disk.isRemovable;
            disk.smartCapable = disk.protocolName == "NVMe" || disk.protocolName == "SATA";
            if (disk.mediaName)
                disk.name = *disk.mediaName;
        }
        add(disk, base);
        // Partitions are the sub-folders that say so.
        for (const auto& entry : SystemRoot::listDirectory(base)) {
            const auto partitionBase = base / entry;
            if (!SystemRoot::exists(partitionBase / "partition"))
                continue;
            HardwareDiskCatalogItem part;
            part.identifier = entry;
            part.name = entry;
            part.parentIdentifier = name;
            part.kind = HardwareDiskKind::partition;
            part.driveKind = disk.driveKind;
            part.isRemovable = disk.isRemovable;
            part.isInternal = disk.isInternal;
            part.isWritable = read(partitionBase, "ro") != "1";
            add(part, partitionBase);
            catalog.disks[byName[name]].childIdentifiers.push_back(entry);
        }
    }
    // Device-mapper and RAID devices hang below what they are made of.
    for (auto& item : catalog.disks) {
        if (!(item.identifier.starts_with("dm-") || item.identifier.starts_with("md")))
            continue;
        const auto slaves = SystemRoot::listDirectory(blockRoot / item.identifier / "slaves");
        if (slaves.empty() || !byName.contains(slaves.front()))
            continue;
        if (item.identifier.starts_with("dm-"))
            item.parentIdentifier = slaves.front();
        for (const auto& slave : slaves) {
            auto it = byName.find(slave);
            if (it == byName.end())
                continue;
            if (item.identifier.starts_with("dm-"))
                catalog.disks[it->second].childIdentifiers.push_back(item.identifier);
            else if (!catalog.disks[it->second].content)
                catalog.disks[it->second].content = "linux_raid_member"; // so the set stands for its members
        }
    }
    // Mounts: the first mount of each device is its mount point.
    try {
        for (const auto& mount : platform::MountInfoReader(root_).read()) {
            auto it = byDeviceNumber.find(std::to_string(mount.major) + ":" + std::to_string(mount.minor));
            if (it == byDeviceNumber.end())
                continue;
            auto& item = catalog.disks[byName[it->second]];
            if (item.mountPoint)
                continue;
            item.mountPoint = mount.mountPoint;
            item.filesystemName = mount.fileSystemType;
            if (statistics_) {
                if (auto figures = statistics_->figures(mount.mountPoint)) {
                    item.freeBytes = figures->availableBytes;
                    item.usedBytes = figures->usedBytes();
                }
            }
            if (item.kind == HardwareDiskKind::partition && item.mountPoint == "/")
                item.isBootable = true;
        }
    } catch (const platform::ReadError&) {
        // Without the mount table the tree is still right; it only lacks mount points.
    }
    return catalog;
}

} // namespace tarnel::daemon
