#pragma once

#include "App/Dashboard/DashboardModels.h"

#include "TarnelFoundation/Catalog/HardwareCatalog.h"
#include "TarnelFoundation/Statistics/StatsSnapshots.h"

#include <vector>

namespace tarnel {

// The capacity of volumes shown as one row: "/" as it stands; volumes of one container (one
// common total) as the first; otherwise the sums.
StatsStorageCapacitySummary capacitySummary(const std::vector<StatsStorageVolumeSnapshot>& volumes);

// One row per physical drive (volumes the catalogue cannot place get a row of their own),
// ordered by the drive's index and then by name.
std::vector<StorageOverviewEntry> storageOverview(const std::vector<StatsStorageVolumeSnapshot>& volumes,
                                                  const HardwareCatalogSnapshot& catalog);

// The icon of a drive by its flags: "drive-external", "drive-removable-media" or "drive-harddisk".
std::string driveIcon(const HardwareDiskCatalogItem& drive);

} // namespace tarnel
