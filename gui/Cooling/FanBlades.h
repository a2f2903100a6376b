#pragma once

#include "App/Cooling/CoolingModels.h"

#include <QColor>
#include <QTimer>
#include <QWidget>

#include <memory>

namespace tarnel::gui {

// A fan's blades turning with its speed. The angle lives in the provider's FanView, so a card
// made again after a rebuild goes on from where the old one stopped.
class FanBlades : public QWidget {
public:
    FanBlades(std::shared_ptr<FanView> fan, QWidget* parent = nullptr);
    QSize sizeHint() const override { return {24, 24}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void step();

    std::shared_ptr<FanView> fan_;
    QTimer timer_;
};

} // namespace tarnel::gui
