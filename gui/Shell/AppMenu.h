#pragma once

#include <QMenuBar>

#include <functional>

namespace tarnel::gui {

// The main menu with Linux shortcuts (Ctrl where others use Command).
struct AppMenuActions {
    std::function<void()> showAbout;
    std::function<void()> showSettings;
    std::function<void()> quit;
    std::function<void()> closeWindow;
    std::function<void()> minimize;
    std::function<void()> zoom;
    std::function<void()> toggleFullScreen;
    std::function<void()> openWebsite;
    std::function<void()> reportAProblem;
};

QMenuBar* buildAppMenu(const AppMenuActions& actions, QWidget* parent);

} // namespace tarnel::gui
