#pragma once

#include "QuendalFoundation/Preferences/Theme.h"

#include <QColor>
#include <QIcon>
#include <QPalette>
#include <QString>

class QWidget;

namespace tarnel::gui {

// The colours of one appearance, shared by the palette and the style sheet.
struct Appearance {
    bool dark = false;
    QColor window, sidebar, card, text, secondaryText, accent, separator, selection;
    // A fill that must stand out on a card (legend dots, empty bar parts), and the scroll bar's
    // handle on its track.
    QColor neutralFill, scrollHandle, scrollTrack;
    static Appearance light();
    static Appearance darkAppearance();
};

// What a widget is to the theme. Text roles are fonts and palette colours; the sidebar and the
// primary button carry a style sheet of their own. No style sheet is set on the application:
// under one, every widget Qt makes or paints goes through the style sheet engine, which made
// each card screen update several times slower.
enum class Role { pageTitle, sheetTitle, sectionTitle, note, errorText, largeValue, statValue, sidebar, primaryButton };

// Applies the stored theme to the whole application: light, dark, or whatever the desktop
// prefers. Main thread only.
class TarnelThemeManager {
public:
    static TarnelThemeManager& shared();

    quendal::Theme theme() const { return theme_; }
    // Stores the raw value first, then applies, even when the theme does not change.
    void setTheme(quendal::Theme theme);
    void apply();

    const Appearance& appearance() const { return appearance_; }
    // Whether the desktop asks for dark colours (GNOME's color-scheme, GTK_THEME, KDE's scheme).
    static bool desktopPrefersDark();
    static bool isDark(quendal::Theme theme, bool desktopPrefersDark);

    // Styles `widget` for `role` now, and again whenever the theme changes.
    static void style(QWidget* widget, Role role);

    // An icon of the application's assets drawn in `color`.
    static QIcon icon(const QString& name, const QColor& color, int size = 18);

private:
    void restyle(QWidget* widget, Role role) const;
    static QIcon renderIcon(const QString& name, const QColor& color, int size, qreal ratio);
    TarnelThemeManager();
    quendal::Theme theme_;
    Appearance appearance_ = Appearance::light();
};

} // namespace tarnel::gui
