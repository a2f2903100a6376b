#pragma once

#include <any>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tarnel {

// One cell of a card screen: its data is the view model of one card type.
struct CollectionViewCellModel {
    std::string identifier;
    std::string cellReuseIdentifier;
    std::any data;
    bool itemIsSelectable = false;
    std::function<void()> onSelect;

    static CollectionViewCellModel make(std::string identifier, std::string reuse, std::any data)
    {
        CollectionViewCellModel model;
        model.identifier = std::move(identifier);
        model.cellReuseIdentifier = std::move(reuse);
        model.data = std::move(data);
        return model;
    }

    template <class Model>
    const Model* as() const
    {
        return std::any_cast<Model>(&data);
    }
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
