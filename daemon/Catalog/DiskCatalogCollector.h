#pragma once

#include "TarnelFoundation/Catalog/HardwareCatalog.h"

#include "Platform/Statistics/FileSystemStatistics.h"
#include "Platform/Statistics/SystemRoot.h"

#include <memory>

namespace tarnel::daemon {

// The disk tree from /sys/block: whole drives with their partitions, device-mapper containers
// and volumes (LUKS, LVM), software RAID sets, loop devices backed by image files, and where
// each is mounted.
class DiskCatalogCollector {
public:
    DiskCatalogCollector(platform::SystemRoot root, std::shared_ptr<const platform::FileSystemStatistics> statistics);

    HardwareStorageCatalog collect() const;

private:
    platform::SystemRoot root_;
    std::shared_ptr<const platform::FileSystemStatistics> statistics_;
};

} // namespace tarnel::daemon
