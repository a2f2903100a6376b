#pragma once

#include "App/Shell/SidebarMenu.h"
#include "Shell/ContentView.h"

#include <QMainWindow>

#include <memory>

namespace tarnel::gui {

class SidebarView;

// The application's one window: the sidebar and the content column. Its smallest size keeps
// the sidebar and a two-column card grid readable.
class MainWindow : public QMainWindow {
public:
    static constexpr int minimumWidth = 980;
    static constexpr int minimumHeight = 612;

    MainWindow(std::shared_ptr<Router> router, ContentView::ScreenFactory screens, QWidget* parent = nullptr);

    SidebarView& sidebar() const { return *sidebar_; }
    ContentView& content() const { return *content_; }
    // Shows or hides the sidebar and remembers the choice.
    void setSidebarVisible(bool visible);

private:
    std::shared_ptr<SidebarMenu> menu_;
    SidebarView* sidebar_;
    ContentView* content_;
};

} // namespace tarnel::gui
