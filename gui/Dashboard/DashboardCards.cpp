#include "Dashboard/DashboardCards.h"

#include "Charts/Charts.h"
#include "Theme/ThemeManager.h"

#include "App/Localization/Localizable.h"

#include "QuendalFoundation/Formatting/ByteCountFormatter.h"

#include <QFrame>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QHash>
#include <QLabel>
#include <QPainter>
#include <QVBoxLayout>

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
        return a.separator;
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

// A coloured legend dot, painted rather than styled: a style sheet per label is slow to apply.
class Dot : public QWidget {
public:
    Dot(QColor color, QWidget* parent) : QWidget(parent), color_(color) { setFixedSize(8, 8); }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(color_);
        painter.drawEllipse(rect());
    }

private:
    QColor color_;
};

struct Card {
    QFrame* frame;
    QVBoxLayout* layout;
};

Card card(const QString& title, const QString& icon)
{
    auto* frame = new QFrame;
    frame->setObjectName(QStringLiteral("card"));
    auto* layout = new QVBoxLayout(frame);
    layout->setContentsMargins(16, 14, 16, 16);
    layout->setSpacing(10);
    auto* header = new QHBoxLayout;
    header->setSpacing(8);
    auto* glyph = new QLabel(frame);
    glyph->setPixmap(TarnelThemeManager::icon(icon, TarnelThemeManager::shared().appearance().accent, 18).pixmap(18, 18));
    auto* label = new QLabel(title, frame);
    label->setObjectName(QStringLiteral("sectionTitle"));
    label->setWordWrap(true);
    header->addWidget(glyph);
    header->addWidget(label, 1);
    layout->addLayout(header);
    return {frame, layout};
}

QLabel* big(const QString& text, QWidget* parent)
{
    auto* label = new QLabel(text, parent);
    QFont font = label->font();
    font.setPointSizeF(font.pointSizeF() * 2.0);
    font.setWeight(QFont::DemiBold);
    label->setFont(font);
    return label;
}

QLabel* note(const QString& text, QWidget* parent)
{
    auto* label = new QLabel(text, parent);
    label->setObjectName(QStringLiteral("note"));
    return label;
}

// A name with its value on the right.
QHBoxLayout* row(const QString& title, const QString& value, QWidget* parent, const QIcon& icon = {},
                 std::optional<QColor> dot = std::nullopt)
{
    auto* line = new QHBoxLayout;
    line->setSpacing(8);
    if (!icon.isNull()) {
        auto* glyph = new QLabel(parent);
        glyph->setPixmap(icon.pixmap(16, 16));
        line->addWidget(glyph);
    }
    if (dot) {
        line->addWidget(new Dot(*dot, parent));
    }
    auto* name = new QLabel(title, parent);
    name->setTextInteractionFlags(Qt::NoTextInteraction);
    line->addWidget(name, 1);
    auto* number = new QLabel(value, parent);
    number->setObjectName(QStringLiteral("note"));
    line->addWidget(number);
    return line;
}

void appList(const std::vector<AppEntry>& apps, QVBoxLayout* layout, QWidget* parent)
{
    if (apps.empty())
        return;
    layout->addWidget(note(qs(localized("dashboard_top_processes")), parent));
    for (const auto& app : apps)
        layout->addLayout(row(qs(app.title), qs(app.formattedValue), parent, themedIcon(app.icon, QStringLiteral("monitor"))));
}

QWidget* battery(const CollectionViewCellModel& item)
{
    const auto& m = *item.as<BatteryOverviewModel>();
    auto c = card(qs(m.title), QStringLiteral("battery"));
    const int charge = m.chargePercentage.value_or(0);
    c.layout->addWidget(big(m.chargePercentage ? qs(DashboardProvider::percentText(charge)) : QStringLiteral("-"), c.frame));
    c.layout->addWidget(new PartsBar({{charge / 100.0, charge <= 20 ? QColor(0xff, 0x3b, 0x30) : QColor(0x34, 0xc7, 0x59)}},
                                     c.frame));
    if (m.healthPercentage)
        c.layout->addLayout(row(QStringLiteral("Health"), qs(DashboardProvider::percentText(int(*m.healthPercentage))), c.frame));
    return c.frame;
}

