#include "TarnelUI/Core/WidgetStore.h"

#include "QuendalFoundation/Logging/AppLogger.h"
#include "TarnelUI/Core/AnyWidget.h"

namespace tarnel::ui {

void mergeStatistics(WidgetStatisticsSet& into, const WidgetStatisticsSet& from)
{
    for (const auto& [statistic, indexes] : from.entries) {
        auto [entry, inserted] = into.entries.try_emplace(statistic, indexes);
        if (inserted)
            continue;
        // An empty index set demands every instance; merging keeps that.
        if (entry->second.empty() || indexes.empty())
            entry->second.clear();
        else
            entry->second.insert(indexes.begin(), indexes.end());
    }
}

WidgetStore::WidgetStore()
{
    observeLists();
}

WidgetStore::WidgetStore(std::vector<WidgetPointer> panelWidgets, std::vector<WidgetPointer> statusWidgets)
{
    panelWidgets_.setItems(std::move(panelWidgets));
    statusWidgets_.setItems(std::move(statusWidgets));
    setContexts();
    observeLists();
}

WidgetStore::WidgetStore(const Json& object)
{
    if (!object.is_object())
        throw ModelDecodingError("a widget store is not an object");
    panelWidgets_.setItems(decodeList(object, "panelWidgets"));
    statusWidgets_.setItems(decodeList(object, "statusWidgets"));
    setContexts();
    observeLists();
}

std::vector<WidgetPointer> WidgetStore::decodeList(const Json& object, std::string_view key)
{
    const auto& list = json::required(object, key);
    if (!list.is_array())
        throw ModelDecodingError("\"" + std::string(key) + "\" is not an array");
    std::vector<WidgetPointer> widgets;
    for (const auto& element : list) {
        try {
            widgets.push_back(AnyWidget::decode(element).widget);
        } catch (const UnknownWidgetKindError& failure) {
            quendal::AppLogger::error(failure.what(), quendal::AppLogger::monitor);
        }
    }
    return widgets;
}

void WidgetStore::observeLists()
{
    panelWidgets_.changes().dropFirst().sink([this](std::uint64_t) { notifier_.notifyChange(); }).store(cancellables_);
    statusWidgets_.changes().dropFirst().sink([this](std::uint64_t) { notifier_.notifyChange(); }).store(cancellables_);
}

void WidgetStore::setPanelWidgets(std::vector<WidgetPointer> widgets)
{
    panelWidgets_.setItems(std::move(widgets));
    setContexts();
}

void WidgetStore::setStatusWidgets(std::vector<WidgetPointer> widgets)
{
    statusWidgets_.setItems(std::move(widgets));
    setContexts();
}

std::map<UUID, WidgetPointer> WidgetStore::allWidgets() const
{
    std::map<UUID, WidgetPointer> all;
    for (const auto* list : {&panelWidgets_, &statusWidgets_})
        for (const auto& widget : list->items())
            all.emplace(widget->id(), widget);
    return all;
}

void WidgetStore::setContexts()
{
    for (const auto& widget : panelWidgets_.items())
        widget->setContext(WidgetContext::panel);
    for (const auto& widget : statusWidgets_.items())
        widget->setContext(WidgetContext::status);
}

WidgetStatisticsSet WidgetStore::statistics(WidgetContext context) const
{
    WidgetStatisticsSet result;
    const auto& list = context == WidgetContext::panel ? panelWidgets_ : statusWidgets_;
    for (const auto& widget : list.items())
        mergeStatistics(result, widget->statistics());
    return result;
}

std::set<UUID> WidgetStore::linkedPanels() const
{
    std::set<UUID> panels;
    for (const auto& widget : panelWidgets_.items())
        if (widget->linkedPanel())
            panels.insert(*widget->linkedPanel());
    return panels;
}

void WidgetStore::apply(const WidgetStore& other)
{
    auto current = allWidgets();
    auto bring = [&current](const WidgetList& source) {
        std::vector<WidgetPointer> result;
        for (const auto& widget : source.items()) {
            auto found = current.find(widget->id());
            if (found != current.end() && found->second->kind() == widget->kind()) {
                found->second->reset(*widget);
                result.push_back(found->second);
            } else {
                result.push_back(widget->copy(false));
            }
        }
        return result;
    };
    auto panel = bring(other.panelWidgets_);
    auto status = bring(other.statusWidgets_);
    panelWidgets_.setItems(std::move(panel));
    statusWidgets_.setItems(std::move(status));
    setContexts();
}

Json WidgetStore::encode() const
{
    auto encodeList = [](const WidgetList& list) {
        auto array = Json::array();
        for (const auto& widget : list.items())
            array.push_back(AnyWidget{widget}.encode());
        return array;
    };
    return Json{{"panelWidgets", encodeList(panelWidgets_)}, {"statusWidgets", encodeList(statusWidgets_)}};
}

} // namespace tarnel::ui
