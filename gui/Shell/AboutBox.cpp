#include "Shell/AboutBox.h"

#include "Theme/ThemeManager.h"

#include "App/Localization/Localizable.h"

#include <QApplication>
#include <QDialogButtonBox>
#include <QIcon>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace tarnel::gui {

namespace {

QString text(std::string_view key)
{
    return QString::fromStdString(localized(key));
}

} // namespace

QIcon AboutBox::applicationIcon()
{
    return QIcon(QStringLiteral(":/icons/tarnel-app.svg"));
}

AboutBox::AboutBox(QWidget* parent) : QDialog(parent), version_(new QLabel(this)), website_(new QLabel(this))
{
    setObjectName(QStringLiteral("about"));
    setWindowTitle(text("app_menu_about").arg(QApplication::applicationName()));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(36, 28, 36, 20);
    layout->setSpacing(8);

    auto* icon = new QLabel(this);
    icon->setPixmap(applicationIcon().pixmap(96, 96));
    icon->setAlignment(Qt::AlignCenter);
    auto* name = new QLabel(QApplication::applicationName().isEmpty() ? QStringLiteral("Tarnel") : QApplication::applicationName(),
                            this);
    TarnelThemeManager::style(name, Role::sheetTitle);
    name->setAlignment(Qt::AlignCenter);
    const auto versionText = QApplication::applicationVersion().isEmpty() ? text("general_unknown")
                                                                           : QApplication::applicationVersion();
    version_->setText(text("about_version_format").arg(versionText, QStringLiteral(TARNEL_BUILD_NUMBER_TEXT)));
    version_->setAlignment(Qt::AlignCenter);
    version_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    TarnelThemeManager::style(version_, Role::note);
    auto* summary = new QLabel(text("about_summary"), this);
    summary->setWordWrap(true);
    summary->setAlignment(Qt::AlignCenter);
    summary->setMinimumWidth(300);
    const QString site = QStringLiteral(TARNEL_WEBSITE_URL);
    website_->setText(QStringLiteral("<a href=\"%1\">%2</a>").arg(site, QString(site).remove(QStringLiteral("https://"))));
    website_->setOpenExternalLinks(true);
    website_->setTextInteractionFlags(Qt::TextBrowserInteraction);
    website_->setAlignment(Qt::AlignCenter);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok, this);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);

    layout->addWidget(icon);
    layout->addWidget(name);
    layout->addWidget(version_);
    layout->addSpacing(6);
    layout->addWidget(summary);
    layout->addWidget(website_);
    layout->addSpacing(8);
    layout->addWidget(buttons);
}

} // namespace tarnel::gui
