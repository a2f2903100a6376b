#pragma once

#include "App/Collection/CollectionEntitiesProvider.h"

#include <QWidget>

#include <functional>
#include <map>
#include <memory>
#include <string>

class QScrollArea;
class QVBoxLayout;

namespace tarnel::gui {

// Renders any provider's sections: list sections as a column, masonry sections as cards laid
// into two columns, each card into the shorter one. Cells are made by the renderer registered
// for their reuse identifier; the screen rebuilds them whenever the provider reloads.
class CollectionScreen : public QWidget {
public:
    using Renderer = std::function<QWidget*(const CollectionViewCellModel&)>;

    CollectionScreen(std::shared_ptr<CollectionEntitiesProvider> provider, std::map<std::string, Renderer> renderers,
                     QWidget* parent = nullptr);
    ~CollectionScreen() override;

    void reload();
    int reloadCount() const { return reloads_; }
    CollectionEntitiesProvider& provider() const { return *provider_; }

private:
    QWidget* render(const CollectionViewCellModel& item) const;

    std::shared_ptr<CollectionEntitiesProvider> provider_;
    std::map<std::string, Renderer> renderers_;
    QScrollArea* scroll_;
    QWidget* content_ = nullptr;
    int reloads_ = 0;
};

} // namespace tarnel::gui
