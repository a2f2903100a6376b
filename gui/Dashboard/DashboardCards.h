#pragma once

#include "Collection/CollectionScreen.h"

#include "App/Dashboard/DashboardProvider.h"

#include <map>
#include <memory>
#include <string>

namespace tarnel::gui {

// The card of each Dashboard cell type, by reuse identifier.
std::map<std::string, CollectionScreen::Renderer> dashboardRenderers();
CollectionScreen* makeDashboardScreen(std::shared_ptr<DashboardProvider> provider);

} // namespace tarnel::gui
