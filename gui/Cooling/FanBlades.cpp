#include "Cooling/FanBlades.h"

#include "Theme/ThemeManager.h"

#include <QPainter>
#include <QPainterPath>

#include <algorithm>

namespace tarnel::gui {

namespace {

constexpr int frameMilliseconds = 40;
constexpr int bladeCount = 5;
// Shown turns per second at a given speed: real fans blur past any frame rate, so the drawing
// is slowed down and capped to stay readable.
double turnsPerSecond(std::int64_t rpm)
{
    return std::clamp(static_cast<double>(rpm) / 2000.0, 0.0, 2.0);
}

} // namespace

FanBlades::FanBlades(std::shared_ptr<FanView> fan, QWidget* parent) : QWidget(parent), fan_(std::move(fan))
{
    setFixedSize(sizeHint());
    setAttribute(Qt::WA_TransparentForMouseEvents);
    timer_.setInterval(frameMilliseconds);
    QObject::connect(&timer_, &QTimer::timeout, this, [this] { step(); });
    timer_.start();
}

void FanBlades::step()
{
    const double turns = turnsPerSecond(fan_->speed());
    if (turns <= 0)
        return; // a stopped fan stands still and costs no repaint
    fan_->angle = std::fmod(fan_->angle + turns * 360.0 * frameMilliseconds / 1000.0, 360.0);
    update();
}

void FanBlades::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const auto color = TarnelThemeManager::shared().appearance().accent;
    painter.translate(width() / 2.0, height() / 2.0);
    painter.rotate(fan_->angle);
    const double radius = std::min(width(), height()) / 2.0 - 1;
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    for (int i = 0; i < bladeCount; ++i) {
        QPainterPath blade;
        blade.moveTo(0, 0);
        blade.cubicTo(radius * 0.2, -radius * 0.5, radius * 0.9, -radius * 0.6, radius * 0.95, -radius * 0.1);
        blade.cubicTo(radius * 0.6, radius * 0.05, radius * 0.25, radius * 0.05, 0, 0);
        painter.drawPath(blade);
        painter.rotate(360.0 / bladeCount);
    }
    painter.setBrush(TarnelThemeManager::shared().appearance().card);
    painter.drawEllipse(QPointF(0, 0), radius * 0.18, radius * 0.18);
}

} // namespace tarnel::gui
