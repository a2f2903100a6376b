#include "Shell/QtSheetHost.h"

#include <QAction>
#include <QDialog>
#include <QKeySequence>
#include <QVBoxLayout>

namespace tarnel::gui {

namespace {

// The contents are owned by their shared pointers, not by the dialogs: a dialog deleted with
// its window (at quit, with a sheet up) hands its content back first.
class SheetDialog final : public QDialog {
public:
    SheetDialog(QWidget* window, QWidget* content) : QDialog(window, Qt::Sheet | Qt::Dialog), content_(content) {}
    ~SheetDialog() override
    {
        if (content_) {
            content_->hide();
            content_->setParent(nullptr);
        }
    }

private:
    QPointer<QWidget> content_;
};

} // namespace

QtSheetHost::~QtSheetHost()
{
    for (auto& dialog : order_)
        delete dialog.data(); // null once its window took it along
}

void QtSheetHost::setWindow(QWidget* window)
{
    window_ = window;
    if (window && windowAppeared_ && *windowAppeared_)
        (*windowAppeared_)();
}

bool QtSheetHost::isWindowKeyAndVisible() const
{
    return window_ && window_->isVisible() && window_->isActiveWindow();
}

void QtSheetHost::makeKeyAndOrderFront()
{
    if (!window_)
        return;
    window_->show();
    window_->raise();
    window_->activateWindow();
}

void QtSheetHost::presentSheet(std::shared_ptr<quendal::SheetContent> content, quendal::SheetSize size)
{
    auto* widget = dynamic_cast<QWidget*>(content.get());
    if (!window_ || !widget)
        return;
    auto* dialog = new SheetDialog(window_, widget);
    dialog->setWindowModality(Qt::WindowModal);
    dialog->setObjectName(QStringLiteral("sheet"));
    auto* layout = new QVBoxLayout(dialog);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(widget);
    dialog->resize(static_cast<int>(size.width), static_cast<int>(size.height));
    if (quit_) {
        // A window-modal dialog takes the window's shortcuts away; quitting stays possible.
        auto* quit = new QAction(dialog);
        quit->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q));
        quit->setShortcutContext(Qt::WindowShortcut);
        QObject::connect(quit, &QAction::triggered, dialog, [q = quit_] { q(); });
        dialog->addAction(quit);
    }
    QObject::connect(dialog, &QDialog::finished, dialog, [this, dialog] { finished(dialog); });
    open_[dialog] = std::move(content);
    order_.push_back(dialog);
    dialog->open();
}

void QtSheetHost::endSheet(const std::shared_ptr<quendal::SheetContent>& content)
{
    for (auto& [dialog, shown] : open_)
        if (shown == content) {
            dialog->done(QDialog::Accepted); // emits finished, which ends the sheet
            return;
        }
}

void QtSheetHost::finished(QDialog* dialog)
{
    auto found = open_.find(dialog);
    if (found == open_.end())
        return;
    if (auto* widget = dynamic_cast<QWidget*>(found->second.get())) {
        widget->hide();
        widget->setParent(nullptr);
    }
    open_.erase(found);
    std::erase(order_, dialog);
    dialog->deleteLater();
    if (sheetEnded_ && *sheetEnded_)
        (*sheetEnded_)();
}

QDialog* QtSheetHost::topSheet() const
{
    return order_.empty() ? nullptr : order_.back().data();
}

quendal::Cancellable QtSheetHost::observeWindow(std::function<void()> appeared)
{
    windowAppeared_ = std::make_shared<std::function<void()>>(std::move(appeared));
    std::weak_ptr<std::function<void()>> weak = windowAppeared_;
    return quendal::Cancellable([weak] {
        if (auto f = weak.lock())
            *f = nullptr;
    });
}

quendal::Cancellable QtSheetHost::observeSheetEnded(std::function<void()> ended)
{
    sheetEnded_ = std::make_shared<std::function<void()>>(std::move(ended));
    std::weak_ptr<std::function<void()>> weak = sheetEnded_;
    return quendal::Cancellable([weak] {
        if (auto f = weak.lock())
            *f = nullptr;
    });
}

} // namespace tarnel::gui
