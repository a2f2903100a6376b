#include "Theme/ThemeManager.h"

#include "QuendalFoundation/Logging/AppLogger.h"
#include "QuendalFoundation/Preferences/Preferences.h"

#include <QApplication>
#include <QFile>
#include <QPainter>
#include <QProcess>
#include <QSettings>
#include <QStandardPaths>
#include <QHash>
#include <QSvgRenderer>
#include <QWidget>

// The icons live in a static library, whose resources Qt does not register by itself.
static void registerResources()
{
    Q_INIT_RESOURCE(tarnel);
}

namespace tarnel::gui {

namespace {

constexpr const char* roleProperty = "tarnelRole";

QFont fontOf(const QWidget* widget, qreal scale, int pixels, QFont::Weight weight)
{
    QFont font = QApplication::font(widget);
    if (pixels > 0)
        font.setPixelSize(pixels);
    else
        font.setPointSizeF(font.pointSizeF() * scale);
    font.setWeight(weight);
    return font;
}

QString css(const QColor& color)
{
    return color.name(QColor::HexRgb);
}

} // namespace

Appearance Appearance::light()
{
    return {false,
            QColor(0xf6, 0xf6, 0xf8),
            QColor(0xec, 0xec, 0xf0),
            QColor(0xff, 0xff, 0xff),
            QColor(0x1d, 0x1d, 0x1f),
            QColor(0x6e, 0x6e, 0x73),
            QColor(0x2f, 0x6f, 0xeb),
            QColor(0xdc, 0xdc, 0xe0),
            QColor(0xd9, 0xe4, 0xfb),
            QColor(0xc7, 0xc7, 0xcc),
            QColor(0xa8, 0xa8, 0xae),
            QColor(0xee, 0xee, 0xf1)};
}

Appearance Appearance::darkAppearance()
{
    return {true,
            QColor(0x1e, 0x1e, 0x21),
            QColor(0x26, 0x26, 0x2a),
            QColor(0x2c, 0x2c, 0x30),
            QColor(0xf2, 0xf2, 0xf4),
            QColor(0x9a, 0x9a, 0xa0),
            QColor(0x4d, 0x8d, 0xff),
            QColor(0x3a, 0x3a, 0x40),
            QColor(0x2d, 0x3f, 0x63),
            QColor(0x74, 0x74, 0x7a),
            QColor(0x6a, 0x6a, 0x70),
            QColor(0x26, 0x26, 0x2a)};
}

TarnelThemeManager& TarnelThemeManager::shared()
{
    static TarnelThemeManager manager;
    return manager;
}

TarnelThemeManager::TarnelThemeManager() : theme_(quendal::storedTheme(quendal::Preferences::shared()))
{
    registerResources();
    apply();
}

void TarnelThemeManager::setTheme(quendal::Theme theme)
{
    quendal::storeTheme(quendal::Preferences::shared(), theme);
    theme_ = theme;
    apply();
}

bool TarnelThemeManager::isDark(quendal::Theme theme, bool desktopPrefersDark)
{
    switch (theme) {
    case quendal::Theme::light:
        return false;
    case quendal::Theme::dark:
        return true;
    case quendal::Theme::system:
        return desktopPrefersDark;
    }
    return false;
}

bool TarnelThemeManager::desktopPrefersDark()
{
    if (qEnvironmentVariable("GTK_THEME").contains(QStringLiteral(":dark"), Qt::CaseInsensitive))
        return true;
    if (!QStandardPaths::findExecutable(QStringLiteral("gsettings")).isEmpty()) {
        QProcess gsettings;
        gsettings.start(QStringLiteral("gsettings"),
                        {QStringLiteral("get"), QStringLiteral("org.gnome.desktop.interface"), QStringLiteral("color-scheme")});
        if (gsettings.waitForFinished(1000) && gsettings.exitCode() == 0)
            return gsettings.readAllStandardOutput().contains("prefer-dark");
    }
    const auto kdeglobals = QStandardPaths::locate(QStandardPaths::GenericConfigLocation, QStringLiteral("kdeglobals"));
    if (!kdeglobals.isEmpty()) {
        QSettings kde(kdeglobals, QSettings::IniFormat);
        return kde.value(QStringLiteral("General/ColorScheme")).toString().contains(QStringLiteral("Dark"));
    }
    return false;
}

void TarnelThemeManager::apply()
{
    const bool dark = isDark(theme_, theme_ == quendal::Theme::system && desktopPrefersDark());
    appearance_ = dark ? Appearance::darkAppearance() : Appearance::light();
    const auto& a = appearance_;
    QPalette palette;
    palette.setColor(QPalette::Window, a.window);
    palette.setColor(QPalette::WindowText, a.text);
    palette.setColor(QPalette::Base, a.card);
    palette.setColor(QPalette::AlternateBase, a.sidebar);
    palette.setColor(QPalette::Text, a.text);
    palette.setColor(QPalette::Button, a.card);
    palette.setColor(QPalette::ButtonText, a.text);
    palette.setColor(QPalette::Highlight, a.accent);
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::PlaceholderText, a.secondaryText);
    palette.setColor(QPalette::ToolTipBase, a.card);
    palette.setColor(QPalette::ToolTipText, a.text);
    palette.setColor(QPalette::Mid, a.separator);
    palette.setColor(QPalette::Disabled, QPalette::Text, a.secondaryText);
    palette.setColor(QPalette::Disabled, QPalette::ButtonText, a.secondaryText);
    palette.setColor(QPalette::Disabled, QPalette::WindowText, a.secondaryText);
    QApplication::setPalette(palette);

