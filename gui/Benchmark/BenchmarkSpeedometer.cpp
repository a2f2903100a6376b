#include "Benchmark/BenchmarkSpeedometer.h"

#include "Theme/ThemeManager.h"

#include "App/Localization/Localizable.h"

#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace tarnel::gui {

namespace {

constexpr double startAngle = 225; // degrees, counter-clockwise from three o'clock
constexpr double sweep = 270;
constexpr std::array<double, 7> labelledSpeeds{0, 100, 250, 500, 1000, 2000, 4000};

QPointF onCircle(QPointF centre, double radius, double degrees)
{
    const double radians = degrees * std::numbers::pi / 180;
    return {centre.x() + radius * std::cos(radians), centre.y() - radius * std::sin(radians)};
}

QString speedLabel(double mb)
{
    return mb >= 1000 ? QString::number(mb / 1000, 'g', 2) + QStringLiteral("k") : QString::number(mb, 'f', 0);
}

} // namespace

QColor benchmarkColor(BenchmarkColor color)
{
    return color == BenchmarkColor::green ? QColor(0x34, 0xc7, 0x59) : QColor(0x0a, 0x84, 0xff);
}

BenchmarkSpeedometer::BenchmarkSpeedometer(QWidget* parent) : QWidget(parent)
{
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
}

double BenchmarkSpeedometer::position(double megabytesPerSecond, double maximum)
{
    if (!(maximum > 0) || !(megabytesPerSecond > 0))
        return 0;
    return std::sqrt(std::min(megabytesPerSecond, maximum) / maximum);
}

void BenchmarkSpeedometer::setModel(const BenchmarkSpeedometerModel& model, BenchmarkSpeedometerState state)
{
    if (model == model_ && state == state_)
        return;
    model_ = model;
    state_ = state;
    setAccessibleName(QString::fromStdString(model_.title));
    update();
}

void BenchmarkSpeedometer::paintEvent(QPaintEvent*)
{
    const auto& look = TarnelThemeManager::shared().appearance();
    const QColor colour = benchmarkColor(model_.color);
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);

    // Room below the hub for the value, the title and the state, inside the dial's opening.
    const double radius = std::max(40.0, std::min((width() - 16) / 2.0, (height() - 16) / 2.1));
    const double side = radius * 2;
    const QPointF centre(width() / 2.0, 8 + radius);
    const QRectF ring(centre.x() - radius, centre.y() - radius, side, side);
    const double thickness = std::max(8.0, radius * 0.09);
    const QRectF track = ring.adjusted(thickness / 2, thickness / 2, -thickness / 2, -thickness / 2);

    // The track, then the part up to the speed.
    p.setPen(QPen(look.separator, thickness, Qt::SolidLine, Qt::RoundCap));
    p.drawArc(track, static_cast<int>((startAngle - sweep) * 16), static_cast<int>(sweep * 16));
    const double at = position(model_.megabytesPerSecond, model_.maximum);
    if (at > 0) {
        QColor fill = colour;
        if (state_ == BenchmarkSpeedometerState::none)
            fill.setAlphaF(0.45f);
        p.setPen(QPen(fill, thickness, Qt::SolidLine, Qt::RoundCap));
        p.drawArc(track, static_cast<int>(startAngle * 16), static_cast<int>(-sweep * at * 16));
    }

    // The scale's labels.
    QFont small = font();
    small.setPointSizeF(std::max(7.0, radius / 13));
    p.setFont(small);
    p.setPen(look.secondaryText);
    for (double speed : labelledSpeeds) {
        const double angle = startAngle - sweep * position(speed, model_.maximum);
        const QPointF tick = onCircle(centre, radius - thickness * 2.6, angle);
        QRectF box(0, 0, 40, 16);
        box.moveCenter(tick);
        p.drawText(box, Qt::AlignCenter, speedLabel(speed));
    }

    // The needle.
    const double needleAngle = startAngle - sweep * at;
    const QPointF tip = onCircle(centre, radius * 0.5, needleAngle);
    p.setPen(QPen(look.text, std::max(2.0, radius / 45), Qt::SolidLine, Qt::RoundCap));
    p.drawLine(centre, tip);
    p.setBrush(look.text);
    p.setPen(Qt::NoPen);
    p.drawEllipse(centre, radius / 18, radius / 18);

    // The value and the title below the hub.
    QFont big = font();
    big.setPointSizeF(std::max(12.0, radius / 6.5));
    big.setWeight(QFont::DemiBold);
    p.setFont(big);
    p.setPen(look.text);
    const QString value = state_ == BenchmarkSpeedometerState::none && model_.megabytesPerSecond <= 0
                              ? QStringLiteral("–")
                              : QString::number(model_.megabytesPerSecond, 'f', model_.megabytesPerSecond < 100 ? 1 : 0);
    const QRectF valueBox(centre.x() - radius * 0.6, centre.y() + radius * 0.36, radius * 1.2, radius * 0.34);
    p.drawText(valueBox, Qt::AlignCenter, value);

    QFont caption = font();
    caption.setPointSizeF(std::max(8.0, radius / 11));
    p.setFont(caption);
    p.setPen(colour);
    QString title = QString::fromStdString(model_.title) + QStringLiteral(" · MB/s");
    const QRectF titleBox(centre.x() - radius, valueBox.bottom(), side, radius * 0.2);
    p.drawText(titleBox, Qt::AlignCenter, title);
    if (state_ == BenchmarkSpeedometerState::working) {
        p.setPen(look.secondaryText);
        const QRectF stateBox(centre.x() - radius, titleBox.bottom(), side, radius * 0.2);
        p.drawText(stateBox, Qt::AlignCenter,
                   QString::fromStdString(Localizable::shared().text("storage_benchmark_is_running", "Running…")));
    }
}

} // namespace tarnel::gui
