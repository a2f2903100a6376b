#pragma once

#include "App/Clean/CleanResultsProvider.h"

#include <QWidget>

#include <memory>

class QLabel;
class QPushButton;
class QStackedLayout;

namespace tarnel::gui {

class GroupedResultsScreen;
class QtResultsPrompts;

// Clean: the intro with its features and buttons, then the results with the scanning overlay.
class CleanScreen : public QWidget {
public:
    CleanScreen(std::shared_ptr<CleanResultsProvider> provider, std::shared_ptr<QtResultsPrompts> prompts,
                QWidget* parent = nullptr);

    CleanResultsProvider& provider() const { return *provider_; }
    GroupedResultsScreen* results() const { return results_; }
    QPushButton* scanButton() const { return scan_; }
    QPushButton* viewButton() const { return view_; }
    bool showsResults() const;

    // The scan button: a new scan on the results page.
    void startScan();
    void showResults();
    void showIntro();

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    QWidget* makeIntro();
    void refreshIntro();

    std::shared_ptr<CleanResultsProvider> provider_;
    std::shared_ptr<QtResultsPrompts> prompts_;
    QStackedLayout* pages_;
    QWidget* intro_ = nullptr;
    GroupedResultsScreen* results_;
    QWidget* resultsPage_ = nullptr;
    QPushButton* scan_ = nullptr;
    QPushButton* view_ = nullptr;
};

// The screen of the Clean entry, on the shared scanner and the daemon's deletion.
QWidget* makeCleanScreen();

} // namespace tarnel::gui
