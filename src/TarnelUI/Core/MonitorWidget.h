#pragma once

#include "TarnelUI/Core/BaseWidget.h"
#include "TarnelUI/Core/WidgetModels.h"

#include <algorithm>

namespace tarnel::ui {

// Logs that a widget cannot take the settings of a widget of another type.
void logForeignReset(const BaseWidget& self, const BaseWidget& other);

// A widget holding one settings value of type `Model`.
template <class Model>
class MonitorWidget final : public BaseWidget {
public:
    explicit MonitorWidget(Model model = {}, UUID id = UUID::random(), WidgetTitleSettings titleSettings = {},
                           std::optional<UUID> linkedPanel = std::nullopt)
        : BaseWidget(id, Model::kind, std::move(titleSettings), linkedPanel), model_(std::move(model))
    {
    }

    static std::shared_ptr<MonitorWidget> make(Model model = {}, WidgetTitleSettings titleSettings = {})
    {
        return std::make_shared<MonitorWidget>(std::move(model), UUID::random(), std::move(titleSettings));
    }

    // Reads the base keys, then the settings; a stored model is brought up to date at once.
    static std::shared_ptr<MonitorWidget> decode(const Json& object)
    {
        auto id = json::requiredUUID(object, "id");
        auto kind = json::enumNamed<WidgetKind>(json::required(object, "kind"), "kind", widgetKindNames);
        if (kind != Model::kind)
            throw ModelDecodingError("the widget's kind \"" + std::string(name(kind)) + "\" is not \""
                                     + std::string(name(Model::kind)) + "\"");
        auto titleSettings = WidgetTitleSettings::decode(json::required(object, "titleSettings"));
        auto linkedPanel = json::optionalUUID(object, "linkedPanel");
        auto model = Model::decode(json::required(object, "model"));
        model.updateStatistics();
        return std::make_shared<MonitorWidget>(std::move(model), id, std::move(titleSettings), linkedPanel);
    }

    const Model& model() const { return model_; }
    void setModel(Model model)
    {
        if (model == model_)
            return;
        model_ = std::move(model);
        notifyChange();
    }
    // Changes the settings through their own setters, so the statistics follow.
    template <class Change>
    void modify(Change&& change)
    {
        Model next = model_;
        change(next);
        setModel(std::move(next));
    }

    std::optional<std::string> modelTitle() const override { return model_.title(); }
    std::optional<std::string> modelSymbolName() const override { return model_.symbolName(); }
    WidgetStatisticsSet statistics() const override { return model_.statistics(); }
    std::span<const WidgetContext> supportedContexts() const override { return Model::supportedContexts; }
    WidgetContext context() const override { return model_.context(); }

    Json encode() const override
    {
        auto object = encodeBase();
        object["model"] = model_.encode();
        return object;
    }

    void setContext(WidgetContext context) override
    {
        const auto& supported = Model::supportedContexts;
        if (std::find(supported.begin(), supported.end(), context) == supported.end())
            return;
        modify([context](Model& model) { model.setContext(context); });
    }

    bool isEqual(const BaseWidget& other, bool ignoringID = false) const override
    {
        const auto* same = dynamic_cast<const MonitorWidget*>(&other);
        return same && baseFieldsEqual(other, ignoringID) && model_ == same->model_;
    }

    std::shared_ptr<BaseWidget> copy(bool newID) const override
    {
        return std::make_shared<MonitorWidget>(model_, newID ? UUID::random() : id(), titleSettings(), linkedPanel());
    }

    void reset(const BaseWidget& other) override
    {
        const auto* same = dynamic_cast<const MonitorWidget*>(&other);
        if (!same) {
            logForeignReset(*this, other);
            return;
        }
        if (isEqual(other, true))
            return;
        assignBase(other);
        model_ = same->model_;
        notifyChange();
    }

private:
    Model model_;
};

} // namespace tarnel::ui
