#pragma once

#include <QFrame>

namespace tarnel::gui {

// The rounded card every card screen and settings group sits on, painted in the theme's colours.
class CardFrame : public QFrame {
public:
    explicit CardFrame(QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent* event) override;
};

} // namespace tarnel::gui
