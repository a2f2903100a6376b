#include "Collection/CollectionScreen.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QScrollArea>
#include <QScrollBar>
#include <QVBoxLayout>

namespace tarnel::gui {

CollectionScreen::CollectionScreen(std::shared_ptr<CollectionEntitiesProvider> provider,
                                   std::map<std::string, Renderer> renderers, QWidget* parent)
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
    auto found = renderers_.find(item.cellReuseIdentifier);
    if (found == renderers_.end())
        return new QLabel(QString::fromStdString(item.cellReuseIdentifier));
    return found->second(item);
}

void CollectionScreen::reload()
{
    ++reloads_;
    const int scrolled = scroll_->verticalScrollBar()->value();
    auto* content = new QWidget;
    content->setObjectName(QStringLiteral("collection"));
    auto* column = new QVBoxLayout(content);
    column->setContentsMargins(0, 0, 8, 8);
    column->setSpacing(16);
    const int cardWidth = std::max(200, (scroll_->viewport()->width() - 8 - 16) / 2);
    for (const auto& section : provider_->sections()) {
        if (section.header) {
            auto* header = new QLabel(QString::fromStdString(*section.header), content);
            header->setObjectName(QStringLiteral("sectionTitle"));
            column->addWidget(header);
        }
        if (section.sectionLayout == CollectionViewSection::Layout::list) {
            for (const auto& item : section.items)
                column->addWidget(render(item));
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
            heights[target] += cell->heightForWidth(cardWidth) > 0 ? cell->heightForWidth(cardWidth) : cell->sizeHint().height();
            heights[target] += 16;
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

} // namespace tarnel::gui
