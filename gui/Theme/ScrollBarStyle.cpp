#include "Theme/ScrollBarStyle.h"

#include "Theme/ThemeManager.h"

#include <QApplication>
#include <QPainter>
#include <QStyleOptionSlider>

namespace tarnel::gui {

ScrollBarStyle::ScrollBarStyle(const QString& baseStyle) : QProxyStyle(baseStyle) {}

void ScrollBarStyle::install()
{
    if (dynamic_cast<ScrollBarStyle*>(QApplication::style()))
        return;
    const auto base = QApplication::style() ? QApplication::style()->name() : QStringLiteral("fusion");
    QApplication::setStyle(new ScrollBarStyle(base));
}

void ScrollBarStyle::drawComplexControl(ComplexControl control, const QStyleOptionComplex* option, QPainter* painter,
                                        const QWidget* widget) const
{
    QProxyStyle::drawComplexControl(control, option, painter, widget);
    const auto* bar = qstyleoption_cast<const QStyleOptionSlider*>(option);
    if (control != CC_ScrollBar || !bar)
        return;
    const auto& a = TarnelThemeManager::shared().appearance();
    const QRect groove = subControlRect(control, option, SC_ScrollBarGroove, widget);
    const QRect slider = subControlRect(control, option, SC_ScrollBarSlider, widget);
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->fillRect(groove, a.scrollTrack);
    if (slider.isValid() && bar->maximum > bar->minimum) {
        const bool vertical = bar->orientation == Qt::Vertical;
        const QRectF handle = QRectF(slider).adjusted(vertical ? 3 : 1, vertical ? 1 : 3, vertical ? -3 : -1, vertical ? -1 : -3);
        const bool active = bar->activeSubControls & SC_ScrollBarSlider;
        const QColor color = active ? (a.dark ? a.scrollHandle.lighter(125) : a.scrollHandle.darker(120)) : a.scrollHandle;
        painter->setPen(Qt::NoPen);
        painter->setBrush(color);
        const qreal radius = (vertical ? handle.width() : handle.height()) / 2;
        painter->drawRoundedRect(handle, radius, radius);
    }
    painter->restore();
}

} // namespace tarnel::gui
