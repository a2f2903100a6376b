#pragma once

#include "TarnelFoundation/Catalog/HardwareCatalog.h"

#include "Statistics/SmartctlProbe.h"

#include "Platform/Hardware/PciIdDatabase.h"
#include "Platform/Statistics/FileSystemStatistics.h"
#include "Platform/Statistics/SystemRoot.h"

#include <memory>

namespace tarnel::daemon {

// The static half of the hardware: the disk tree, the graphics devices, the fans and the
// temperature sensors, as the `hardware/catalog` route answers it.
class HardwareCatalogCollector {
public:
    HardwareCatalogCollector(platform::SystemRoot root, std::shared_ptr<const platform::FileSystemStatistics> statistics,
                             platform::PciIdDatabase database, std::shared_ptr<const SmartctlProbe> smart = nullptr);

    HardwareCatalogSnapshot collect() const;

private:
    platform::SystemRoot root_;
    std::shared_ptr<const platform::FileSystemStatistics> statistics_;
    platform::PciIdDatabase database_;
    std::shared_ptr<const SmartctlProbe> smart_;
};

} // namespace tarnel::daemon
