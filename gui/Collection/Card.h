#pragma once

#include "Collection/CardContent.h"
#include "Collection/CollectionScreen.h"
#include "Theme/CardFrame.h"

#include <functional>

namespace tarnel::gui {

// A card cell drawn by one function: first to make its widgets, then on every update to bind
// the new model to them.
class Card : public CardFrame, public BindableCell {
public:
    // False when the item does not hold the model the card draws.
    using Draw = std::function<bool(CardContent&, const CollectionViewCellModel&)>;

    Card(Draw draw, const CollectionViewCellModel& item, QMargins margins);
    bool bind(const CollectionViewCellModel& item) override;
    const CardContent& content() const { return content_; }

private:
    Draw draw_;
    CardContent content_;
};

// The renderer of a card whose model is `Model`.
template <class Model>
CollectionScreen::Renderer cardRenderer(void (*draw)(CardContent&, const Model&), QMargins margins = {16, 14, 16, 16})
{
    Card::Draw typed = [draw](CardContent& content, const CollectionViewCellModel& item) {
        const auto* model = item.as<Model>();
        if (!model)
            return false;
        draw(content, *model);
        return true;
    };
    return [typed, margins](const CollectionViewCellModel& item) -> QWidget* { return new Card(typed, item, margins); };
}

// Registers the card drawing `Model` as the view of cells holding one.
template <class Model>
void addCard(CellRenderers& renderers, void (*draw)(CardContent&, const Model&), QMargins margins = {16, 14, 16, 16})
{
    renderers.add<Model>(cardRenderer(draw, margins));
}

} // namespace tarnel::gui
