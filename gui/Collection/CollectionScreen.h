#pragma once

#include "App/Collection/CollectionEntitiesProvider.h"

#include <QWidget>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

class QBoxLayout;
class QScrollArea;

namespace tarnel::gui {

// A cell that can show a later model of its item in place.
class BindableCell {
public:
    virtual ~BindableCell() = default;
    // False when the model needs a new cell: another shape, or not the model of this cell.
    virtual bool bind(const CollectionViewCellModel& item) = 0;
};

// The views of a screen's cells, by the type of their model.
class CellRenderers {
public:
    using Renderer = std::function<QWidget*(const CollectionViewCellModel&)>;

    template <class Model>
    CellRenderers& add(Renderer renderer)
    {
        renderers_[cellKind<Model>()] = std::move(renderer);
        return *this;
    }
    // Null when no view is registered for the kind.
    const Renderer* find(CellKind kind) const
    {
        auto found = renderers_.find(kind);
        return found == renderers_.end() ? nullptr : &found->second;
    }

private:
    std::map<CellKind, Renderer> renderers_;
};

// Renders any provider's sections: list sections as a column, masonry sections as cards laid
// into two columns, each card into the shorter one. Cells are made by the renderer registered
// for the type of their model. When the provider reloads with the same sections and the same kinds
// of cell in the same places as before, every cell that can is bound to its new model in place
// and only the others are made again; otherwise the whole content is made again.
class CollectionScreen : public QWidget {
public:
    using Renderer = CellRenderers::Renderer;
    // What must stay the same for cells to be bound in place: a section, or the kind of a cell.
    struct ShapePart {
        std::string section;
        CellKind kind = nullptr;
        friend bool operator==(const ShapePart&, const ShapePart&) = default;
    };

    CollectionScreen(std::shared_ptr<CollectionEntitiesProvider> provider, CellRenderers renderers,
                     QWidget* parent = nullptr);
    ~CollectionScreen() override;

    void reload();
    int reloadCount() const { return reloads_; }
    // Reloads that made the whole content again, and cells made again alone.
    int rebuildCount() const { return rebuilds_; }
    int replacedCellCount() const { return replacedCells_; }
    CollectionEntitiesProvider& provider() const { return *provider_; }
    // The widget showing the item, null when none does.
    QWidget* cell(const std::string& identifier) const;

protected:
    void changeEvent(QEvent* event) override;

private:
    struct Placed {
        std::string identifier;
        QWidget* widget;
        QBoxLayout* layout;
    };

    QWidget* render(const CollectionViewCellModel& item) const;
    void rebuild(const std::vector<CollectionViewSection>& sections);
    void bindInPlace(const std::vector<CollectionViewSection>& sections);

    std::shared_ptr<CollectionEntitiesProvider> provider_;
    CellRenderers renderers_;
    QScrollArea* scroll_;
    QWidget* content_ = nullptr;
    std::vector<ShapePart> shape_;
    std::vector<Placed> placed_;
    int reloads_ = 0;
    int rebuilds_ = 0;
    int replacedCells_ = 0;
};

} // namespace tarnel::gui
