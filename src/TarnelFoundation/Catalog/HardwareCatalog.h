#pragma once

#include "TarnelFoundation/Codec/CodecFwd.h"
#include "TarnelFoundation/Codec/Date.h"
#include "TarnelFoundation/Codec/Value.h"
#include "TarnelFoundation/Statistics/WidgetStatistic.h"

#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tarnel {

enum class HardwareDiskKind : std::uint8_t { drive, container, volume, partition, snapshot, diskImage, network, other };
enum class HardwareDriveKind : std::uint8_t { solidState, rotational, unknown };
enum class HardwareSmartStatus : std::uint8_t { verified, failing, unsupported, unknown };
enum class HardwareGPUKind : std::uint8_t { integrated, discrete, external, unknown };

struct HardwareDiskCatalogItem {
    std::int64_t index = 0;
    std::string identifier;
    std::optional<std::string> parentIdentifier;
    std::vector<std::string> childIdentifiers;
    std::string name;
    std::optional<std::string> mediaName;
    std::optional<std::string> content;
    std::optional<std::string> filesystemName;
    std::optional<std::string> mountPoint;
    HardwareDiskKind kind = HardwareDiskKind::other;
    HardwareDriveKind driveKind = HardwareDriveKind::unknown;
    bool isInternal = false;
    bool isRemovable = false;
    bool isWritable = false;
    bool isBootable = false;
    bool isWholeDisk = false;
    std::optional<std::uint64_t> sizeBytes;
    std::optional<std::uint64_t> freeBytes;
    std::optional<std::uint64_t> usedBytes;
    std::optional<std::string> vendor;
    std::optional<std::string> protocolName;
    std::optional<std::string> locationDescription;
    std::optional<std::string> serialNumber;
    std::optional<std::string> revision;
    std::optional<std::int64_t> blockSizeBytes;
    HardwareSmartStatus smartStatus = HardwareSmartStatus::unknown;
    bool smartCapable = false;
    friend bool operator==(const HardwareDiskCatalogItem&, const HardwareDiskCatalogItem&) = default;
};
TARNEL_CODABLE(HardwareDiskCatalogItem);

// The disk tree, flat; parents and children are named by identifier.
struct HardwareStorageCatalog {
    std::vector<HardwareDiskCatalogItem> disks;

    static bool isPhysicalDrive(const HardwareDiskCatalogItem& item) { return item.kind == HardwareDiskKind::drive; }
    // Drives as a user thinks of them: members of a RAID set give way to the set.
    std::vector<HardwareDiskCatalogItem> physicalDrives() const;
    std::vector<HardwareDiskCatalogItem> rootDisks() const;
    const HardwareDiskCatalogItem* disk(std::string_view identifier) const;
    // The item of a volume named by a statistic: by identifier or mount point, else by name.
    const HardwareDiskCatalogItem* disk(std::string_view matching, const std::optional<std::string>& name) const;
    const HardwareDiskCatalogItem* physicalDrive(const HardwareDiskCatalogItem& item) const;
    std::vector<HardwareDiskCatalogItem> children(const HardwareDiskCatalogItem& item) const;
    std::vector<HardwareDiskCatalogItem> descendants(const HardwareDiskCatalogItem& item) const;
    std::set<std::string> descendantIdentifiers(std::string_view identifier) const;
    std::optional<std::int64_t> sharedVolumeCount(const HardwareDiskCatalogItem& item) const;

    // By index, then by identifier with digit runs compared by value; stable.
    static void sort(std::vector<HardwareDiskCatalogItem>& items);
    static int naturalCompare(std::string_view a, std::string_view b);

    friend bool operator==(const HardwareStorageCatalog&, const HardwareStorageCatalog&) = default;
};
TARNEL_CODABLE(HardwareStorageCatalog);

struct HardwareGPUFirmwareSnapshot {
    std::optional<Value::Bytes> data;
    std::optional<std::string> compileDate;
    std::optional<std::string> efiVersion;
    std::optional<std::string> revision;
    std::optional<std::string> vBiosRevision;
    friend bool operator==(const HardwareGPUFirmwareSnapshot&, const HardwareGPUFirmwareSnapshot&) = default;
};
TARNEL_CODABLE(HardwareGPUFirmwareSnapshot);

struct HardwareGPUCatalogItem {
    std::int64_t index = 0;
    std::string identifier;
    std::string name;
    std::optional<std::string> vendor;
    std::optional<std::string> family;
    std::optional<std::string> subvendor;
    std::optional<std::string> subsystem;
    HardwareGPUKind kind = HardwareGPUKind::unknown;
    bool isHeadless = false;
    bool isLowPower = false;
    bool isRemovable = false;
    std::optional<std::uint64_t> vramBytes;
    std::optional<std::string> driverBundle;
    std::optional<std::string> partID;
    std::optional<std::string> cardID;
    std::optional<std::string> revisionID;
    std::optional<std::string> accelerator;
    std::optional<double> clockMHz;
    std::optional<double> memoryClockMHz;
    bool supportsAudio = false;
    std::vector<std::string> supportedFeatureSets;
    std::optional<HardwareGPUFirmwareSnapshot> firmware;
    friend bool operator==(const HardwareGPUCatalogItem&, const HardwareGPUCatalogItem&) = default;
};
TARNEL_CODABLE(HardwareGPUCatalogItem);

struct HardwareFanCatalogItem {
    std::int64_t index = 0;
    std::string identifier;
    std::string name;
    std::optional<double> minimumRPM;
    std::optional<double> maximumRPM;
    friend bool operator==(const HardwareFanCatalogItem&, const HardwareFanCatalogItem&) = default;
};
TARNEL_CODABLE(HardwareFanCatalogItem);

struct HardwareTemperatureSensorCatalogItem {
    WidgetStatistic statistic = WidgetStatistic::otherGroupTemperatureSensor;
    std::int64_t index = 0;
    std::string identifier;
    std::string name;
    friend bool operator==(const HardwareTemperatureSensorCatalogItem&, const HardwareTemperatureSensorCatalogItem&) = default;
};
TARNEL_CODABLE(HardwareTemperatureSensorCatalogItem);

struct HardwareCatalogSnapshot {
    HardwareStorageCatalog storage;
    std::vector<HardwareGPUCatalogItem> gpus;
    std::vector<HardwareFanCatalogItem> fans;
    std::vector<HardwareTemperatureSensorCatalogItem> temperatureSensors;
    Date generatedAt;
    friend bool operator==(const HardwareCatalogSnapshot&, const HardwareCatalogSnapshot&) = default;
};
TARNEL_CODABLE(HardwareCatalogSnapshot);

} // namespace tarnel

namespace tarnel::codec {
TARNEL_ENUM_NAMES(HardwareDiskKind, 8, "drive", "container", "volume", "partition", "snapshot", "diskImage", "network",
                  "other");
TARNEL_ENUM_NAMES(HardwareDriveKind, 3, "solidState", "rotational", "unknown");
TARNEL_ENUM_NAMES(HardwareSmartStatus, 4, "verified", "failing", "unsupported", "unknown");
TARNEL_ENUM_NAMES(HardwareGPUKind, 4, "integrated", "discrete", "external", "unknown");
} // namespace tarnel::codec
