#pragma once

#include "QuendalCore/Navigation/SheetController.h"

#include <QPointer>
#include <QWidget>

#include <functional>
#include <map>
#include <vector>

class QDialog;

namespace tarnel::gui {

// Sheets as window-modal dialogs over the main window. The window may come later than the
// host: sheets queued before it wait for `setWindow`.
class QtSheetHost final : public quendal::SheetHost {
public:
    ~QtSheetHost() override;

    void setWindow(QWidget* window);
    // What Ctrl+Q does while a sheet blocks the window and its menu.
    void setQuit(std::function<void()> quit) { quit_ = std::move(quit); }

    bool hasWindow() const override { return !window_.isNull(); }
    bool isWindowKeyAndVisible() const override;
    void makeKeyAndOrderFront() override;
    void presentSheet(std::shared_ptr<quendal::SheetContent> content, quendal::SheetSize size) override;
    void endSheet(const std::shared_ptr<quendal::SheetContent>& content) override;
    std::size_t sheetCount() const override { return open_.size(); }
    quendal::Cancellable observeWindow(std::function<void()> appeared) override;
    quendal::Cancellable observeSheetEnded(std::function<void()> ended) override;

    QDialog* topSheet() const;

private:
    void finished(QDialog* dialog);

    QPointer<QWidget> window_;
    std::map<QDialog*, std::shared_ptr<quendal::SheetContent>> open_;
    std::vector<QPointer<QDialog>> order_;
    std::shared_ptr<std::function<void()>> windowAppeared_;
    std::shared_ptr<std::function<void()>> sheetEnded_;
    std::function<void()> quit_;
};

} // namespace tarnel::gui
