#pragma once

#include <QMainWindow>

namespace tarnel::gui {

// The application's one window. Its smallest size keeps the sidebar and a two-column card
// grid readable.
class MainWindow : public QMainWindow {
public:
    static constexpr int minimumWidth = 980;
    static constexpr int minimumHeight = 612;

    explicit MainWindow(QWidget* parent = nullptr);
};

} // namespace tarnel::gui
