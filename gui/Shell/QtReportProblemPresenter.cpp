#include "Shell/QtReportProblemPresenter.h"

#include "App/Localization/Localizable.h"

#include <QDesktopServices>
#include <QFileDialog>
#include <QMessageBox>
#include <QPushButton>
#include <QUrl>

namespace tarnel::gui {

namespace {

QString text(std::string_view key)
{
    return QString::fromStdString(localized(key));
}

} // namespace

bool QtReportProblemPresenter::confirmSaveLogs()
{
    QMessageBox box(parent_);
    box.setText(text("app_menu_report_problem"));
    box.setInformativeText(text("app_menu_report_problem_message"));
    auto* save = box.addButton(text("app_menu_save_logs"), QMessageBox::AcceptRole);
    box.addButton(text("general_cancel"), QMessageBox::RejectRole);
    box.exec();
    return box.clickedButton() == save;
}

std::optional<std::filesystem::path> QtReportProblemPresenter::chooseDestination(const std::filesystem::path& directory,
                                                                                 const std::string& fileName)
{
    const auto start = QString::fromStdString((directory / fileName).string());
    const auto chosen = QFileDialog::getSaveFileName(parent_, text("app_menu_save_logs"), start, QStringLiteral("Zip (*.zip)"));
    if (chosen.isEmpty())
        return std::nullopt;
    return std::filesystem::path(chosen.toStdString());
}

void QtReportProblemPresenter::showSaved()
{
    QMessageBox box(parent_);
    box.setText(text("app_menu_logs_saved"));
    box.setInformativeText(text("app_menu_save_logs_success"));
    auto* visit = box.addButton(text("app_menu_visit_support"), QMessageBox::ActionRole);
    // The logs are saved: there is nothing left to cancel.
    box.setDefaultButton(box.addButton(text("general_ok"), QMessageBox::AcceptRole));
    box.exec();
    if (box.clickedButton() == visit)
        QDesktopServices::openUrl(QUrl(supportPage_));
}

void QtReportProblemPresenter::showError(const std::string& description)
{
    QMessageBox::critical(parent_, text("app_menu_report_problem"), QString::fromStdString(description));
}

} // namespace tarnel::gui
