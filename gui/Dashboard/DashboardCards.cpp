#include "Dashboard/DashboardCards.h"

#include "Charts/Charts.h"
#include "Collection/Card.h"
#include "Theme/ThemeManager.h"

#include "App/Localization/Localizable.h"

#include "QuendalFoundation/Formatting/ByteCountFormatter.h"

#include <QHash>

namespace tarnel::gui {

namespace {

QString qs(const std::string& text)
{
    return QString::fromStdString(text);
}

QColor colorOf(CardColor color)
{
    const auto& a = TarnelThemeManager::shared().appearance();
    switch (color) {
    case CardColor::systemPink:
        return QColor(0xff, 0x2d, 0x55);
    case CardColor::blueTowardsTeal:
        return QColor(0x0a, 0x88, 0xf9); // blue, a fifth of the way to teal
    case CardColor::systemOrange:
        return QColor(0xff, 0x95, 0x00);
    case CardColor::neutralFill:
        return a.neutralFill;
    case CardColor::gray:
        return QColor(0x8e, 0x8e, 0x93);
    case CardColor::black:
        return a.text;
    }
    return a.text;
}

QIcon lookUpIcon(const std::string& name, const QString& fallback)
{
    if (!name.empty()) {
        if (name.front() == '/') {
            QIcon file(qs(name));
            if (!file.isNull())
                return file;
        }
        auto themed = QIcon::fromTheme(qs(name));
        if (!themed.isNull())
            return themed;
    }
    return TarnelThemeManager::icon(fallback, TarnelThemeManager::shared().appearance().secondaryText, 16);
}

// Process icons come from the icon theme, whose lookups touch the file system; the same few
// processes come back every two seconds.
QIcon themedIcon(const std::string& name, const QString& fallback)
{
    static QHash<QString, QIcon> found;
    const auto key = qs(name) + QLatin1Char('|') + fallback;
    if (auto it = found.constFind(key); it != found.constEnd())
        return *it;
    auto icon = lookUpIcon(name, fallback);
    found.insert(key, icon);
    return icon;
}

// The title row every card starts with.
void title(CardContent& c, const QString& text, const QString& icon)
{
    c.beginRow(8);
    c.icon(TarnelThemeManager::icon(icon, TarnelThemeManager::shared().appearance().accent, 18), 18);
    c.text(text, {Role::sectionTitle, 1, true});
    c.end();
}

// A name with its value on the right.
void row(CardContent& c, const QString& name, const QString& value, const QIcon& icon = {},
         std::optional<QColor> dot = std::nullopt)
{
    c.beginRow(8);
    if (!icon.isNull())
        c.icon(icon, 16);
    if (dot)
        c.dot(*dot);
    c.text(name, {std::nullopt, 1});
    c.text(value, {Role::note});
    c.end();
}

QColor accent()
{
    return TarnelThemeManager::shared().appearance().accent;
}

void appList(CardContent& c, const std::vector<AppEntry>& apps)
{
    if (apps.empty())
        return;
    c.text(qs(localized("dashboard_top_processes")), {Role::note});
    for (const auto& app : apps)
        row(c, qs(app.title), qs(app.formattedValue), themedIcon(app.icon, QStringLiteral("monitor")));
}

void draw(CardContent& c, const BatteryOverviewModel& m)
{
    title(c, qs(m.title), QStringLiteral("battery"));
    const int charge = m.chargePercentage.value_or(0);
    c.text(m.chargePercentage ? qs(DashboardProvider::percentText(charge)) : QStringLiteral("-"), {Role::largeValue});
    c.bar({{charge / 100.0, charge <= 20 ? QColor(0xff, 0x3b, 0x30) : QColor(0x34, 0xc7, 0x59)}});
    if (m.healthPercentage)
        row(c, QStringLiteral("Health"), qs(DashboardProvider::percentText(int(*m.healthPercentage))));
}

void draw(CardContent& c, const StorageOverviewModel& m)
{
    title(c, qs(localized("dashboard_storage_title")), QStringLiteral("storage"));
    for (const auto& entry : m.entries) {
        const auto used = quendal::ByteCountFormatter::string(static_cast<std::int64_t>(entry.usedBytes));
        const auto total = quendal::ByteCountFormatter::string(static_cast<std::int64_t>(entry.totalBytes));
        row(c, qs(entry.title), qs(used + " of " + total), themedIcon(entry.icon, QStringLiteral("storage")));
        const double fraction = entry.totalBytes ? double(entry.usedBytes) / double(entry.totalBytes) : 0;
        c.bar({{fraction, accent()}});
    }
}

// A card that waits for its first values.
void waiting(CardContent& c, const char* titleKey, const QString& icon, int height)
{
    title(c, qs(localized(titleKey)), icon);
    TextStyle style{Role::note};
    style.alignment = Qt::AlignCenter;
    style.minimumHeight = height;
    c.text(qs(localized("dashboard_waiting")), style);
}

void draw(CardContent& c, const PlaceholderStorageOverviewModel&)
{
    waiting(c, "dashboard_storage_title", QStringLiteral("storage"), 60);
}

void draw(CardContent& c, const PlaceholderDeviceOverviewModel& m)
{
    const int height = m.style == PlaceholderDeviceOverviewModel::Style::large ? 160 : 60;
    switch (m.device) {
    case PlaceholderDeviceOverviewModel::Device::cpu:
        return waiting(c, "dashboard_cpu_title", QStringLiteral("monitor"), height);
    case PlaceholderDeviceOverviewModel::Device::ram:
        return waiting(c, "dashboard_ram_title", QStringLiteral("dashboard-macbook"), height);
    }
}

void draw(CardContent& c, const CPUOverviewModel& m)
{
    title(c, qs(m.title), QStringLiteral("monitor"));
    c.beginRow(8);
    c.text(qs(DashboardProvider::percentText(int(m.lastUsagePercent))), {Role::largeValue});
    c.stretch(1);
    c.text(qs(m.formattedTemperature.value_or("-")), {Role::note});
    c.end();
    c.chart(m.usageHistory, colorOf(CardColor::blueTowardsTeal), 100);
    for (const auto& entry : m.chartEntries)
        row(c, qs(entry.title), qs(DashboardProvider::percentText(int(entry.percent))), {}, colorOf(entry.color));
    appList(c, m.appEntries);
}

void draw(CardContent& c, const RAMOverviewModel& m)
{
    title(c, qs(localized("dashboard_ram_title")), QStringLiteral("dashboard-macbook"));
    std::vector<PartsBar::Part> parts;
    for (const auto& e : m.usageEntries)
        parts.push_back({e.percent / 100.0, colorOf(e.color)});
    c.bar(std::move(parts));
    for (const auto& e : m.usageEntries)
        row(c, qs(e.title), qs(e.formattedValue), {}, colorOf(e.color));
    row(c, qs(m.freeEntry.title), qs(m.freeEntry.formattedValue), {}, colorOf(m.freeEntry.color));
    for (const auto& e : m.barEntries) {
        row(c, qs(e.title), qs(e.formattedValue));
        c.bar({{e.percent / 100.0, accent()}});
    }
    appList(c, m.appEntries);
}

void draw(CardContent& c, const GPUOverviewModel& m)
{
    title(c, qs(m.title), QStringLiteral("graphics"));
    c.beginGrid(16, 4);
    int column = 0;
    for (const auto* s : {&m.usageStat, &m.memoryStat, &m.temperatureStat}) {
        c.at(0, column);
        c.text(qs(s->title), {Role::note});
        c.at(1, column);
        c.text(qs(s->formattedValue), {Role::statValue});
        c.at(2, column);
        c.bar({{s->fraction.value_or(0), accent()}});
        ++column;
    }
    c.end();
    c.chart(m.usageHistory, colorOf(CardColor::systemPink), 100);
    for (const auto& s : m.bottomStats)
        row(c, qs(s.title), qs(s.formattedValue));
}

void draw(CardContent& c, const LargeEntityHeaderModel& m)
{
    c.beginRow(20);
    c.icon(TarnelThemeManager::icon(QStringLiteral("dashboard-macbook"), accent(), 72), 72, Qt::AlignTop);
    c.beginColumn(4);
    TextStyle titleStyle{Role::sheetTitle};
    titleStyle.wrap = true;
    c.text(qs(m.title), titleStyle);
    c.text(qs(m.subtitle + (m.sizeTitle ? "  ·  " + *m.sizeTitle : "")), {Role::note});
    c.space(8);
    c.beginGrid(14, 3);
    for (std::size_t i = 0; i < m.infoTable.size(); ++i) {
        const int r = static_cast<int>(i % 5);
        const int col = static_cast<int>(i / 5) * 2;
        c.at(r, col);
        c.text(qs(m.infoTable[i].title), {Role::note});
        c.at(r, col + 1);
        TextStyle value;
        value.selectable = true;
        c.text(qs(m.infoTable[i].value), value);
    }
    c.columnStretch(1, 1);
    c.columnStretch(3, 1);
    c.end();
    c.end();
    c.end();
}

// One card for each model of the list; a model without its `draw` does not compile.
template <class... Models>
CellRenderers cardsFor(DashboardModelList<Models...>)
{
    CellRenderers renderers;
    (addCard<Models>(renderers, &draw, std::is_same_v<Models, LargeEntityHeaderModel> ? QMargins(20, 18, 20, 18)
                                                                                       : QMargins(16, 14, 16, 16)),
     ...);
    return renderers;
}

} // namespace

CellRenderers dashboardRenderers()
{
    return cardsFor(DashboardModels{});
}

CollectionScreen* makeDashboardScreen(std::shared_ptr<DashboardProvider> provider)
{
    return new CollectionScreen(std::move(provider), dashboardRenderers());
}

} // namespace tarnel::gui
