#pragma once

#include "QuendalFoundation/Preferences/Preferences.h"

#include <array>
#include <string_view>

namespace quendal {

// The application's theme, stored under "settingsTheme" as its raw value.
enum class Theme { system, light, dark };

inline constexpr std::array allThemes{Theme::system, Theme::light, Theme::dark};

std::string_view rawValue(Theme theme);
// The localisation key of the theme's title and its English default.
std::string_view titleKey(Theme theme);
std::string_view defaultTitle(Theme theme);

// "light" and "dark" read as themselves, anything else as `system`.
Theme themeFromRawValue(std::string_view raw);
Theme storedTheme(Preferences& preferences);
// Stores the raw value even when it is already the stored one, so applying always follows.
void storeTheme(Preferences& preferences, Theme theme);

} // namespace quendal
