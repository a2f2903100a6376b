#include "Theme/CardFrame.h"

#include "Theme/ThemeManager.h"

#include <QPainter>

namespace tarnel::gui {

CardFrame::CardFrame(QWidget* parent) : QFrame(parent)
{
    setObjectName(QStringLiteral("card"));
}

void CardFrame::paintEvent(QPaintEvent*)
{
    const auto& appearance = TarnelThemeManager::shared().appearance();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(appearance.separator, 1));
    painter.setBrush(appearance.card);
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 10, 10);
}

} // namespace tarnel::gui