QWidget* storage(const CollectionViewCellModel& item)
{
    const auto& m = *item.as<StorageOverviewModel>();
    auto c = card(qs(localized("dashboard_storage_title")), QStringLiteral("storage"));
    for (const auto& entry : m.entries) {
        const auto used = quendal::ByteCountFormatter::string(static_cast<std::int64_t>(entry.usedBytes));
        const auto total = quendal::ByteCountFormatter::string(static_cast<std::int64_t>(entry.totalBytes));
        c.layout->addLayout(row(qs(entry.title), qs(used + " of " + total), c.frame, themedIcon(entry.icon, QStringLiteral("storage"))));
        const double fraction = entry.totalBytes ? double(entry.usedBytes) / double(entry.totalBytes) : 0;
        c.layout->addWidget(new PartsBar({{fraction, TarnelThemeManager::shared().appearance().accent}}, c.frame));
    }
    return c.frame;
}

QWidget* placeholder(const QString& title, const QString& icon, int height)
{
    auto c = card(title, icon);
    auto* waiting = note(qs(localized("dashboard_waiting")), c.frame);
    waiting->setAlignment(Qt::AlignCenter);
    waiting->setMinimumHeight(height);
    c.layout->addWidget(waiting);
    return c.frame;
}

QWidget* cpu(const CollectionViewCellModel& item)
{
    const auto& m = *item.as<CPUOverviewModel>();
    auto c = card(qs(m.title), QStringLiteral("monitor"));
    auto* top = new QHBoxLayout;
    top->addWidget(big(qs(DashboardProvider::percentText(int(m.lastUsagePercent))), c.frame));
    top->addStretch(1);
    top->addWidget(note(qs(m.formattedTemperature.value_or("-")), c.frame));
    c.layout->addLayout(top);
    c.layout->addWidget(new HistoryChart(m.usageHistory, colorOf(CardColor::blueTowardsTeal), 100, c.frame));
    for (const auto& entry : m.chartEntries)
        c.layout->addLayout(row(qs(entry.title), qs(DashboardProvider::percentText(int(entry.percent))), c.frame, {},
                                colorOf(entry.color)));
    appList(m.appEntries, c.layout, c.frame);
    return c.frame;
}

QWidget* ram(const CollectionViewCellModel& item)
{
    const auto& m = *item.as<RAMOverviewModel>();
    auto c = card(qs(localized("dashboard_ram_title")), QStringLiteral("dashboard-macbook"));
    std::vector<PartsBar::Part> parts;
    for (const auto& e : m.usageEntries)
        parts.push_back({e.percent / 100.0, colorOf(e.color)});
    c.layout->addWidget(new PartsBar(parts, c.frame));
    for (const auto& e : m.usageEntries)
        c.layout->addLayout(row(qs(e.title), qs(e.formattedValue), c.frame, {}, colorOf(e.color)));
    c.layout->addLayout(row(qs(m.freeEntry.title), qs(m.freeEntry.formattedValue), c.frame, {}, colorOf(m.freeEntry.color)));
    for (const auto& e : m.barEntries) {
        c.layout->addLayout(row(qs(e.title), qs(e.formattedValue), c.frame));
        c.layout->addWidget(new PartsBar({{e.percent / 100.0, TarnelThemeManager::shared().appearance().accent}}, c.frame));
    }
    appList(m.appEntries, c.layout, c.frame);
    return c.frame;
}

