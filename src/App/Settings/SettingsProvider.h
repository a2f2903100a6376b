#pragma once

#include "App/Collection/CollectionEntitiesProvider.h"

#include "QuendalFoundation/Preferences/Theme.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace quendal {
class Preferences;
}

namespace tarnel {

// A row that turns one setting on or off, with a note below it.
struct SettingsSwitchModel {
    std::string title;
    std::string note;
    bool isOn = false;
    std::function<void(bool)> onChange;
};

// A row that picks one of a few values from a menu.
struct SettingsMenuModel {
    std::string title;
    std::vector<std::string> options;
    std::size_t selectedIndex = 0;
    std::function<void(std::size_t)> onSelect;
};

// The Settings screen: the Monitor's login switch, then the theme and the temperature unit.
// Every choice is stored at once; the rows show what is stored.
class SettingsProvider : public CollectionEntitiesProvider, public std::enable_shared_from_this<SettingsProvider> {
public:
    struct Sources {
        quendal::Preferences* preferences;
        std::function<quendal::Theme()> theme;
        // Stores and applies a theme (the theme manager of the toolkit).
        std::function<void(quendal::Theme)> setTheme;
        // Hands the login choice to the Monitor's controller, which writes or removes the
        // login entry, exports the configuration and starts the Monitor.
        std::function<void(bool)> setRunMonitorAtLogin;
    };

    explicit SettingsProvider(Sources sources);
    std::vector<CollectionViewSection> sections() override;

private:
    CollectionViewCellModel runAtLoginRow();
    CollectionViewCellModel themeRow();
    CollectionViewCellModel temperatureRow();

    Sources sources_;
};

} // namespace tarnel
