#include "TarnelUI/Core/BaseWidget.h"

namespace tarnel::ui {

void BaseWidget::setTitleSettings(WidgetTitleSettings settings)
{
    if (settings == titleSettings_)
        return;
    titleSettings_ = std::move(settings);
    notifyChange();
}

void BaseWidget::setLinkedPanel(std::optional<UUID> panel)
{
    if (panel == linkedPanel_)
        return;
    linkedPanel_ = panel;
    notifyChange();
}

bool BaseWidget::baseFieldsEqual(const BaseWidget& other, bool ignoringID) const
{
    return (ignoringID || id_ == other.id_) && kind_ == other.kind_ && titleSettings_ == other.titleSettings_
        && linkedPanel_ == other.linkedPanel_;
}

Json BaseWidget::encodeBase() const
{
    Json object{{"id", id_.text()}, {"kind", name(kind_)}, {"titleSettings", titleSettings_.encode()}};
    if (linkedPanel_)
        object["linkedPanel"] = linkedPanel_->text();
    return object;
}

void BaseWidget::assignBase(const BaseWidget& other)
{
    titleSettings_ = other.titleSettings_;
    linkedPanel_ = other.linkedPanel_;
}

} // namespace tarnel::ui
