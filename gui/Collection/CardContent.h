#pragma once

#include "Charts/Charts.h"
#include "Theme/ThemeManager.h"

#include <QIcon>
#include <QString>

#include <optional>
#include <vector>

class QBoxLayout;
class QGridLayout;
class QLayout;
class QWidget;

namespace tarnel::gui {

// How one text of a card looks and sits.
struct TextStyle {
    std::optional<Role> role;
    int stretch = 0;
    bool wrap = false;
    bool selectable = false;
    Qt::Alignment alignment = {};
    int minimumHeight = 0;
};

// The widgets of one card, made by the card's drawing code the first time and bound to later
// models by the same code: on a bind every call sets the text, bar or chart of the widget it made
// before, in the same order, and containers are left as they are. A model of another shape (a
// row more or fewer, a text where a bar was) makes the bind fail, and the caller makes the card
// again. Updating in place is what keeps a two-second refresh of a card screen cheap.
class CardContent {
public:
    // Content laid into `root`, whose widgets are children of `owner`.
    CardContent(QWidget* owner, QBoxLayout* root);

    // Starts a bind of the widgets made so far; `finishBind` says whether the drawing code
    // visited each of them in order with a leaf of the same kind.
    void beginBind();
    bool finishBind();
    bool binding() const { return binding_; }

    void beginRow(int spacing = 8);
    void beginColumn(int spacing = 4);
    void beginGrid(int horizontalSpacing, int verticalSpacing);
    void end();
    void at(int row, int column); // the cell of the grid for the next leaf
    void stretch(int factor = 1);
    void space(int pixels);
    void columnStretch(int column, int factor);

    void text(const QString& text, TextStyle style = {});
    // A screen's empty-state note: centred, wrapped, tall enough to stand alone.
    void notice(const QString& text);
    void icon(const QIcon& icon, int size, Qt::Alignment alignment = {});
    void dot(const QColor& color);
    void bar(std::vector<PartsBar::Part> parts);
    void chart(std::vector<int> samples, const QColor& color, int capacity);

    std::size_t widgetCount() const { return leaves_.size(); }

private:
    enum class Kind { text, icon, dot, bar, chart };
    struct Leaf {
        Kind kind;
        QWidget* widget;
        qint64 key = 0; // the icon shown, so an unchanged one is not set again
    };

    // The widget of the next leaf when binding, null (and the bind failed) on a mismatch.
    QWidget* next(Kind kind);
    void place(QWidget* widget, int stretch, Qt::Alignment alignment = {});
    void open(QLayout* layout);

    QWidget* owner_;
    std::vector<QLayout*> layouts_;
    std::vector<Leaf> leaves_;
    std::size_t cursor_ = 0;
    int gridRow_ = 0;
    int gridColumn_ = 0;
    bool binding_ = false;
    bool failed_ = false;
};

} // namespace tarnel::gui
