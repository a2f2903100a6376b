#pragma once

#include "App/Shell/AppRoute.h"

class QWidget;

namespace tarnel::gui {

// The root screen of a route; nullptr for a route whose screen is not built yet, which the
// content view shows as "coming soon".
QWidget* rootScreen(AppRoute route);

} // namespace tarnel::gui
