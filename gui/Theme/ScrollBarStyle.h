#pragma once

#include <QProxyStyle>

namespace tarnel::gui {

// The application's style with scroll bars in the theme's colours: a track and a rounded handle
// that stands out on it, which Fusion's button-coloured handle does not on a white card.
// Geometry and behaviour stay the base style's.
class ScrollBarStyle final : public QProxyStyle {
public:
    explicit ScrollBarStyle(const QString& baseStyle);

    void drawComplexControl(ComplexControl control, const QStyleOptionComplex* option, QPainter* painter,
                            const QWidget* widget = nullptr) const override;

    // Puts the style on the application once, over whatever style it has.
    static void install();
};

} // namespace tarnel::gui
