#pragma once

#include "App/Collection/CollectionEntitiesProvider.h"
#include "App/Dashboard/DashboardModels.h"

#include <string>
#include <vector>

namespace tarnel::testing {

template <class Model>
std::string nameIf(const CollectionViewCellModel& cell, const char* name)
{
    return cell.as<Model>() ? name : "";
}

// A short name for the model a Dashboard cell holds, to compare lists of cards in one line.
inline std::string cardKind(const CollectionViewCellModel& cell)
{
    if (const auto* waiting = cell.as<PlaceholderDeviceOverviewModel>())
        return waiting->device == PlaceholderDeviceOverviewModel::Device::cpu ? "cpuPlaceholder" : "ramPlaceholder";
    const std::string names[] = {
        nameIf<BatteryOverviewModel>(cell, "battery"), nameIf<StorageOverviewModel>(cell, "storage"),
        nameIf<PlaceholderStorageOverviewModel>(cell, "storagePlaceholder"), nameIf<CPUOverviewModel>(cell, "cpu"),
        nameIf<RAMOverviewModel>(cell, "ram"), nameIf<GPUOverviewModel>(cell, "gpu"),
        nameIf<LargeEntityHeaderModel>(cell, "header")};
    for (const auto& name : names)
        if (!name.empty())
            return name;
    return "unknown";
}

inline std::vector<std::string> cardKinds(const CollectionViewSection& section)
{
    std::vector<std::string> kinds;
    for (const auto& item : section.items)
        kinds.push_back(cardKind(item));
    return kinds;
}

} // namespace tarnel::testing