QWidget* gpu(const CollectionViewCellModel& item)
{
    const auto& m = *item.as<GPUOverviewModel>();
    auto c = card(qs(m.title), QStringLiteral("graphics"));
    auto* stats = new QGridLayout;
    stats->setHorizontalSpacing(16);
    int column = 0;
    for (const auto* s : {&m.usageStat, &m.memoryStat, &m.temperatureStat}) {
        stats->addWidget(note(qs(s->title), c.frame), 0, column);
        auto* value = new QLabel(qs(s->formattedValue), c.frame);
        QFont font = value->font();
        font.setWeight(QFont::DemiBold);
        font.setPointSizeF(font.pointSizeF() * 1.3);
        value->setFont(font);
        stats->addWidget(value, 1, column);
        stats->addWidget(new PartsBar({{s->fraction.value_or(0), TarnelThemeManager::shared().appearance().accent}}, c.frame), 2,
                         column);
        ++column;
    }
    c.layout->addLayout(stats);
    c.layout->addWidget(new HistoryChart(m.usageHistory, colorOf(CardColor::systemPink), 100, c.frame));
    for (const auto& s : m.bottomStats)
        c.layout->addLayout(row(qs(s.title), qs(s.formattedValue), c.frame));
    return c.frame;
}

QWidget* header(const CollectionViewCellModel& item)
{
    const auto& m = *item.as<LargeEntityHeaderModel>();
    auto* frame = new QFrame;
    frame->setObjectName(QStringLiteral("card"));
    auto* layout = new QHBoxLayout(frame);
    layout->setContentsMargins(20, 18, 20, 18);
    layout->setSpacing(20);
    auto* image = new QLabel(frame);
    image->setPixmap(TarnelThemeManager::icon(QStringLiteral("dashboard-macbook"), TarnelThemeManager::shared().appearance().accent, 72)
                         .pixmap(72, 72));
    image->setAlignment(Qt::AlignTop);
    layout->addWidget(image);
    auto* text = new QVBoxLayout;
    text->setSpacing(4);
    auto* title = new QLabel(qs(m.title), frame);
    title->setObjectName(QStringLiteral("sheetTitle"));
    title->setWordWrap(true);
    text->addWidget(title);
    text->addWidget(note(qs(m.subtitle + (m.sizeTitle ? "  ·  " + *m.sizeTitle : "")), frame));
    auto* table = new QGridLayout;
    table->setHorizontalSpacing(14);
    table->setVerticalSpacing(3);
    for (std::size_t i = 0; i < m.infoTable.size(); ++i) {
        const int r = static_cast<int>(i % 5);
        const int col = static_cast<int>(i / 5) * 2;
        table->addWidget(note(qs(m.infoTable[i].title), frame), r, col);
        auto* value = new QLabel(qs(m.infoTable[i].value), frame);
        value->setTextInteractionFlags(Qt::TextSelectableByMouse);
        table->addWidget(value, r, col + 1);
    }
    table->setColumnStretch(1, 1);
    table->setColumnStretch(3, 1);
    text->addSpacing(8);
    text->addLayout(table);
    layout->addLayout(text, 1);
    return frame;
}

} // namespace

std::map<std::string, CollectionScreen::Renderer> dashboardRenderers()
{
    return {
        {"header", header},
        {"battery", battery},
        {"storage", storage},
        {"storagePlaceholder",
         [](const CollectionViewCellModel&) { return placeholder(qs(localized("dashboard_storage_title")), QStringLiteral("storage"), 60); }},
        {"cpu", cpu},
        {"ram", ram},
        {"gpu", gpu},
        {"cpuPlaceholder",
         [](const CollectionViewCellModel&) { return placeholder(qs(localized("dashboard_cpu_title")), QStringLiteral("monitor"), 160); }},
        {"ramPlaceholder",
         [](const CollectionViewCellModel&) {
             return placeholder(qs(localized("dashboard_ram_title")), QStringLiteral("dashboard-macbook"), 160);
         }},
    };
}

CollectionScreen* makeDashboardScreen(std::shared_ptr<DashboardProvider> provider)
{
    return new CollectionScreen(std::move(provider), dashboardRenderers());
}

} // namespace tarnel::gui
