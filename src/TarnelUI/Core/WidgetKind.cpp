#include "TarnelUI/Core/WidgetKind.h"

namespace tarnel::ui {

std::optional<WidgetKind> widgetKindNamed(std::string_view text)
{
    for (std::size_t i = 0; i < widgetKindNames.size(); ++i)
        if (widgetKindNames[i] == text)
            return static_cast<WidgetKind>(i);
    return std::nullopt;
}

Json WidgetTitleSettings::encode() const
{
    return Json{{"showTitle", showTitle}, {"customTitle", customTitle}, {"customOverride", customOverride}};
}

WidgetTitleSettings WidgetTitleSettings::decode(const Json& value)
{
    WidgetTitleSettings settings;
    settings.showTitle = json::requiredBool(value, "showTitle");
    settings.customTitle = json::requiredString(value, "customTitle");
    settings.customOverride = json::requiredBool(value, "customOverride");
    return settings;
}

} // namespace tarnel::ui
