#include "Collection/Card.h"

#include <QVBoxLayout>

namespace tarnel::gui {

namespace {

QVBoxLayout* rootLayout(QWidget* owner, QMargins margins)
{
    auto* layout = new QVBoxLayout(owner);
    layout->setContentsMargins(margins);
    layout->setSpacing(10);
    return layout;
}

} // namespace

Card::Card(Draw draw, const CollectionViewCellModel& item, QMargins margins)
    : draw_(std::move(draw)), content_(this, rootLayout(this, margins))
{
    draw_(content_, item);
}

bool Card::bind(const CollectionViewCellModel& item)
{
    content_.beginBind();
    const bool drawn = draw_(content_, item);
    return content_.finishBind() && drawn;
}

} // namespace tarnel::gui
