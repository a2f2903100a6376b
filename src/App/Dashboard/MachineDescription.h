#pragma once

#include "App/Dashboard/DashboardModels.h"

#include "TarnelFoundation/Catalog/HardwareCatalog.h"
#include "TarnelFoundation/Catalog/SystemInventory.h"

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace tarnel {

// The texts that identify this machine in the Dashboard's header.
namespace machine {

// The vendor's product name, else the DMI product, else the computer's name, else "Unknown".
std::string displayName(const SystemInventorySnapshot& inventory);
// The running distribution with its version, and the kernel in parentheses when known.
std::string subtitle(const SystemOSInventory& os);
// "Mid 2015" from "MacBook Pro (Retina, 15-inch, Mid 2015)": the first part in parentheses with
// a year from 2001 to 2199, capitalised; nullopt without one.
std::optional<std::string> modelYear(std::string_view displayName);
// The processor name without trademarks, "CPU " and "@ ", with a blank before "GHz".
std::string cleanedProcessorName(const std::optional<std::string>& name);
// The graphics device that drives the display: neither removable nor low-power if there is one.
std::optional<std::string> mainGraphicsName(const HardwareCatalogSnapshot& catalog);

// Where and when the machine was made, decoded from its serial numbers where they follow the
// known forms; "Unknown" otherwise.
struct Manufacture {
    std::string date;
    std::string origin;
};
Manufacture decodeManufacture(const SystemMachineInventory& machine, std::optional<int> releaseYear = std::nullopt);
std::string origin(std::string_view serial);
// "dd MMMM, yyyy" of the first day of a week (weeks start on Sunday, week 1 holds 1 January),
// plus `days`.
std::string weekDateText(int yearForWeek, int weekOfYear, int days);

std::vector<InfoRow> infoTable(const SystemInventorySnapshot& inventory, const HardwareCatalogSnapshot& catalog);
LargeEntityHeaderModel header(const SystemInventorySnapshot& inventory, const HardwareCatalogSnapshot& catalog);

} // namespace machine
} // namespace tarnel
