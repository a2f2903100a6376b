#pragma once

#include "TarnelUI/Core/ChangeNotifier.h"
#include "TarnelUI/Core/WidgetKind.h"

#include <memory>
#include <optional>
#include <span>
#include <string>

namespace tarnel::ui {

// One widget as the stores and the editor see it, whatever its settings type. Widgets have
// identity: lists hold them by pointer, and two widgets are the same when their ids match.
class BaseWidget {
public:
    virtual ~BaseWidget() = default;
    BaseWidget(const BaseWidget&) = delete;
    BaseWidget& operator=(const BaseWidget&) = delete;

    const UUID& id() const { return id_; }
    WidgetKind kind() const { return kind_; }
    const WidgetTitleSettings& titleSettings() const { return titleSettings_; }
    void setTitleSettings(WidgetTitleSettings settings);
    // The panel that opens while the widget is hovered.
    const std::optional<UUID>& linkedPanel() const { return linkedPanel_; }
    void setLinkedPanel(std::optional<UUID> panel);

    virtual std::optional<std::string> modelTitle() const = 0;
    virtual std::optional<std::string> modelSymbolName() const = 0;
    virtual WidgetStatisticsSet statistics() const = 0;
    virtual std::span<const WidgetContext> supportedContexts() const = 0;
    virtual WidgetContext context() const = 0;
    // The object with the base keys and "model".
    virtual Json encode() const = 0;
    // Ignored unless the kind supports `context`; otherwise the model reacts to the move.
    virtual void setContext(WidgetContext context) = 0;
    virtual bool isEqual(const BaseWidget& other, bool ignoringID = false) const = 0;
    virtual std::shared_ptr<BaseWidget> copy(bool newID) const = 0;
    // Takes the settings of `other` and keeps this id; logs and changes nothing for another type.
    virtual void reset(const BaseWidget& other) = 0;

    // Each change of the model, the title settings or the link.
    quendal::Publisher<bool> changes() const { return notifier_.changes(); }

protected:
    BaseWidget(UUID id, WidgetKind kind, WidgetTitleSettings titleSettings, std::optional<UUID> linkedPanel)
        : id_(id), kind_(kind), titleSettings_(std::move(titleSettings)), linkedPanel_(linkedPanel)
    {
    }
    bool baseFieldsEqual(const BaseWidget& other, bool ignoringID) const;
    Json encodeBase() const;
    void assignBase(const BaseWidget& other);
    void notifyChange() { notifier_.notifyChange(); }

private:
    UUID id_;
    WidgetKind kind_;
    WidgetTitleSettings titleSettings_;
    std::optional<UUID> linkedPanel_;
    ChangeNotifier notifier_;
};

using WidgetPointer = std::shared_ptr<BaseWidget>;

} // namespace tarnel::ui
