#include "Charts/Charts.h"

#include "Theme/ThemeManager.h"

#include <QPainter>
#include <QPainterPath>

#include <algorithm>

namespace tarnel::gui {

HistoryChart::HistoryChart(std::vector<int> samples, QColor color, int capacity, QWidget* parent)
    : QWidget(parent), samples_(std::move(samples)), color_(std::move(color)), capacity_(std::max(2, capacity))
{
    setMinimumHeight(56);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void HistoryChart::setSamples(std::vector<int> samples, QColor color)
{
    if (samples == samples_ && color == color_)
        return;
    samples_ = std::move(samples);
    color_ = std::move(color);
    update();
}

void HistoryChart::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF area = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    const auto& appearance = TarnelThemeManager::shared().appearance();
    painter.setPen(QPen(appearance.separator, 1, Qt::DashLine));
    for (int line = 1; line < 4; ++line) {
        const double y = area.top() + area.height() * line / 4.0;
        painter.drawLine(QPointF(area.left(), y), QPointF(area.right(), y));
    }
    if (samples_.size() < 2)
        return;
    const double step = area.width() / (capacity_ - 1);
    const auto count = static_cast<int>(std::min<std::size_t>(samples_.size(), static_cast<std::size_t>(capacity_)));
    const auto first = samples_.size() - static_cast<std::size_t>(count);
    QPainterPath line;
    for (int i = 0; i < count; ++i) {
        const double x = area.right() - step * (count - 1 - i);
        const double value = std::clamp(samples_[first + static_cast<std::size_t>(i)], 0, 100) / 100.0;
        const QPointF point(x, area.bottom() - value * area.height());
        if (i == 0)
            line.moveTo(point);
        else
            line.lineTo(point);
    }
    QPainterPath fill = line;
    fill.lineTo(area.right(), area.bottom());
    fill.lineTo(area.right() - step * (count - 1), area.bottom());
    fill.closeSubpath();
    QLinearGradient gradient(area.topLeft(), area.bottomLeft());
    QColor top = color_;
    top.setAlphaF(0.35);
    QColor bottom = color_;
    bottom.setAlphaF(0.02);
    gradient.setColorAt(0, top);
    gradient.setColorAt(1, bottom);
    painter.fillPath(fill, gradient);
    painter.setPen(QPen(color_, 1.6));
    painter.drawPath(line);
}

PartsBar::PartsBar(std::vector<Part> parts, QWidget* parent) : QWidget(parent), parts_(std::move(parts))
{
    setFixedHeight(8);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void PartsBar::setParts(std::vector<Part> parts)
{
    if (parts == parts_)
        return;
    parts_ = std::move(parts);
    update();
}

void PartsBar::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF area = rect();
    QPainterPath clip;
    clip.addRoundedRect(area, area.height() / 2, area.height() / 2);
    painter.setClipPath(clip);
    painter.fillRect(area, TarnelThemeManager::shared().appearance().separator);
    double x = area.left();
    for (const auto& part : parts_) {
        const double width = std::clamp(part.fraction, 0.0, 1.0) * area.width();
        painter.fillRect(QRectF(x, area.top(), std::min(width, area.right() - x), area.height()), part.color);
        x += width;
        if (x >= area.right())
            break;
    }
}

} // namespace tarnel::gui
