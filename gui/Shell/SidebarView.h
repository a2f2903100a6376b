#pragma once

#include "App/Shell/SidebarMenu.h"

#include <QWidget>

#include <map>
#include <memory>

class QPushButton;
class QVBoxLayout;

namespace tarnel::gui {

// The sidebar: the sections of the routes this machine offers, the settings section pinned to
// the bottom, and the row of the current route selected.
class SidebarView : public QWidget {
public:
    static constexpr int fixedWidth = 200;

    SidebarView(std::shared_ptr<SidebarMenu> menu, QWidget* parent = nullptr);

    // The row of a route, or nullptr when the sidebar does not show it.
    QPushButton* row(AppRoute route) const;

protected:
    // New theme colours: the icons are drawn again in them.
    void changeEvent(QEvent* event) override;
    // Enter, Return and Space open the focused row; Up and Down move between rows.
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void rebuild(const std::vector<RouteSection>& sections);
    void select(AppRoute current);
    void open(AppRoute route);

    std::shared_ptr<SidebarMenu> menu_;
    QVBoxLayout* layout_;
    std::map<AppRoute, QPushButton*> rows_;
    quendal::Cancellables cancellables_;
};

} // namespace tarnel::gui