    qApp->setStyleSheet(QString());
    for (auto* widget : QApplication::allWidgets()) {
        const auto role = widget->property(roleProperty);
        if (role.isValid())
            restyle(widget, static_cast<Role>(role.toInt()));
    }
    quendal::AppLogger::info(std::string("Theme applied: ") + std::string(quendal::rawValue(theme_)) +
                             (dark ? " (dark)" : " (light)"));
}

void TarnelThemeManager::style(QWidget* widget, Role role)
{
    widget->setProperty(roleProperty, static_cast<int>(role));
    shared().restyle(widget, role);
}

void TarnelThemeManager::restyle(QWidget* widget, Role role) const
{
    const auto& a = appearance_;
    auto textColor = [widget](const QColor& color) {
        QPalette palette;
        palette.setColor(QPalette::WindowText, color);
        palette.setColor(QPalette::Text, color);
        widget->setPalette(palette);
    };
    switch (role) {
    case Role::pageTitle:
        widget->setFont(fontOf(widget, 1, 22, QFont::Bold));
        return textColor(a.text);
    case Role::sheetTitle:
        widget->setFont(fontOf(widget, 1, 17, QFont::Bold));
        return textColor(a.text);
    case Role::sectionTitle:
        widget->setFont(fontOf(widget, 1, 13, QFont::DemiBold));
        return textColor(a.text);
    case Role::note:
        return textColor(a.secondaryText);
    case Role::errorText:
        return textColor(QColor(0xd9, 0x3a, 0x2b));
    case Role::largeValue:
        widget->setFont(fontOf(widget, 2.0, 0, QFont::DemiBold));
        return textColor(a.text);
    case Role::statValue:
        widget->setFont(fontOf(widget, 1.3, 0, QFont::DemiBold));
        return textColor(a.text);
    case Role::sidebar:
        widget->setStyleSheet(
            QStringLiteral("#sidebar { background: %1; border-right: 1px solid %2; }"
                           "#sidebar QLabel#sectionHeader { color: %3; font-size: 11px; font-weight: 600; padding: 14px 18px 4px 18px; }"
                           "#sidebar QPushButton { text-align: left; border: none; border-radius: 6px; padding: 6px 10px;"
                           "  margin: 1px 8px; color: %4; background: transparent; font-size: 13px; }"
                           "#sidebar QPushButton:hover { background: %2; }"
                           "#sidebar QPushButton:checked { background: %5; color: %4; font-weight: 600; }")
                .arg(css(a.sidebar), css(a.separator), css(a.secondaryText), css(a.text), css(a.selection)));
        return;
    case Role::primaryButton:
        widget->setStyleSheet(QStringLiteral("QPushButton { background: %1; color: white; border: none; border-radius: 6px;"
                                             "  padding: 6px 18px; font-weight: 600; }"
                                             "QPushButton:disabled { background: %2; color: %3; }")
                                  .arg(css(a.accent), css(a.separator), css(a.secondaryText)));
        return;
    }
}

QIcon TarnelThemeManager::icon(const QString& name, const QColor& color, int size)
{
    // Cards are rebuilt on every update; parsing and rendering the same SVG each time would
    // cost more than the rest of the rebuild. Main thread only, like every widget.
    static QHash<QString, QIcon> rendered;
    const qreal ratio = qApp ? qApp->devicePixelRatio() : 1.0;
    const auto key = QStringLiteral("%1|%2|%3|%4").arg(name, color.name(QColor::HexArgb)).arg(size).arg(ratio);
    if (auto found = rendered.constFind(key); found != rendered.constEnd())
        return *found;
    QIcon made = renderIcon(name, color, size, ratio);
    rendered.insert(key, made);
    return made;
}

QIcon TarnelThemeManager::renderIcon(const QString& name, const QColor& color, int size, qreal ratio)
{
    QSvgRenderer renderer(QStringLiteral(":/icons/%1.svg").arg(name));
    QPixmap pixmap(QSize(size, size) * ratio);
    pixmap.setDevicePixelRatio(ratio);
    pixmap.fill(Qt::transparent);
    if (renderer.isValid()) {
        QPainter painter(&pixmap);
        renderer.render(&painter, QRectF(0, 0, size, size));
        // Recolour the black strokes to the wanted colour.
        painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
        painter.fillRect(QRectF(0, 0, size, size), color);
    }
    return QIcon(pixmap);
}

} // namespace tarnel::gui
