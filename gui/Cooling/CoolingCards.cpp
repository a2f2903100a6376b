#include "Cooling/CoolingCards.h"

#include "Collection/Card.h"
#include "Cooling/FanBlades.h"
#include "Theme/ThemeManager.h"

#include <cmath>

namespace tarnel::gui {

namespace {

QString qs(const std::string& text)
{
    return QString::fromStdString(text);
}

QColor blend(QColor from, QColor towards, double amount)
{
    auto mix = [amount](int a, int b) { return static_cast<int>(a + (b - a) * amount); };
    return QColor(mix(from.red(), towards.red()), mix(from.green(), towards.green()), mix(from.blue(), towards.blue()));
}

const QColor systemGreen(0x34, 0xc7, 0x59);
const QColor systemYellow(0xff, 0xcc, 0x00);
const QColor systemOrange(0xff, 0x95, 0x00);
const QColor systemRed(0xff, 0x3b, 0x30);

// Histories hold up to 200 readings; the chart keeps room for all of them.
constexpr int chartCapacity = static_cast<int>(coolingHistoryLength);
constexpr int fanSize = 24;
const QMargins cardMargins(16, 14, 16, 16);


void draw(CardContent& c, const FanViewItemModel& m)
{
    c.beginRow(8);
    c.space(fanSize + 8); // the blades sit here, over the card
    c.text(qs(m.title), {Role::sectionTitle, 1, true});
    c.end();
    c.beginRow(8);
    c.text(qs(m.chartModel.value), {Role::statValue});
    c.stretch(1);
    c.beginColumn(0);
    TextStyle right{Role::note};
    right.alignment = Qt::AlignRight;
    c.text(qs(m.chartModel.title), right);
    c.text(qs(m.chartModel.detail.value_or(std::string())), right);
    c.end();
    c.end();
    c.chart(m.chartModel.chartModel.values, colorOf(m.chartModel.chartModel.color), chartCapacity);
}

void draw(CardContent& c, const ModularBlockChartModel& m)
{
    c.beginRow(8);
    c.text(qs(m.title.value_or(std::string())), {Role::sectionTitle, 1, true});
    c.text(qs(m.average.value_or(std::string())), {Role::statValue});
    c.end();
    for (const auto& chart : m.chartModels) {
        c.beginRow(8);
        c.text(qs(chart.title), {std::nullopt, 1});
        c.text(qs(chart.value), {Role::note});
        c.end();
        c.chart(chart.chartModel.values, colorOf(chart.chartModel.color), chartCapacity);
    }
}

// The fan card with its turning blades in the title row's first place.
QWidget* fanCard(const CollectionViewCellModel& item)
{
    auto* card = cardRenderer<FanViewItemModel>(&draw, cardMargins)(item);
    if (const auto* model = item.as<FanViewItemModel>(); model && model->fanView) {
        auto* blades = new FanBlades(model->fanView, card);
        blades->move(cardMargins.left(), cardMargins.top());
    }
    return card;
}

void draw(CardContent& c, const CoolingNoticeModel& m)
{
    c.notice(qs(m.text));
}

} // namespace

QColor colorOf(CoolingChartColor color)
{
    using C = CoolingChartColor;
    switch (color) {
    case C::controlAccent:
        return TarnelThemeManager::shared().appearance().accent;
    case C::tempCoolBottom:
        return QColor(0x5a, 0xc8, 0xfa);
    case C::tempCoolTop:
        return QColor(0x30, 0xb0, 0xc7);
    case C::green:
        return systemGreen;
    case C::yellowTowardsGreen:
        return blend(systemYellow, systemGreen, 0.10);
    case C::orangeTowardsYellow:
        return blend(systemOrange, systemYellow, 0.25);
    case C::redTowardsOrange:
        return blend(systemRed, systemOrange, 0.50);
    case C::red:
        return systemRed;
    }
    return systemRed;
}

CellRenderers coolingRenderers()
{
    CellRenderers renderers;
    renderers.add<FanViewItemModel>(&fanCard);
    addCard<ModularBlockChartModel>(renderers, &draw);
    addCard<CoolingNoticeModel>(renderers, &draw);
    return renderers;
}

CollectionScreen* makeCoolingScreen(std::shared_ptr<CoolingEntitiesProvider> provider)
{
    return new CollectionScreen(std::move(provider), coolingRenderers());
}

} // namespace tarnel::gui
