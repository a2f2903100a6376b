#pragma once

#include "TarnelFoundation/Codec/CodecFwd.h"
#include "TarnelFoundation/Codec/Date.h"
#include "TarnelFoundation/Codec/Value.h"

#include <optional>
#include <string>
#include <vector>

namespace tarnel {

struct SystemMachineInventory {
    std::optional<std::string> modelIdentifier;
    std::optional<std::string> serialNumber;
    std::optional<std::string> mlbSerialNumber;
    std::optional<std::string> hardwareUUID;
    std::optional<std::string> platformUUID;
    std::optional<std::string> bootROMVersion;
    std::optional<std::string> smcVersion;
    std::optional<std::string> appleProductName;
    bool hasT2Controller = false;
    friend bool operator==(const SystemMachineInventory&, const SystemMachineInventory&) = default;
};
TARNEL_CODABLE(SystemMachineInventory);

enum class SystemCPUCoreKind : std::uint8_t { efficiency, performance, unknown };

struct SystemCPUCoreInventory {
    std::optional<std::string> model;
    std::optional<std::string> name;
    std::optional<std::int64_t> identifier;
    SystemCPUCoreKind kind = SystemCPUCoreKind::unknown;
    friend bool operator==(const SystemCPUCoreInventory&, const SystemCPUCoreInventory&) = default;
};
TARNEL_CODABLE(SystemCPUCoreInventory);

struct SystemCPUPerformanceLevel {
    std::string name;
    std::int64_t physicalCores = 0;
    std::int64_t logicalCores = 0;
    friend bool operator==(const SystemCPUPerformanceLevel&, const SystemCPUPerformanceLevel&) = default;
};
TARNEL_CODABLE(SystemCPUPerformanceLevel);

struct SystemCPUInventory {
    std::optional<std::string> name;
    std::optional<std::string> architecture;
    bool isAppleSilicon = false;
    std::int64_t logicalCores = 0;
    std::int64_t physicalCores = 0;
    std::optional<std::int64_t> performanceCores;
    std::optional<std::int64_t> efficiencyCores;
    std::optional<std::uint64_t> frequencyHz;
    std::optional<std::int64_t> l2CacheBytes;
    std::optional<std::int64_t> l3CacheBytes;
    std::optional<std::uint64_t> family;
    std::vector<SystemCPUCoreInventory> cores;
    std::vector<SystemCPUPerformanceLevel> performanceLevels;
    friend bool operator==(const SystemCPUInventory&, const SystemCPUInventory&) = default;
};
TARNEL_CODABLE(SystemCPUInventory);

struct SystemMemoryInventory {
    std::uint64_t totalBytes = 0;
    friend bool operator==(const SystemMemoryInventory&, const SystemMemoryInventory&) = default;
};
TARNEL_CODABLE(SystemMemoryInventory);

struct SystemOSInventory {
    std::int64_t majorVersion = 0;
    std::int64_t minorVersion = 0;
    std::int64_t patchVersion = 0;
    std::string versionString;
    std::optional<std::string> buildString;
    std::optional<std::string> hostName;
    std::optional<std::string> computerName;
    friend bool operator==(const SystemOSInventory&, const SystemOSInventory&) = default;
};
TARNEL_CODABLE(SystemOSInventory);

struct SystemBluetoothInventory {
    bool isAvailable = false;
    std::optional<bool> isPoweredOn;
    std::optional<std::string> name;
    std::optional<std::string> address;
    std::vector<std::string> connectedDevices;
    friend bool operator==(const SystemBluetoothInventory&, const SystemBluetoothInventory&) = default;
};
TARNEL_CODABLE(SystemBluetoothInventory);

struct SystemUSBDeviceInventory {
    std::string name;
    std::optional<std::string> vendor;
    std::optional<std::string> productID;
    std::optional<std::string> vendorID;
    std::optional<std::string> serialNumber;
    std::optional<std::string> speed;
    std::optional<std::int64_t> powerUsed;
    std::optional<std::string> location;
    friend bool operator==(const SystemUSBDeviceInventory&, const SystemUSBDeviceInventory&) = default;
};
TARNEL_CODABLE(SystemUSBDeviceInventory);

struct SystemUSBInventory {
    std::vector<SystemUSBDeviceInventory> devices;
    friend bool operator==(const SystemUSBInventory&, const SystemUSBInventory&) = default;
};
TARNEL_CODABLE(SystemUSBInventory);

struct SystemInventorySnapshot {
    SystemMachineInventory machine;
    SystemCPUInventory cpu;
    SystemMemoryInventory memory;
    SystemOSInventory operatingSystem;
    SystemBluetoothInventory bluetooth;
    SystemUSBInventory usb;
    Date generatedAt;
    friend bool operator==(const SystemInventorySnapshot&, const SystemInventorySnapshot&) = default;
};
TARNEL_CODABLE(SystemInventorySnapshot);

} // namespace tarnel

namespace tarnel::codec {
TARNEL_ENUM_NAMES(SystemCPUCoreKind, 3, "efficiency", "performance", "unknown");
}
