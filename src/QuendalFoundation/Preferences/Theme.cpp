#include "QuendalFoundation/Preferences/Theme.h"

namespace quendal {

namespace {
struct ThemeTexts {
    std::string_view raw, titleKey, title;
};
constexpr std::array<ThemeTexts, 3> texts{{
    {"system", "settings_theme_system", "System"},
    {"light", "settings_theme_light", "Light"},
    {"dark", "settings_theme_dark", "Dark"},
}};
const ThemeTexts& textsOf(Theme theme) { return texts[static_cast<std::size_t>(theme)]; }
} // namespace

std::string_view rawValue(Theme theme) { return textsOf(theme).raw; }
std::string_view titleKey(Theme theme) { return textsOf(theme).titleKey; }
std::string_view defaultTitle(Theme theme) { return textsOf(theme).title; }

Theme themeFromRawValue(std::string_view raw)
{
    if (raw == "light")
        return Theme::light;
    if (raw == "dark")
        return Theme::dark;
    return Theme::system;
}

Theme storedTheme(Preferences& preferences) { return themeFromRawValue(read(preferences, PreferenceKeys::settingsTheme)); }

void storeTheme(Preferences& preferences, Theme theme)
{
    write(preferences, PreferenceKeys::settingsTheme, std::string(rawValue(theme)));
}

} // namespace quendal
