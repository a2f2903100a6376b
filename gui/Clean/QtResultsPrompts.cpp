#include "Clean/QtResultsPrompts.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDesktopServices>
#include <QFileInfo>
#include <QMessageBox>
#include <QPushButton>
#include <QUrl>

namespace tarnel::gui {

namespace {

QString qs(const std::string& text)
{
    return QString::fromStdString(text);
}

} // namespace

std::unique_ptr<QMessageBox> makeDeleteConfirmation(const std::string& message, const std::string& informativeText,
                                                    const std::string& accept, const std::string& cancel,
                                                    QWidget* parent)
{
    auto box = std::make_unique<QMessageBox>(QMessageBox::Information, qs(message), qs(message), QMessageBox::NoButton, parent);
    box->setObjectName(QStringLiteral("deleteConfirmation"));
    box->setInformativeText(qs(informativeText));
    box->addButton(qs(accept), QMessageBox::DestructiveRole)->setObjectName(QStringLiteral("deleteAccept"));
    // Cancel is the default, so a stray Return deletes nothing.
    box->setDefaultButton(box->addButton(qs(cancel), QMessageBox::RejectRole));
    return box;
}

bool QtResultsPrompts::confirm(const std::string& message, const std::string& informativeText,
                               const std::string& accept, const std::string& cancel)
{
    auto box = makeDeleteConfirmation(message, informativeText, accept, cancel, parent_);
    box->exec();
    return box->clickedButton() && box->clickedButton()->objectName() == QStringLiteral("deleteAccept");
}

void QtResultsPrompts::warn(const std::string& message, const std::string& informativeText)
{
    QMessageBox box(QMessageBox::Warning, qs(message), qs(message), QMessageBox::Ok, parent_);
    box.setInformativeText(qs(informativeText));
    box.exec();
}

void QtResultsPrompts::showStatus(const std::string& text, std::chrono::milliseconds duration)
{
    if (status_)
        status_(text, duration);
}

void QtResultsFileActions::perform(ResultsAction action, const std::string& path)
{
    const auto url = QUrl::fromLocalFile(qs(path));
    if (action == ResultsAction::reveal) {
        // The desktop's file manager selects the file; without that service, its folder opens.
        auto call = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.FileManager1"),
                                                   QStringLiteral("/org/freedesktop/FileManager1"),
                                                   QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
        call << QStringList{url.toString()} << QString();
        const auto reply = QDBusConnection::sessionBus().call(call, QDBus::Block, 2000);
        if (reply.type() != QDBusMessage::ErrorMessage)
            return;
        QDesktopServices::openUrl(QUrl::fromLocalFile(QFileInfo(qs(path)).absolutePath()));
        return;
    }
    // There is no system-wide quick look: a preview opens the file in its default viewer.
    QDesktopServices::openUrl(url);
}

} // namespace tarnel::gui
