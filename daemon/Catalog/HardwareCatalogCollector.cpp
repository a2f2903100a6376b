#include "Catalog/HardwareCatalogCollector.h"

#include "Catalog/DiskCatalogCollector.h"
#include "Catalog/GraphicsCatalog.h"
#include "Statistics/SensorReadings.h"

#include "Platform/Hardware/GraphicsDeviceReader.h"
#include "Platform/Hardware/HwmonReader.h"

namespace tarnel::daemon {

HardwareCatalogCollector::HardwareCatalogCollector(platform::SystemRoot root,
                                                   std::shared_ptr<const platform::FileSystemStatistics> statistics,
                                                   platform::PciIdDatabase database,
                                                   std::shared_ptr<const SmartctlProbe> smart)
    : root_(std::move(root)), statistics_(std::move(statistics)), database_(std::move(database)), smart_(std::move(smart))
{
}

HardwareCatalogSnapshot HardwareCatalogCollector::collect() const
{
    HardwareCatalogSnapshot snapshot;
    snapshot.generatedAt = Date::now();
    snapshot.storage = DiskCatalogCollector(root_, statistics_).collect();
    if (smart_ && smart_->isAvailable())
        for (auto& disk : snapshot.storage.disks) {
            if (disk.kind != HardwareDiskKind::drive || !disk.smartCapable)
                continue;
            auto report = smart_->read("/dev/" + disk.identifier);
            if (!report || (!report->passed && !report->errors.empty()))
                disk.smartStatus = HardwareSmartStatus::unknown; // could not ask: no rights, no device
            else if (!report->passed)
                disk.smartStatus = HardwareSmartStatus::unsupported;
            else
                disk.smartStatus = *report->passed ? HardwareSmartStatus::verified : HardwareSmartStatus::failing;
        }
    snapshot.gpus = graphicsCatalog(platform::GraphicsDeviceReader(root_).devices(), database_);
    const auto sensors = SensorReadings::from(platform::HwmonReader(root_).read(), snapshot.generatedAt);
    snapshot.fans = sensors.fanCatalog();
    snapshot.temperatureSensors = sensors.sensors;
    return snapshot;
}

} // namespace tarnel::daemon
