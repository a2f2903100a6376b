#include "TarnelFoundation/Catalog/SystemInventory.h"
#include "TarnelFoundation/Codec/Record.h"

namespace tarnel {

TARNEL_RECORD(SystemMachineInventory, modelIdentifier, serialNumber, mlbSerialNumber, hardwareUUID, platformUUID,
              bootROMVersion, smcVersion, appleProductName, hasT2Controller)
TARNEL_RECORD(SystemCPUCoreInventory, model, name, identifier, kind)
TARNEL_RECORD(SystemCPUPerformanceLevel, name, physicalCores, logicalCores)
TARNEL_RECORD(SystemCPUInventory, name, architecture, isAppleSilicon, logicalCores, physicalCores, performanceCores,
              efficiencyCores, frequencyHz, l2CacheBytes, l3CacheBytes, family, cores, performanceLevels)
TARNEL_RECORD(SystemMemoryInventory, totalBytes)
TARNEL_RECORD(SystemOSInventory, majorVersion, minorVersion, patchVersion, versionString, buildString, hostName,
              computerName)
TARNEL_RECORD(SystemBluetoothInventory, isAvailable, isPoweredOn, name, address, connectedDevices)
TARNEL_RECORD(SystemUSBDeviceInventory, name, vendor, productID, vendorID, serialNumber, speed, powerUsed, location)
TARNEL_RECORD(SystemUSBInventory, devices)
TARNEL_RECORD(SystemInventorySnapshot, machine, cpu, memory, operatingSystem, bluetooth, usb, generatedAt)

} // namespace tarnel
