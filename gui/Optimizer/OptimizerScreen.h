#pragma once

#include "Collection/CollectionScreen.h"

#include "App/Optimizer/OptimizerProvider.h"

#include <QWidget>

class QLabel;
class QPushButton;
class QTimer;
class QAbstractButton;

namespace tarnel::gui {

// The Optimizer: the login items and the background services on the card screen, a notice
// line above them for each change, and an empty state when there is nothing.
class OptimizerScreen : public QWidget {
public:
    explicit OptimizerScreen(std::shared_ptr<OptimizerProvider> provider, QWidget* parent = nullptr);

    CollectionScreen& list() const { return *list_; }
    QLabel* notice() const { return notice_; }
    QPushButton* undoButton() const { return undo_; }
    bool showsEmptyState() const;
    // The switch or the Remove button of a row, null when the screen has no such row.
    QAbstractButton* control(const std::string& identifier) const;

private:
    void showNotice(const OptimizerNotice& notice);
    void updateEmptyState();

    std::shared_ptr<OptimizerProvider> provider_;
    CollectionScreen* list_;
    QWidget* empty_;
    QWidget* noticeBar_;
    QLabel* notice_;
    QPushButton* undo_;
    QTimer* noticeTimer_;
    std::function<void()> undoAction_;
};

QWidget* makeOptimizerScreen();

} // namespace tarnel::gui
