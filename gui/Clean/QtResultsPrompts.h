#pragma once

#include "App/GroupedResults/GroupedResultsProvider.h"

#include <QPointer>
#include <QWidget>

#include <functional>
#include <memory>

class QMessageBox;

namespace tarnel::gui {

// The informational alert that asks before anything is deleted; its first button deletes.
std::unique_ptr<QMessageBox> makeDeleteConfirmation(const std::string& message, const std::string& informativeText,
                                                    const std::string& accept, const std::string& cancel,
                                                    QWidget* parent);

// Modal alerts over the results screen; the status text goes to the screen's banner.
class QtResultsPrompts : public ResultsPrompts {
public:
    void setParent(QWidget* parent) { parent_ = parent; }
    void setStatusHandler(std::function<void(const std::string&, std::chrono::milliseconds)> handler)
    {
        status_ = std::move(handler);
    }

    bool confirm(const std::string& message, const std::string& informativeText, const std::string& accept,
                 const std::string& cancel) override;
    void warn(const std::string& message, const std::string& informativeText) override;
    void showStatus(const std::string& text, std::chrono::milliseconds duration) override;

private:
    QPointer<QWidget> parent_;
    std::function<void(const std::string&, std::chrono::milliseconds)> status_;
};

// Reveals in the desktop's file manager, opens with the default application.
class QtResultsFileActions : public ResultsFileActions {
public:
    void perform(ResultsAction action, const std::string& path) override;
};

} // namespace tarnel::gui
