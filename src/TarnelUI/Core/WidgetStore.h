#pragma once

#include "TarnelFoundation/Statistics/ObservableArray.h"
#include "TarnelUI/Core/BaseWidget.h"

#include <map>
#include <set>
#include <vector>

namespace tarnel::ui {

// The two widget lists of one panel: what the panel shows and what its status item shows.
// Every change of a list or of a widget in it reaches the store's observers. Not movable:
// the lists' subscriptions point at it.
class WidgetStore {
public:
    using WidgetList = ObservableArray<WidgetPointer>;

    WidgetStore();
    // Widgets take the context of their list.
    WidgetStore(std::vector<WidgetPointer> panelWidgets, std::vector<WidgetPointer> statusWidgets);
    // Reads {"panelWidgets": [...], "statusWidgets": [...]}. An element of a kind this build
    // does not know is left out with one error line; the rest of the list loads.
    explicit WidgetStore(const Json& object);
    WidgetStore(const WidgetStore&) = delete;
    WidgetStore& operator=(const WidgetStore&) = delete;

    const WidgetList& panelWidgets() const { return panelWidgets_; }
    const WidgetList& statusWidgets() const { return statusWidgets_; }
    void setPanelWidgets(std::vector<WidgetPointer> widgets);
    void setStatusWidgets(std::vector<WidgetPointer> widgets);
    std::map<UUID, WidgetPointer> allWidgets() const;

    // Gives each widget the context of the list it is in.
    void setContexts();
    // The union of the statistics of one list; the indexes of a statistic shared by several
    // widgets are merged, and a widget that wants every instance wins.
    WidgetStatisticsSet statistics(WidgetContext context) const;
    // The panels the panel widgets link to.
    std::set<UUID> linkedPanels() const;
    // Takes the content of `other` element by element. A widget here whose id is in `other`
    // is reset in place, so whoever observes it stays attached.
    void apply(const WidgetStore& other);

    Json encode() const;
    quendal::Publisher<bool> changes() const { return notifier_.changes(); }

private:
    void observeLists();
    static std::vector<WidgetPointer> decodeList(const Json& object, std::string_view key);

    WidgetList panelWidgets_;
    WidgetList statusWidgets_;
    ChangeNotifier notifier_;
    quendal::Cancellables cancellables_;
};

// The union of two demands, by the rule of WidgetStore::statistics.
void mergeStatistics(WidgetStatisticsSet& into, const WidgetStatisticsSet& from);

} // namespace tarnel::ui
