#include "TarnelUI/Panel/PanelStyle.h"

namespace tarnel::ui {

template <class E, std::size_t N>
static std::string_view nameIn(const std::array<std::string_view, N>& names, E value)
{
    return names[static_cast<std::size_t>(value)];
}

Json PanelAppearance::encode() const
{
    return Json{{"theme", nameIn(themeNames, theme)}, {"mode", nameIn(modeNames, mode)}};
}

PanelAppearance PanelAppearance::decode(const Json& value)
{
    PanelAppearance appearance;
    appearance.theme = json::enumNamed<Theme>(json::required(value, "theme"), "theme", themeNames);
    appearance.mode = json::enumNamed<Mode>(json::required(value, "mode"), "mode", modeNames);
    return appearance;
}

PanelMaterial panelMaterial(const PanelAppearance& appearance, const DesktopLook& look)
{
    bool dark = appearance.mode == PanelAppearance::Mode::system ? look.dark
                                                                 : appearance.mode == PanelAppearance::Mode::dark;
    // Materials come in threes: plain, increased contrast, reduced transparency.
    int base = (appearance.theme == PanelAppearance::Theme::minimal ? 6 : 0) + (dark ? 3 : 0);
    int variant = look.increasedContrast ? 1 : look.reducedTransparency ? 2 : 0;
    return static_cast<PanelMaterial>(base + variant);
}

Json PanelStyle::encode() const
{
    return Json{{"shape", nameIn(shapeNames, shape)},
                {"titleAlignment", nameIn(titleAlignmentNames, titleAlignment)},
                {"appearance", appearance.encode()},
                {"animate", animate}};
}

PanelStyle PanelStyle::decode(const Json& value)
{
    PanelStyle style;
    style.shape = json::enumNamed<Shape>(json::required(value, "shape"), "shape", shapeNames);
    style.titleAlignment =
        json::enumNamed<TitleAlignment>(json::required(value, "titleAlignment"), "titleAlignment", titleAlignmentNames);
    style.appearance = PanelAppearance::decode(json::required(value, "appearance"));
    style.animate = json::requiredBool(value, "animate");
    return style;
}

Json StatusStyle::encode() const
{
    return Json{{"animate", animate}};
}

StatusStyle StatusStyle::decode(const Json& value)
{
    return StatusStyle{json::requiredBool(value, "animate")};
}

} // namespace tarnel::ui
