#pragma once

#include "App/Collection/CollectionEntitiesProvider.h"

#include "Platform/Startup/LaunchItems.h"
#include "Platform/Startup/LoginItems.h"

#include "QuendalFoundation/Runtime/Clock.h"
#include "QuendalFoundation/Runtime/Runtime.h"

#include <asio/awaitable.hpp>

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace quendal {
class RepeatingTimer;
}

namespace tarnel {

// One row of the Optimizer: a switch, or a button that removes the item.
struct OptimizerRowModel {
    enum class Control { toggle, remove };
    std::string title;
    std::string titleTooltip;
    std::optional<std::string> subtitle;
    std::string icon; // a theme icon name or an image file
    Control control = Control::toggle;
    bool isOn = false;
    bool controlEnabled = true;
    std::function<void(bool)> switchSelectionChanged;
    std::function<void()> actionButtonPressed;
};

// A short message about a change; it goes by itself.
struct OptimizerNotice {
    enum class Kind { success, failure };
    Kind kind = Kind::success;
    std::string text;
    // Set when the change can be taken back from the notice.
    std::function<void()> undo;
};

// The Optimizer screen's model: the autostart entries and the systemd units that start by
// themselves, reloaded in the background every 5 seconds while shown.
class OptimizerProvider : public CollectionEntitiesProvider, public std::enable_shared_from_this<OptimizerProvider> {
public:
    struct Sources {
        std::function<std::vector<platform::LaunchItem>()> launchItems;
        std::shared_ptr<const platform::LoginItemStore> loginItems;
        // Switches a unit through the privileged daemon; throws when that fails.
        std::function<asio::awaitable<void>(std::filesystem::path, bool)> setLaunchItemEnabled;
        // The icon of the application a program belongs to, nullopt when none is known.
        std::function<std::optional<std::string>(const std::filesystem::path&)> applicationIcon;
        quendal::Executor updateQueue;
        std::shared_ptr<quendal::Clock> clock;
    };

    static constexpr auto updateInterval = std::chrono::seconds(5);
    static constexpr auto noticeDuration = std::chrono::milliseconds(1500);

    // The application's provider: the live folders, systemctl and the daemon client.
    static std::shared_ptr<OptimizerProvider> make();
    explicit OptimizerProvider(Sources sources);
    ~OptimizerProvider() override;

    void start() override;
    void stop() override;
    // Reads both lists on the update queue, then asks the screen to reload on the main actor.
    void reloadItems();
    std::vector<CollectionViewSection> sections() override;

    // Where notices go; set by the screen.
    void setNotify(std::function<void(const OptimizerNotice&)> notify) { notify_ = std::move(notify); }

    const std::vector<platform::LaunchItem>& launchItems() const { return launch_; }
    const std::vector<platform::LoginItem>& loginItems() const { return login_; }
    bool isTimerRunning() const { return timer_ != nullptr; }
    int completedReloads() const { return reloads_; }

    static constexpr const char* emptyTitle = "No Startup Items found";
    static constexpr const char* emptyDescription = "There is nothing to show here right now.";

private:
    CollectionViewCellModel loginRow(const platform::LoginItem& item);
    CollectionViewCellModel launchRow(const platform::LaunchItem& item);
    void toggleLaunchItem(const platform::LaunchItem& item, bool on);
    void toggleSystemLoginItem(const platform::LoginItem& item, bool on);
    void removeLoginItem(const platform::LoginItem& item);
    void notify(OptimizerNotice notice) const;

    Sources sources_;
    std::vector<platform::LaunchItem> launch_;
    std::vector<platform::LoginItem> login_;
    std::set<std::string> pending_; // rows whose change is under way
    std::unique_ptr<quendal::RepeatingTimer> timer_;
    std::function<void(const OptimizerNotice&)> notify_;
    int reloads_ = 0;
};

} // namespace tarnel
