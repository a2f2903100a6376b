#include "Settings/SettingsScreen.h"

#include "Monitor/MonitorLink.h"
#include "QuendalFoundation/Runtime/Task.h"

#include "Theme/CardFrame.h"
#include "Theme/ThemeManager.h"

#include "QuendalFoundation/Preferences/Preferences.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QLabel>
#include <QSignalBlocker>
#include <QVBoxLayout>

namespace tarnel::gui {

namespace {

QString qs(const std::string& text)
{
    return QString::fromStdString(text);
}

// A switch with its note. The handler is copied before it runs: the reload it causes binds a
// new model to this very cell.
class SwitchCell : public CardFrame, public BindableCell {
public:
    SwitchCell() : box_(new QCheckBox(this)), note_(new QLabel(this))
    {
        auto* layout = new QVBoxLayout(this);
        layout->setContentsMargins(16, 12, 16, 12);
        TarnelThemeManager::style(note_, Role::note);
        note_->setWordWrap(true);
        layout->addWidget(box_);
        layout->addWidget(note_);
        QObject::connect(box_, &QCheckBox::toggled, this, [this](bool on) {
            auto handler = model_.onChange;
            if (handler)
                handler(on);
        });
    }

    bool bind(const CollectionViewCellModel& item) override
    {
        const auto* model = item.as<SettingsSwitchModel>();
        if (!model)
            return false;
        model_ = *model;
        const QSignalBlocker quiet(box_);
        box_->setText(qs(model_.title));
        box_->setChecked(model_.isOn);
        note_->setText(qs(model_.note));
        return true;
    }

    QCheckBox* box() const { return box_; }

private:
    QCheckBox* box_;
    QLabel* note_;
    SettingsSwitchModel model_;
};

// A title with a menu on the right.
class MenuCell : public CardFrame, public BindableCell {
public:
    MenuCell() : title_(new QLabel(this)), menu_(new QComboBox(this))
    {
        auto* layout = new QGridLayout(this);
        layout->setContentsMargins(16, 10, 16, 10);
        layout->addWidget(title_, 0, 0);
        layout->addWidget(menu_, 0, 1, Qt::AlignRight);
        layout->setColumnStretch(0, 1);
        menu_->setMinimumWidth(160);
        QObject::connect(menu_, &QComboBox::activated, this, [this](int index) {
            auto handler = model_.onSelect;
            if (handler && index >= 0)
                handler(static_cast<std::size_t>(index));
        });
    }

    bool bind(const CollectionViewCellModel& item) override
    {
        const auto* model = item.as<SettingsMenuModel>();
        if (!model)
            return false;
        const bool sameOptions = model->options == model_.options && menu_->count() > 0;
        model_ = *model;
        const QSignalBlocker quiet(menu_);
        title_->setText(qs(model_.title));
        if (!sameOptions) {
            menu_->clear();
            for (const auto& option : model_.options)
                menu_->addItem(qs(option));
        }
        menu_->setCurrentIndex(static_cast<int>(model_.selectedIndex));
        return true;
    }

    QComboBox* menu() const { return menu_; }

private:
    QLabel* title_;
    QComboBox* menu_;
    SettingsMenuModel model_;
};

template <class Cell>
CellRenderers::Renderer renderer()
{
    return [](const CollectionViewCellModel& item) -> QWidget* {
        auto* cell = new Cell;
        cell->bind(item);
        return cell;
    };
}

} // namespace

CollectionScreen* makeSettingsScreen(std::shared_ptr<SettingsProvider> provider)
{
    CellRenderers renderers;
    renderers.add<SettingsSwitchModel>(renderer<SwitchCell>()).add<SettingsMenuModel>(renderer<MenuCell>());
    return new CollectionScreen(std::move(provider), std::move(renderers));
}

CollectionScreen* makeSettingsScreen()
{
    return makeSettingsScreen(std::make_shared<SettingsProvider>(SettingsProvider::Sources{
        &quendal::Preferences::shared(), [] { return TarnelThemeManager::shared().theme(); },
        [](quendal::Theme theme) { TarnelThemeManager::shared().setTheme(theme); },
        [](bool on) { quendal::spawnOnMain(MonitorLink::shared().setRunAtLogin(on)).detach(); }}));
}

QCheckBox* settingsSwitch(const CollectionScreen& screen, const std::string& identifier)
{
    auto* cell = dynamic_cast<SwitchCell*>(screen.cell(identifier));
    return cell ? cell->box() : nullptr;
}

QComboBox* settingsMenu(const CollectionScreen& screen, const std::string& identifier)
{
    auto* cell = dynamic_cast<MenuCell*>(screen.cell(identifier));
    return cell ? cell->menu() : nullptr;
}

} // namespace tarnel::gui
