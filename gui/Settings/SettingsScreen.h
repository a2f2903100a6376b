#pragma once

#include "Collection/CollectionScreen.h"

#include "App/Settings/SettingsProvider.h"

class QCheckBox;
class QComboBox;

namespace tarnel::gui {

// The Settings screen: the settings provider's rows on the card screen.
CollectionScreen* makeSettingsScreen();
CollectionScreen* makeSettingsScreen(std::shared_ptr<SettingsProvider> provider);

// The controls of the rows, for tests and accessibility: null when the screen has none.
QCheckBox* settingsSwitch(const CollectionScreen& screen, const std::string& identifier);
QComboBox* settingsMenu(const CollectionScreen& screen, const std::string& identifier);

} // namespace tarnel::gui
