#include "PanelWindow.h"

#include <QFrame>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QScreen>
#include <QVBoxLayout>

namespace tarnel::monitor {

namespace {

QString text(const std::string& value) { return QString::fromStdString(value); }

QWidget* widgetCard(const ShownWidget& widget, QWidget* parent)
{
    auto* card = new QFrame(parent);
    card->setObjectName(QStringLiteral("widgetCard"));
    card->setFrameShape(QFrame::StyledPanel);
    auto* layout = new QVBoxLayout(card);
    layout->setContentsMargins(10, 8, 10, 8);
    layout->setSpacing(2);
    auto* title = new QLabel(text(widget.title), card);
    auto font = title->font();
    font.setBold(true);
    title->setFont(font);
    auto* missing = new QLabel(QString::fromLatin1(missingDataText), card);
    missing->setObjectName(QStringLiteral("missingData"));
    missing->setForegroundRole(QPalette::PlaceholderText);
    layout->addWidget(title);
    layout->addWidget(missing);
    return card;
}

} // namespace

PanelWindow::PanelWindow(const ShownPanel& panel, Style style, QWidget* parent) : QWidget(parent), style_(style)
{
    setWindowFlags(style == Style::popup ? Qt::Popup | Qt::FramelessWindowHint : Qt::Window);
    setWindowTitle(text(panel.name));
    setObjectName(QStringLiteral("panel"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(12, 12, 12, 12);
    layout->setSpacing(8);
    auto* header = new QLabel(text(panel.name), this);
    auto font = header->font();
    font.setBold(true);
    font.setPointSizeF(font.pointSizeF() * 1.2);
    header->setFont(font);
    layout->addWidget(header);
    if (panel.panelWidgets.empty())
        layout->addWidget(new QLabel(QString::fromLatin1(missingWidgetsText), this));
    for (const auto& widget : panel.panelWidgets)
        layout->addWidget(widgetCard(widget, this));
    layout->addStretch();
    setMinimumWidth(260);
}

void PanelWindow::popUpAt(const QRect& anchor)
{
    adjustSize();
    auto* screen = QGuiApplication::screenAt(anchor.center());
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    const auto area = screen->availableGeometry();
    QPoint at(anchor.left(), anchor.bottom() + 4);
    // A panel at the bottom of the screen opens its popup upwards.
    if (at.y() + height() > area.bottom())
        at.setY(anchor.top() - height() - 4);
    at.setX(std::clamp(at.x(), area.left(), std::max(area.left(), area.right() - width())));
    at.setY(std::clamp(at.y(), area.top(), std::max(area.top(), area.bottom() - height())));
    move(at);
    show();
    activateWindow();
}

void PanelWindow::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Escape && style_ == Style::popup) {
        close();
        return;
    }
    QWidget::keyPressEvent(event);
}

QPixmap statusImage(const ShownPanel& panel, int height, qreal devicePixelRatio)
{
    // Tray hosts give each item a square; the first status widget fills it, a dot for each of
    // the others says there is more in the tooltip and the popup.
    QPixmap image(QSize(height, height) * devicePixelRatio);
    image.setDevicePixelRatio(devicePixelRatio);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::TextAntialiasing);
    const QColor ink(QStringLiteral("#f2f2f2"));
    QPainterPath tile;
    tile.addRoundedRect(QRectF(0.5, 0.5, height - 1.0, height - 1.0), height / 5.0, height / 5.0);
    painter.fillPath(tile, QColor(QStringLiteral("#2d3440")));
    painter.setPen(ink);
    QFont font = painter.font();
    font.setBold(true);
    font.setPixelSize(std::max(8, height * 9 / 22));
    painter.setFont(font);
    if (panel.statusWidgets.empty()) {
        painter.drawText(QRectF(0, 0, height, height), Qt::AlignCenter, QStringLiteral("?"));
        return image;
    }
    const auto& first = panel.statusWidgets.front();
    const QRectF cell(0, 0, height, height);
    const QString title = text(first.title).left(3).toUpper();
    painter.drawText(cell.adjusted(0, 0, 0, -height / 2.0), Qt::AlignHCenter | Qt::AlignBottom, title);
    // No value yet: a dash where the value will stand.
    painter.drawText(cell.adjusted(0, height / 2.0, 0, -height / 8.0), Qt::AlignHCenter | Qt::AlignVCenter,
                     QStringLiteral("–"));
    const int more = static_cast<int>(panel.statusWidgets.size()) - 1;
    const qreal dot = std::max(1.5, height / 14.0);
    for (int i = 0; i < std::min(more, 4); ++i) {
        const qreal x = height / 2.0 + (i - (std::min(more, 4) - 1) / 2.0) * dot * 2.5;
        painter.setBrush(ink);
        painter.setPen(Qt::NoPen);
        painter.drawEllipse(QPointF(x, height - dot * 1.8), dot / 1.4, dot / 1.4);
    }
    return image;
}

QString statusText(const ShownPanel& panel)
{
    QStringList lines{text(panel.name)};
    if (panel.statusWidgets.empty())
        lines << QString::fromLatin1(missingWidgetsText);
    for (const auto& widget : panel.statusWidgets)
        lines << text(widget.title) + QStringLiteral(": ") + QString::fromLatin1(missingDataText);
    return lines.join(QLatin1Char('\n'));
}

} // namespace tarnel::monitor
