#pragma once

#include "TarnelFoundation/Catalog/HardwareCatalog.h"
#include "TarnelFoundation/Statistics/StatsSnapshots.h"

#include "Platform/Hardware/HwmonReader.h"

#include <vector>

namespace tarnel::daemon {

// The hwmon chips as the wire names them: every temperature channel classified into its family
// with an index within the family, one group reading per family (its hottest sensor), and the
// fans. The catalogue and the statistics stream both come from here, so their identifiers and
// indexes agree.
struct SensorReadings {
    std::vector<StatsTemperatureSnapshot> temperatures; // sensors with a reading, then the groups
    std::vector<StatsFanSnapshot> fans;
    std::vector<HardwareTemperatureSensorCatalogItem> sensors; // every channel, also one that sleeps

    static SensorReadings from(const std::vector<platform::HwmonChip>& chips, Date at);

    std::vector<HardwareFanCatalogItem> fanCatalog() const;
    // Values for the sensor statistics and `fanSpeed`; a sensor without a reading has none.
    std::vector<StatsValueSnapshot> values() const;
};

} // namespace tarnel::daemon
