#pragma once

#include "TarnelKit/Catalog/CatalogStore.h"

#include "TarnelFoundation/Catalog/DisplayCatalog.h"
#include "TarnelFoundation/Catalog/HardwareCatalog.h"
#include "TarnelFoundation/Catalog/SystemInventory.h"

namespace tarnel {

using HardwareCatalogStore = CatalogStore<HardwareCatalogSnapshot>;
using SystemInventoryStore = CatalogStore<SystemInventorySnapshot>;
using DisplayCatalogStore = CatalogStore<DisplayCatalogSnapshot>;

template <>
HardwareCatalogStore::Loader HardwareCatalogStore::daemonLoader();
template <>
SystemInventoryStore::Loader SystemInventoryStore::daemonLoader();
template <>
DisplayCatalogStore::Loader DisplayCatalogStore::daemonLoader();

} // namespace tarnel
