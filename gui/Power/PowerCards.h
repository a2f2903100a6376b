#pragma once

#include "Collection/CollectionScreen.h"

#include "App/Power/PowerEntitiesProvider.h"

#include <QColor>

#include <memory>

namespace tarnel::gui {

QColor colorOf(BadgeColor color);
// The card of each Power cell model.
CellRenderers powerRenderers();
CollectionScreen* makePowerScreen(std::shared_ptr<PowerEntitiesProvider> provider);

} // namespace tarnel::gui
