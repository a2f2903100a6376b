#pragma once

#include <QWidget>

#include <functional>

class QCheckBox;
class QComboBox;

namespace tarnel::gui {

// The Settings screen: the Monitor's login switch, the theme and the temperature unit.
class SettingsPage : public QWidget {
public:
    explicit SettingsPage(QWidget* parent = nullptr);

    QCheckBox* runAtLoginSwitch() const { return runAtLogin_; }
    QComboBox* themeMenu() const { return theme_; }
    QComboBox* temperatureMenu() const { return temperature_; }

protected:
    // The theme may change from elsewhere (the desktop, another window): show the current one.
    void changeEvent(QEvent* event) override;

private:
    QCheckBox* runAtLogin_;
    QComboBox* theme_;
    QComboBox* temperature_;
};

} // namespace tarnel::gui
