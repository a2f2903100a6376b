#include "Power/PowerCards.h"

#include "Charts/Charts.h"
#include "Collection/Card.h"
#include "Theme/ThemeManager.h"

#include <algorithm>

namespace tarnel::gui {

namespace {

QString qs(const std::string& text)
{
    return QString::fromStdString(text);
}

double share(std::int64_t part, std::int64_t whole)
{
    return whole > 0 ? std::clamp(static_cast<double>(part) / static_cast<double>(whole), 0.0, 1.0) : 0.0;
}

void draw(CardContent& c, const BatteryHeaderModel& m)
{
    const auto& a = TarnelThemeManager::shared().appearance();
    c.beginRow(20);
    c.icon(TarnelThemeManager::icon(QStringLiteral("battery"), a.accent, 64), 64, Qt::AlignTop);
    c.beginColumn(4);
    c.beginRow(8);
    c.text(qs(m.title), {Role::sheetTitle, 1, true});
    c.text(qs(m.subtitle), {Role::largeValue});
    c.end();
    c.text(qs(m.detail), {Role::note});
    c.beginRow(6);
    c.text(qs(m.sizeDetailTitle), {Role::note});
    c.text(qs(m.sizeTitle), {std::nullopt, 1});
    c.end();
    // Charge held, then what the cell can still hold, against the design capacity.
    const auto& bar = m.bar;
    const QColor charge = bar.isCharging ? QColor(0x34, 0xc7, 0x59) : a.accent;
    c.bar({{share(bar.currentCapacity, bar.designCapacity), charge},
           {share(bar.maximumCapacity - bar.currentCapacity, bar.designCapacity), a.separator}});
    c.end();
    c.end();
}

void draw(CardContent& c, const BadgeCardModel& m)
{
    const QString icon = m.image == "health-badge-icon" ? QStringLiteral("shield-check") : QStringLiteral("cooling");
    c.beginRow(12);
    c.icon(TarnelThemeManager::icon(icon, colorOf(m.topColor), 32), 32);
    c.text(qs(m.title), {Role::largeValue, 1});
    c.end();
    TextStyle description{Role::note};
    description.wrap = true;
    c.text(qs(m.description), description);
    c.bar({{0.5, colorOf(m.topColor)}, {0.5, colorOf(m.bottomColor)}});
}

void draw(CardContent& c, const FactTableModel& m)
{
    c.beginGrid(24, 6);
    for (std::size_t i = 0; i < m.rows.size(); ++i) {
        const int row = static_cast<int>(i);
        c.at(row, 0);
        c.text(qs(m.rows[i].title), {Role::note});
        c.at(row, 1);
        TextStyle value;
        value.selectable = true;
        value.alignment = Qt::AlignRight;
        c.text(qs(m.rows[i].value), value);
    }
    c.columnStretch(1, 1);
    c.end();
}

void draw(CardContent& c, const PowerNoticeModel& m)
{
    c.notice(qs(m.text));
}

} // namespace

QColor colorOf(BadgeColor color)
{
    using C = BadgeColor;
    switch (color) {
    case C::healthTop:
        return QColor(0x34, 0xc7, 0x59);
    case C::healthBottom:
        return QColor(0x30, 0xb0, 0xc7);
    case C::tempCoolTop:
        return QColor(0x30, 0xb0, 0xc7);
    case C::tempCoolBottom:
        return QColor(0x5a, 0xc8, 0xfa);
    case C::tempHotTop:
        return QColor(0xff, 0x95, 0x00);
    case C::tempHotBottom:
        return QColor(0xff, 0xcc, 0x00);
    case C::tempDangerTop:
        return QColor(0xff, 0x3b, 0x30);
    case C::tempDangerBottom:
        return QColor(0xff, 0x95, 0x00);
    case C::systemLightGray:
        return QColor(0xc7, 0xc7, 0xcc);
    case C::systemGray:
        return QColor(0x8e, 0x8e, 0x93);
    }
    return QColor(0x8e, 0x8e, 0x93);
}

CellRenderers powerRenderers()
{
    CellRenderers renderers;
    addCard<BatteryHeaderModel>(renderers, &draw, QMargins(20, 18, 20, 18));
    addCard<BadgeCardModel>(renderers, &draw);
    addCard<FactTableModel>(renderers, &draw);
    addCard<PowerNoticeModel>(renderers, &draw);
    return renderers;
}

CollectionScreen* makePowerScreen(std::shared_ptr<PowerEntitiesProvider> provider)
{
    return new CollectionScreen(std::move(provider), powerRenderers());
}

} // namespace tarnel::gui
