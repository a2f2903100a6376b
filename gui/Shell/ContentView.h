#pragma once

#include "App/Shell/Router.h"

#include <QWidget>

#include <functional>
#include <memory>

class QLabel;
class QPushButton;
class QStackedWidget;

namespace tarnel::gui {

// The content column: the root screen of the current route under its title, and the nested
// screens of the router's path on top of it, with a way back.
class ContentView : public QWidget {
public:
    // Makes a route's root screen; the content view owns what it returns.
    using ScreenFactory = std::function<QWidget*(AppRoute)>;

    ContentView(std::shared_ptr<Router> router, ScreenFactory screens, QWidget* parent = nullptr);

    QWidget* currentScreen() const;
    static QWidget* comingSoon(const QString& title);

private:
    void show(AppRoute route, const std::vector<SubRoute>& path);

    std::shared_ptr<Router> router_;
    ScreenFactory screens_;
    QLabel* title_;
    QPushButton* back_;
    QStackedWidget* stack_;
    quendal::Cancellables cancellables_;
};

} // namespace tarnel::gui
