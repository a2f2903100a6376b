#include "TarnelUI/Panel/MonitorSettings.h"

#include "QuendalFoundation/Logging/AppLogger.h"
#include "TarnelUI/Panel/DefaultPanels.h"

namespace tarnel::ui {

namespace {

// A part of the document that failed falls back to its default with one line that says why.
template <class Decode, class Fallback>
auto decodeOrDefault(const Json& document, const char* key, Decode decode, Fallback fallback)
{
    try {
        return decode(json::required(document, key));
    } catch (const std::exception& failure) {
        quendal::AppLogger::error(std::string("Unable to decode ") + key + ": " + failure.what(),
                                  quendal::AppLogger::monitor);
        return fallback();
    }
}

} // namespace

MonitorSettings::MonitorSettings(MonitorDeviceCapabilities capabilities)
    : MonitorSettings(currentVersion, PanelStore::makeDefault(capabilities), PanelStyle{}, StatusStyle{})
{
}

MonitorSettings::MonitorSettings(std::int64_t version, std::shared_ptr<PanelStore> panelStore, PanelStyle panelStyle,
                                 StatusStyle statusStyle)
    : version_(version), panelStore_(std::move(panelStore)), panelStyle_(panelStyle), statusStyle_(statusStyle)
{
    forwarding_ = panelStore_->changes().sink([this](bool) { notifier_.notifyChange(); });
}

std::shared_ptr<MonitorSettings> MonitorSettings::decode(const Json& document)
{
    if (!document.is_object())
        throw ModelDecodingError("the Monitor settings are not an object");
    auto panelStyle = decodeOrDefault(
        document, "panelStyle", [](const Json& value) { return PanelStyle::decode(value); },
        [] { return PanelStyle{}; });
    auto statusStyle = decodeOrDefault(
        document, "statusStyle", [](const Json& value) { return StatusStyle::decode(value); },
        [] { return StatusStyle{}; });
    auto version = json::requiredInteger(document, "version");
    auto panelStore = decodeOrDefault(
        document, "panelStore", [](const Json& value) { return std::make_shared<PanelStore>(value); },
        [] { return PanelStore::makeDefault(MonitorDeviceCapabilities{.hasBattery = true}); });
    return std::make_shared<MonitorSettings>(version, std::move(panelStore), panelStyle, statusStyle);
}

void MonitorSettings::setPanelStyle(PanelStyle style)
{
    if (style == panelStyle_)
        return;
    panelStyle_ = style;
    notifier_.notifyChange();
}

void MonitorSettings::setStatusStyle(StatusStyle style)
{
    if (style == statusStyle_)
        return;
    statusStyle_ = style;
    notifier_.notifyChange();
}

void MonitorSettings::migrate(std::int64_t version, MonitorDeviceCapabilities capabilities)
{
    if (version_ < 2) {
        auto panels = makeDefaultPanels(capabilities);
        std::set<UUID> ids;
        for (const auto& item : panels)
            ids.insert(item->id());
        panelStore_->setPanels(std::move(panels));
        panelStore_->setEnabledIds(std::move(ids));
    }
    if (version_ != version) {
        version_ = version;
        notifier_.notifyChange();
    }
}

Json MonitorSettings::encode() const
{
    return Json{{"version", version_},
                {"panelStore", panelStore_->encode()},
                {"panelStyle", panelStyle_.encode()},
                {"statusStyle", statusStyle_.encode()}};
}

} // namespace tarnel::ui
