#include "Statistics/Collectors/SmartCollector.h"

#include "Catalog/DiskCatalogCollector.h"
#include "Statistics/SmartHealth.h"

#include "Platform/Statistics/FileSystemStatistics.h"

namespace tarnel::daemon {

SmartCollector::SmartCollector(const CollectorSetup& setup)
    : SingleServiceCollector(setup, DaemonService::storageSmart, {}), now_(setup.now)
{
}

void SmartCollector::setProbe(std::shared_ptr<const SmartctlProbe> probe, SmartReadings::Launch launch)
{
    readings_.reset();
    if (!probe || !probe->isAvailable())
        return;
    auto read = [root = root_, probe] {
        const auto catalog = DiskCatalogCollector(root, std::make_shared<platform::StatvfsFileSystemStatistics>()).collect();
        SmartReadings::Reports reports;
        for (const auto& disk : catalog.disks) {
            if (disk.kind != HardwareDiskKind::drive || !disk.smartCapable)
                continue;
            auto report = probe->read("/dev/" + disk.identifier);
            if (report && report->hasHealthData())
                reports.push_back(judgeSmartReport(disk.identifier, *report, Date::now()));
        }
        return reports;
    };
    readings_ = std::make_unique<SmartReadings>(std::move(read), now_, lifetime, std::move(launch));
}

void SmartCollector::sample(const Tick&, CollectedState& state)
{
    if (readings_)
        state.arrays.storageSmartReports = readings_->current();
}

void SmartCollector::carry(DaemonService, const StatsUpdateBatch& arrays, StatsUpdateBatch& batch) const
{
    batch.storageSmartReports = arrays.storageSmartReports;
}

std::unique_ptr<ServiceCollector> makeSmartCollector(const CollectorSetup& s) { return std::make_unique<SmartCollector>(s); }

} // namespace tarnel::daemon
