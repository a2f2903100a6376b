#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tarnel {

// Names a cell's view model type without RTTI: one address per type. Views are registered by
// it, so a provider and its view agree on a type the compiler checks, not on a string.
using CellKind = const void*;

template <class Model>
CellKind cellKind()
{
    static constexpr char tag = 0;
    return &tag;
}

// One cell of a card screen: its model is the view model of one card type.
struct CollectionViewCellModel {
    std::string identifier;
    bool itemIsSelectable = false;
    std::function<void()> onSelect;

    template <class Model>
    static CollectionViewCellModel make(std::string identifier, Model model)
    {
        CollectionViewCellModel cell;
        cell.identifier = std::move(identifier);
        cell.kind_ = cellKind<Model>();
        cell.model_ = std::make_shared<const Model>(std::move(model));
        return cell;
    }

    CellKind kind() const { return kind_; }

    // The model, or null when the cell holds another type.
    template <class Model>
    const Model* as() const
    {
        return kind_ == cellKind<Model>() ? static_cast<const Model*>(model_.get()) : nullptr;
    }

private:
    CellKind kind_ = nullptr;
    // Shared, never changed: copies of a section share their models.
    std::shared_ptr<const void> model_;
};

struct CollectionViewSection {
    enum class Layout { list, masonry };
    std::string identifier;
    std::vector<CollectionViewCellModel> items;
    Layout sectionLayout = Layout::list;
    std::optional<std::string> header;
    std::optional<std::string> footer;
};

enum class NavigationBarStyle { none, staticBar, dynamicBar, collapsingHeader };
enum class SelectionStyle { momentary, single, multiple, none };

// The base of every card screen: the screen asks for the sections and renders them; the
// provider asks the screen to reload when its data changed. Main actor only.
class CollectionEntitiesProvider {
public:
    virtual ~CollectionEntitiesProvider() = default;

    std::string title;
    std::string icon;
    std::string analyticsId;
    std::string identifier;
    NavigationBarStyle navigationBarStyle = NavigationBarStyle::staticBar;
    SelectionStyle selectionStyle = SelectionStyle::none;
    double topInset = 0;

    // Set by the screen that shows the provider; cleared when it goes.
    void setReload(std::function<void()> reload) { reload_ = std::move(reload); }
    void reload() const
    {
        if (reload_)
            reload_();
    }

    virtual void start() {}
    virtual void stop() {}
    virtual std::vector<CollectionViewSection> sections() = 0;

private:
    std::function<void()> reload_;
};

} // namespace tarnel
