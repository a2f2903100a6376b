#pragma once

#include "QuendalFoundation/Logging/LogArchive.h"

#include <QString>

class QWidget;

namespace tarnel::gui {

// The alerts and the save panel of "Report A Problem".
class QtReportProblemPresenter final : public quendal::ReportProblemPresenter {
public:
    QtReportProblemPresenter(QWidget* parent, QString supportPage) : parent_(parent), supportPage_(std::move(supportPage)) {}
    bool confirmSaveLogs() override;
    std::optional<std::filesystem::path> chooseDestination(const std::filesystem::path& directory,
                                                           const std::string& fileName) override;
    void showSaved() override;
    void showError(const std::string& description) override;

private:
    QWidget* parent_;
    QString supportPage_;
};

} // namespace tarnel::gui
