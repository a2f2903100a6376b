#include "Shell/WebsiteLink.h"

#include "App/Localization/Localizable.h"

#include "QuendalFoundation/Logging/AppLogger.h"

#include <QMessageBox>

namespace tarnel::gui {

bool openWebsite(QWidget* parent, const QUrl& url, const std::function<bool(const QUrl&)>& open)
{
    if (open(url))
        return true;
    quendal::AppLogger::warning("No program opened " + url.toString().toStdString());
    QMessageBox box(QMessageBox::Warning, QString::fromStdString(localized("app_menu_open_website")),
                    QString::fromStdString(localized("app_menu_open_website_failed")), QMessageBox::Ok, parent);
    box.setInformativeText(QString::fromStdString(localized("app_menu_open_website_address")).arg(url.toString()));
    box.setTextInteractionFlags(Qt::TextSelectableByMouse);
    box.exec();
    return false;
}

} // namespace tarnel::gui
