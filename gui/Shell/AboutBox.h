#pragma once

#include <QDialog>

class QLabel;

namespace tarnel::gui {

// About Tarnel: the icon, the name, the version and build, one line of what it is, the website.
class AboutBox : public QDialog {
public:
    explicit AboutBox(QWidget* parent = nullptr);

    QLabel* versionLabel() const { return version_; }
    QLabel* websiteLabel() const { return website_; }

    static QIcon applicationIcon();

private:
    QLabel* version_;
    QLabel* website_;
};

} // namespace tarnel::gui
