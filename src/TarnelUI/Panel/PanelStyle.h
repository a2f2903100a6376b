#pragma once

#include "TarnelUI/Core/WidgetJson.h"

#include <array>
#include <cstdint>
#include <string_view>

namespace tarnel::ui {

struct PanelAppearance {
    enum class Theme : std::uint8_t { standard, minimal };
    enum class Mode : std::uint8_t { light, dark, system };
    static constexpr std::array<std::string_view, 2> themeNames{"standard", "minimal"};
    static constexpr std::array<std::string_view, 3> modeNames{"light", "dark", "system"};

    Theme theme = Theme::standard;
    Mode mode = Mode::system;

    Json encode() const;
    static PanelAppearance decode(const Json& value);
    friend bool operator==(const PanelAppearance&, const PanelAppearance&) = default;
};

// The material a panel is drawn with; chosen at drawing time, never stored.
enum class PanelMaterial : std::uint8_t {
    standardLight,
    standardLightIncreasedContrast,
    standardLightReducedTransparency,
    standardDark,
    standardDarkIncreasedContrast,
    standardDarkReducedTransparency,
    minimalLight,
    minimalLightIncreasedContrast,
    minimalLightReducedTransparency,
    minimalDark,
    minimalDarkIncreasedContrast,
    minimalDarkReducedTransparency,
};

// What the desktop says about its look.
struct DesktopLook {
    bool dark = false;
    bool increasedContrast = false;
    bool reducedTransparency = false;
};

// Increased contrast wins over reduced transparency when the desktop asks for both.
PanelMaterial panelMaterial(const PanelAppearance& appearance, const DesktopLook& look);

struct PanelStyle {
    enum class Shape : std::uint8_t { rounded, rectangular };
    enum class TitleAlignment : std::uint8_t { leading, center, trailing };
    static constexpr std::array<std::string_view, 2> shapeNames{"rounded", "rectangular"};
    static constexpr std::array<std::string_view, 3> titleAlignmentNames{"leading", "center", "trailing"};

    Shape shape = Shape::rounded;
    TitleAlignment titleAlignment = TitleAlignment::leading;
    PanelAppearance appearance;
    bool animate = false;

    Json encode() const;
    // All four keys are required.
    static PanelStyle decode(const Json& value);
    friend bool operator==(const PanelStyle&, const PanelStyle&) = default;
};

struct StatusStyle {
    bool animate = false;

    Json encode() const;
    static StatusStyle decode(const Json& value);
    friend bool operator==(const StatusStyle&, const StatusStyle&) = default;
};

} // namespace tarnel::ui
