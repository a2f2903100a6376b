#pragma once

#include "Collection/CollectionScreen.h"

#include "App/Cooling/CoolingEntitiesProvider.h"

#include <QColor>

#include <memory>

namespace tarnel::gui {

QColor colorOf(CoolingChartColor color);
// The card of each Cooling cell model.
CellRenderers coolingRenderers();
CollectionScreen* makeCoolingScreen(std::shared_ptr<CoolingEntitiesProvider> provider);

} // namespace tarnel::gui
