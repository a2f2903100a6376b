#include "Statistics/ServiceCollector.h"

#include "Platform/Statistics/FileSystemStatistics.h"
#include "Platform/Statistics/StorageVolumeReader.h"

namespace tarnel::daemon {
namespace {

// Size and free space of every mounted volume.
class StorageUsageCollector final : public SingleServiceCollector {
public:
    explicit StorageUsageCollector(const CollectorSetup& setup)
        : SingleServiceCollector(setup, DaemonService::storageUsage, {WidgetStatistic::storageUsage})
    {
    }

    void sample(const Tick& tick, CollectedState& state) override
    {
        std::int64_t index = 0;
        for (const auto& volume : platform::StorageVolumeReader(root_, statistics_).read()) {
            StatsStorageVolumeSnapshot s;
            s.index = index;
            s.identifier = volume.device ? volume.device->name : volume.source;
            s.name = volume.mountPoint == "/" ? "System" : std::filesystem::path(volume.mountPoint).filename().string();
            s.driveKind = volume.device && volume.device->driveKind == platform::DriveKind::rotational
                              ? StatsStorageDriveKind::rotational
                              : StatsStorageDriveKind::solidState;
            s.totalBytes = volume.figures.totalBytes;
            s.freeBytes = volume.figures.freeBytes;
            s.usedBytes = volume.figures.usedBytes();
            s.availableBytes = volume.figures.availableBytes;
            s.purgeableBytes = 0;
            s.updatedAt = tick.at;
            state.arrays.storageVolumes.push_back(s);
            std::optional<double> usedFraction;
            if (s.totalBytes > 0)
                usedFraction = static_cast<double>(s.usedBytes) / static_cast<double>(s.totalBytes);
            state.values.push_back({WidgetStatistic::storageUsage, index, static_cast<double>(s.freeBytes), usedFraction,
                                    std::nullopt, tick.at});
            ++index;
        }
    }

    void carry(DaemonService, const StatsUpdateBatch& arrays, StatsUpdateBatch& batch) const override
    {
        batch.storageVolumes = arrays.storageVolumes;
    }

private:
    std::shared_ptr<platform::StatvfsFileSystemStatistics> statistics_ = std::make_shared<platform::StatvfsFileSystemStatistics>();
};

} // namespace

std::unique_ptr<ServiceCollector> makeStorageUsageCollector(const CollectorSetup& s) { return std::make_unique<StorageUsageCollector>(s); }

} // namespace tarnel::daemon
