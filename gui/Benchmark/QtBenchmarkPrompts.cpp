#include "Benchmark/QtBenchmarkPrompts.h"

#include <QFileDialog>
#include <QMessageBox>
#include <QPushButton>

namespace tarnel::gui {

namespace {

QString qs(const std::string& text)
{
    return QString::fromStdString(text);
}

} // namespace

bool QtBenchmarkPrompts::confirm(const std::string& title, const std::string& message, const std::string& accept,
                                 const std::string& cancel)
{
    QMessageBox box(QMessageBox::Warning, qs(title), qs(title), QMessageBox::NoButton, parent_);
    box.setInformativeText(qs(message));
    auto* first = box.addButton(qs(accept), QMessageBox::AcceptRole);
    box.addButton(qs(cancel), QMessageBox::RejectRole);
    box.setDefaultButton(first);
    box.exec();
    return box.clickedButton() == first;
}

std::optional<std::filesystem::path> QtBenchmarkPrompts::chooseDirectory(const std::string& title,
                                                                         const std::filesystem::path& start)
{
    const QString chosen = QFileDialog::getExistingDirectory(parent_, qs(title), qs(start.string()),
                                                             QFileDialog::ShowDirsOnly);
    if (chosen.isEmpty())
        return std::nullopt;
    return std::filesystem::path(chosen.toStdString());
}

void QtBenchmarkPrompts::showError(const std::string& informativeText, const std::string& message)
{
    QMessageBox box(QMessageBox::Critical, qs(informativeText), qs(message), QMessageBox::Ok, parent_);
    box.setInformativeText(qs(informativeText));
    box.exec();
}

} // namespace tarnel::gui
