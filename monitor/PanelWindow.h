#pragma once

#include "MonitorModel.h"

#include <QWidget>

namespace tarnel::monitor {

// A panel's widgets: a frameless popup under its status item, or, where no tray exists, a small
// window the user can place.
class PanelWindow : public QWidget {
    Q_OBJECT
public:
    enum class Style { popup, window };

    PanelWindow(const ShownPanel& panel, Style style, QWidget* parent = nullptr);

    Style style() const { return style_; }
    // Opens the popup with its top edge at `anchor` (the status item), kept on that screen.
    void popUpAt(const QRect& anchor);

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    Style style_;
};

// The square image of a status item: its first status widget's title over its value (a dash
// while no value has arrived), a dot for each further widget; readable at 22 and 44 pixels.
QPixmap statusImage(const ShownPanel& panel, int height, qreal devicePixelRatio = 1.0);
// The same in words, for the tooltip.
QString statusText(const ShownPanel& panel);

} // namespace tarnel::monitor
