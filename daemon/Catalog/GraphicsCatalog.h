#pragma once

#include "TarnelFoundation/Catalog/HardwareCatalog.h"

#include "Platform/Hardware/GraphicsDeviceReader.h"
#include "Platform/Hardware/PciIdDatabase.h"

#include <vector>

namespace tarnel::daemon {

// The graphics devices as catalogue items, named from the PCI database: "AMD Radeon RX 6500M".
// Indexes follow the bus order, which is also the order of the usage samples.
std::vector<HardwareGPUCatalogItem> graphicsCatalog(const std::vector<platform::GraphicsDevice>& devices,
                                                    const platform::PciIdDatabase& database);

} // namespace tarnel::daemon
