#include "Catalog/GraphicsCatalog.h"

#include <fmt/format.h>

namespace tarnel::daemon {

namespace {

HardwareGPUKind kindOf(platform::GraphicsAttachment attachment)
{
    switch (attachment) {
    case platform::GraphicsAttachment::integrated:
        return HardwareGPUKind::integrated;
    case platform::GraphicsAttachment::discrete:
        return HardwareGPUKind::discrete;
    case platform::GraphicsAttachment::external:
        return HardwareGPUKind::external;
    case platform::GraphicsAttachment::virtualMachine:
        break;
    }
    return HardwareGPUKind::unknown;
}

// The part of a database name before its bracketed marketing name: the chip's code name.
std::optional<std::string> codeName(const std::optional<std::string>& databaseName)
{
    if (!databaseName)
        return std::nullopt;
    auto bracket = databaseName->find(" [");
    if (bracket == std::string::npos || bracket == 0)
        return std::nullopt;
    return databaseName->substr(0, bracket);
}

} // namespace

std::vector<HardwareGPUCatalogItem> graphicsCatalog(const std::vector<platform::GraphicsDevice>& devices,
                                                    const platform::PciIdDatabase& database)
{
    std::vector<HardwareGPUCatalogItem> items;
    std::int64_t index = 0;
    for (const auto& device : devices) {
        const auto names = database.lookup({device.vendorId, device.deviceId, device.subsystemVendorId, device.subsystemDeviceId});
        HardwareGPUCatalogItem item;
        item.index = index++;
        item.identifier = device.address;
        item.vendor = platform::shortVendorName(device.vendorId, names.vendor);
        const auto model = names.device ? platform::marketingName(*names.device) : fmt::format("Graphics {:04x}", device.deviceId);
        // The database often repeats the maker ("Intel UHD Graphics"); say it once.
        item.name = model.starts_with(*item.vendor) ? model : *item.vendor + " " + model;
        item.family = codeName(names.device);
        if (device.subsystemVendorId)
            item.subvendor = platform::shortVendorName(*device.subsystemVendorId, names.subsystemVendor);
        item.subsystem = names.subsystem;
        const auto attachment = platform::attachmentOf(device, names.device);
        item.kind = kindOf(attachment);
        item.isHeadless = device.isHeadless();
        item.isLowPower = attachment == platform::GraphicsAttachment::integrated;
        item.isRemovable = device.removable;
        item.vramBytes = device.vramTotalBytes;
        item.driverBundle = device.driver;
        item.partID = fmt::format("0x{:04x}", device.deviceId);
        if (device.subsystemVendorId && device.subsystemDeviceId)
            item.cardID = fmt::format("0x{:04x}{:04x}", *device.subsystemDeviceId, *device.subsystemVendorId);
        if (device.revision)
            item.revisionID = fmt::format("0x{:02x}", *device.revision);
        item.clockMHz = device.maximumCoreClockMHz;
        item.memoryClockMHz = device.maximumMemoryClockMHz;
        item.supportsAudio = device.hasAudioFunction;
        items.push_back(std::move(item));
    }
    return items;
}

} // namespace tarnel::daemon
