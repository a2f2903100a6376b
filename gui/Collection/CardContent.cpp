#include "Collection/CardContent.h"

#include <QBoxLayout>
#include <QGridLayout>
#include <QLabel>
#include <QPainter>

namespace tarnel::gui {

namespace {

// A coloured legend dot, painted rather than styled.
class Dot : public QWidget {
public:
    Dot(QColor color, QWidget* parent) : QWidget(parent), color_(color) { setFixedSize(8, 8); }
    void setColor(const QColor& color)
    {
        if (color != color_) {
            color_ = color;
            update();
        }
    }

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

void setPixmap(QLabel* label, const QIcon& icon, int size)
{
    label->setPixmap(icon.pixmap(size, size));
}

} // namespace

CardContent::CardContent(QWidget* owner, QBoxLayout* root) : owner_(owner), layouts_{root} {}

void CardContent::beginBind()
{
    binding_ = true;
    failed_ = false;
    cursor_ = 0;
}

bool CardContent::finishBind()
{
    binding_ = false;
    return !failed_ && cursor_ == leaves_.size();
}

QWidget* CardContent::next(Kind kind)
{
    if (failed_ || cursor_ >= leaves_.size() || leaves_[cursor_].kind != kind) {
        failed_ = true;
        return nullptr;
    }
    return leaves_[cursor_++].widget;
}

void CardContent::open(QLayout* layout)
{
    if (auto* grid = qobject_cast<QGridLayout*>(layouts_.back()))
        grid->addLayout(layout, gridRow_, gridColumn_);
    else
        static_cast<QBoxLayout*>(layouts_.back())->addLayout(layout);
    layouts_.push_back(layout);
}

void CardContent::beginRow(int spacing)
{
    if (binding_)
        return;
    auto* row = new QHBoxLayout;
    row->setSpacing(spacing);
    open(row);
}

void CardContent::beginColumn(int spacing)
{
    if (binding_)
        return;
    auto* column = new QVBoxLayout;
    column->setSpacing(spacing);
    open(column);
}

void CardContent::beginGrid(int horizontalSpacing, int verticalSpacing)
{
    if (binding_)
        return;
    auto* grid = new QGridLayout;
    grid->setHorizontalSpacing(horizontalSpacing);
    grid->setVerticalSpacing(verticalSpacing);
    open(grid);
}

void CardContent::end()
{
    if (!binding_ && layouts_.size() > 1)
        layouts_.pop_back();
}

void CardContent::at(int row, int column)
{
    gridRow_ = row;
    gridColumn_ = column;
}

void CardContent::stretch(int factor)
{
    if (auto* box = qobject_cast<QBoxLayout*>(layouts_.back()); box && !binding_)
        box->addStretch(factor);
}

void CardContent::space(int pixels)
{
    if (auto* box = qobject_cast<QBoxLayout*>(layouts_.back()); box && !binding_)
        box->addSpacing(pixels);
}

void CardContent::columnStretch(int column, int factor)
{
    if (auto* grid = qobject_cast<QGridLayout*>(layouts_.back()); grid && !binding_)
        grid->setColumnStretch(column, factor);
}

void CardContent::place(QWidget* widget, int stretch, Qt::Alignment alignment)
{
    if (auto* grid = qobject_cast<QGridLayout*>(layouts_.back()))
        grid->addWidget(widget, gridRow_, gridColumn_, alignment);
    else
        static_cast<QBoxLayout*>(layouts_.back())->addWidget(widget, stretch, alignment);
}

void CardContent::notice(const QString& noticeText)
{
    TextStyle style{Role::note};
    style.alignment = Qt::AlignCenter;
    style.wrap = true;
    style.minimumHeight = 120;
    text(noticeText, style);
}

void CardContent::text(const QString& text, TextStyle style)
{
    if (binding_) {
        if (auto* label = static_cast<QLabel*>(next(Kind::text)); label && label->text() != text)
            label->setText(text);
        return;
    }
    auto* label = new QLabel(text, owner_);
    if (style.role)
        TarnelThemeManager::style(label, *style.role);
    label->setWordWrap(style.wrap);
    label->setTextInteractionFlags(style.selectable ? Qt::TextSelectableByMouse : Qt::NoTextInteraction);
    if (style.alignment)
        label->setAlignment(style.alignment);
    if (style.minimumHeight > 0)
        label->setMinimumHeight(style.minimumHeight);
    place(label, style.stretch);
    leaves_.push_back({Kind::text, label});
}

void CardContent::icon(const QIcon& icon, int size, Qt::Alignment alignment)
{
    if (binding_) {
        const auto position = cursor_;
        if (auto* label = static_cast<QLabel*>(next(Kind::icon)); label && leaves_[position].key != icon.cacheKey()) {
            setPixmap(label, icon, size);
            leaves_[position].key = icon.cacheKey();
        }
        return;
    }
    auto* label = new QLabel(owner_);
    setPixmap(label, icon, size);
    if (alignment)
        label->setAlignment(alignment);
    place(label, 0);
    leaves_.push_back({Kind::icon, label, icon.cacheKey()});
}

void CardContent::dot(const QColor& color)
{
    if (binding_) {
        if (auto* widget = static_cast<Dot*>(next(Kind::dot)))
            widget->setColor(color);
        return;
    }
    auto* widget = new Dot(color, owner_);
    place(widget, 0, Qt::AlignVCenter);
    leaves_.push_back({Kind::dot, widget});
}

void CardContent::bar(std::vector<PartsBar::Part> parts)
{
    if (binding_) {
        if (auto* widget = static_cast<PartsBar*>(next(Kind::bar)))
            widget->setParts(std::move(parts));
        return;
    }
    auto* widget = new PartsBar(std::move(parts), owner_);
    place(widget, 0);
    leaves_.push_back({Kind::bar, widget});
}

void CardContent::chart(std::vector<int> samples, const QColor& color, int capacity)
{
    if (binding_) {
        if (auto* widget = static_cast<HistoryChart*>(next(Kind::chart)))
            widget->setSamples(std::move(samples), color);
        return;
    }
    auto* widget = new HistoryChart(std::move(samples), color, capacity, owner_);
    place(widget, 0);
    leaves_.push_back({Kind::chart, widget});
}

} // namespace tarnel::gui
