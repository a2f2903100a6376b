#pragma once

#include "TarnelFoundation/Catalog/HardwareCatalog.h"
#include "TarnelFoundation/Catalog/SystemInventory.h"
#include "TarnelFoundation/Codec/Codec.h"
#include "TarnelFoundation/Statistics/StatsSnapshots.h"

namespace tarnel::testing {

// A batch of the size a busy machine sends: every array filled.
StatsUpdateBatch fullBatch(int processes = 300, int sensors = 40, int volumes = 10);
// A ten-item disk tree of a Linux laptop: an NVMe drive with partitions and an LVM on LUKS
// container with two volumes, a USB stick and a loop device.
HardwareCatalogSnapshot laptopCatalog();
SystemInventorySnapshot inventory();

} // namespace tarnel::testing
