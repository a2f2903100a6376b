#pragma once

#include "Collection/CollectionScreen.h"

#include "App/Dashboard/DashboardProvider.h"

#include <memory>

namespace tarnel::gui {

// The card of each Dashboard cell model.
CellRenderers dashboardRenderers();
CollectionScreen* makeDashboardScreen(std::shared_ptr<DashboardProvider> provider);

} // namespace tarnel::gui
