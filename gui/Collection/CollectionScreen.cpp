#include "Collection/CollectionScreen.h"

#include "Theme/ThemeManager.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QScrollArea>
#include <QScrollBar>
#include <QVBoxLayout>

namespace tarnel::gui {

namespace {

// What must stay the same for cells to be bound in place: the sections with their layout and
// header, and the kind of cell at each place. Item identifiers are not part of it: providers
// may give a card a fresh identifier at every build.
std::vector<CollectionScreen::ShapePart> shapeOf(const std::vector<CollectionViewSection>& sections)
{
    std::vector<CollectionScreen::ShapePart> shape;
    for (const auto& section : sections) {
        shape.push_back({section.identifier + '\n' + std::to_string(static_cast<int>(section.sectionLayout)) + '\n' +
                             section.header.value_or(std::string(1, '\0')),
                         nullptr});
        for (const auto& item : section.items)
            shape.push_back({{}, item.kind()});
    }
    return shape;
}

} // namespace

CollectionScreen::CollectionScreen(std::shared_ptr<CollectionEntitiesProvider> provider,
                                   CellRenderers renderers, QWidget* parent)
    : QWidget(parent), provider_(std::move(provider)), renderers_(std::move(renderers)), scroll_(new QScrollArea(this))
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    scroll_->setWidgetResizable(true);
    scroll_->setFrameShape(QFrame::NoFrame);
    scroll_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    layout->addWidget(scroll_);
    provider_->setReload([this] { reload(); });
    provider_->start();
    reload();
}

CollectionScreen::~CollectionScreen()
{
    provider_->setReload(nullptr);
    provider_->stop();
}

QWidget* CollectionScreen::render(const CollectionViewCellModel& item) const
{
    if (const auto* renderer = renderers_.find(item.kind()))
        return (*renderer)(item);
    // A model with no view is a programming error; show which cell it is rather than nothing.
    return new QLabel(QStringLiteral("No view for the cell \"%1\"").arg(QString::fromStdString(item.identifier)));
}

QWidget* CollectionScreen::cell(const std::string& identifier) const
{
    for (const auto& placed : placed_)
        if (placed.identifier == identifier)
            return placed.widget;
    return nullptr;
}

void CollectionScreen::reload()
{
    ++reloads_;
    const auto sections = provider_->sections();
    auto shape = shapeOf(sections);
    if (content_ && shape == shape_) {
        bindInPlace(sections);
        return;
    }
    shape_ = std::move(shape);
    rebuild(sections);
}

void CollectionScreen::bindInPlace(const std::vector<CollectionViewSection>& sections)
{
    std::size_t index = 0;
    for (const auto& section : sections) {
        for (const auto& item : section.items) {
            auto& placed = placed_[index++];
            placed.identifier = item.identifier;
            auto* bindable = dynamic_cast<BindableCell*>(placed.widget);
            if (bindable && bindable->bind(item))
                continue;
            auto* fresh = render(item);
            fresh->setParent(content_);
            delete placed.layout->replaceWidget(placed.widget, fresh);
            placed.widget->hide();
            placed.widget->deleteLater();
            placed.widget = fresh;
            fresh->show();
            ++replacedCells_;
        }
    }
}

void CollectionScreen::rebuild(const std::vector<CollectionViewSection>& sections)
{
    ++rebuilds_;
    placed_.clear();
    const int scrolled = scroll_->verticalScrollBar()->value();
    auto* content = new QWidget;
    content->setObjectName(QStringLiteral("collection"));
    auto* column = new QVBoxLayout(content);
    column->setContentsMargins(0, 0, 8, 8);
    column->setSpacing(16);
    const int cardWidth = std::max(200, (scroll_->viewport()->width() - 8 - 16) / 2);
    for (const auto& section : sections) {
        if (section.header) {
            auto* header = new QLabel(QString::fromStdString(*section.header), content);
            TarnelThemeManager::style(header, Role::sectionTitle);
            column->addWidget(header);
        }
        if (section.sectionLayout == CollectionViewSection::Layout::list) {
            for (const auto& item : section.items) {
                auto* cell = render(item);
                column->addWidget(cell);
                placed_.push_back({item.identifier, cell, column});
            }
            continue;
        }
        auto* grid = new QHBoxLayout;
        grid->setSpacing(16);
        QVBoxLayout* columns[2] = {new QVBoxLayout, new QVBoxLayout};
        int heights[2] = {0, 0};
        for (auto* c : columns) {
            c->setSpacing(16);
            grid->addLayout(c, 1);
        }
        for (const auto& item : section.items) {
            auto* cell = render(item);
            cell->setParent(content);
            const int target = heights[0] <= heights[1] ? 0 : 1;
            columns[target]->addWidget(cell);
            placed_.push_back({item.identifier, cell, columns[target]});
            const int height = cell->heightForWidth(cardWidth);
            heights[target] += (height > 0 ? height : cell->sizeHint().height()) + 16;
        }
        for (auto* c : columns)
            c->addStretch(1);
        column->addLayout(grid);
    }
    column->addStretch(1);
    scroll_->setWidget(content); // deletes the former content
    content_ = content;
    scroll_->verticalScrollBar()->setValue(scrolled);
}

void CollectionScreen::changeEvent(QEvent* event)
{
    QWidget::changeEvent(event);
    // A new theme: bind again at once rather than at the provider's next reload, so colours
    // drawn from the appearance follow.
    if (event->type() == QEvent::PaletteChange && content_)
        QMetaObject::invokeMethod(this, [this] { reload(); }, Qt::QueuedConnection);
}

} // namespace tarnel::gui
