#include "App/Optimizer/OptimizerProvider.h"

#include "App/Localization/Localizable.h"
#include "Platform/Applications/DesktopEntryIndex.h"
#include "TarnelKit/Daemon/DaemonClient.h"

#include "QuendalFoundation/Logging/AppLogger.h"
#include "QuendalFoundation/Runtime/RepeatingTimer.h"
#include "QuendalFoundation/Runtime/SerialQueue.h"

#include <asio/co_spawn.hpp>
#include <asio/detached.hpp>
#include <asio/post.hpp>

#include <algorithm>
#include <stdexcept>

namespace tarnel {

namespace {

using platform::JobType;
using platform::LaunchItem;
using platform::LoginItem;
using platform::LoginItemSource;

// Case-insensitive order of names, as a person reads a list.
bool lessIgnoringCase(const std::string& a, const std::string& b)
{
    return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(), [](unsigned char x, unsigned char y) {
        return std::tolower(x) < std::tolower(y);
    });
}

bool equalIgnoringCase(const std::string& a, const std::string& b)
{
    return !lessIgnoringCase(a, b) && !lessIgnoringCase(b, a);
}

// Runs the daemon's switch and reports on the main actor; the provider is held weakly.
asio::awaitable<void> switchLaunchItem(std::weak_ptr<OptimizerProvider> weak,
                                       std::function<asio::awaitable<void>(std::filesystem::path, bool)> route,
                                       std::filesystem::path url, bool on, std::function<void(std::optional<std::string>)> done)
{
    std::optional<std::string> error;
    try {
        if (!route)
            throw std::runtime_error("no connection to the privileged daemon");
        co_await route(url, on);
    } catch (const std::exception& e) {
        error = e.what();
    }
    if (weak.lock())
        done(error);
}

} // namespace

std::shared_ptr<OptimizerProvider> OptimizerProvider::make()
{
    auto index = std::make_shared<platform::DesktopEntryIndex>();
    Sources sources;
    sources.launchItems = [] {
        const platform::SystemctlUnitStates states;
        return platform::LaunchItemReader(platform::UnitFolders::live(), states).read();
    };
    sources.loginItems = std::make_shared<platform::LoginItemStore>();
    sources.setLaunchItemEnabled = [](std::filesystem::path url, bool on) -> asio::awaitable<void> {
        auto client = DaemonClient::shared();
        if (!client)
            throw std::runtime_error("no connection to the privileged daemon");
        if (on)
            co_await client->enableLaunchItem(std::move(url));
        else
            co_await client->disableLaunchItem(std::move(url));
    };
    sources.applicationIcon = [index](const std::filesystem::path& program) { return index->icon(program); };
    sources.updateQueue = quendal::SerialQueue("org.quendal.tarnel.optimizer.update").executor();
    sources.clock = quendal::Runtime::shared().clockPointer();
    return std::make_shared<OptimizerProvider>(std::move(sources));
}

OptimizerProvider::OptimizerProvider(Sources sources) : sources_(std::move(sources))
{
    title = localized("optimizer_title");
    identifier = "optimizer";
    navigationBarStyle = NavigationBarStyle::collapsingHeader;
}

OptimizerProvider::~OptimizerProvider() = default;

void OptimizerProvider::start()
{
    reloadItems();
    if (timer_)
        return;
    timer_ = std::make_unique<quendal::RepeatingTimer>(quendal::Runtime::shared().mainExecutor(), updateInterval,
                                                       sources_.clock);
    std::weak_ptr<OptimizerProvider> weak = weak_from_this();
    timer_->setEventHandler([weak] {
        if (auto self = weak.lock())
            self->reloadItems();
    });
    timer_->resume();
}

void OptimizerProvider::stop()
{
    if (timer_)
        timer_->suspend();
    timer_.reset();
}

void OptimizerProvider::reloadItems()
{
    std::weak_ptr<OptimizerProvider> weak = weak_from_this();
    auto main = quendal::Runtime::shared().mainExecutor();
    asio::post(sources_.updateQueue, [weak, main, login = sources_.loginItems, launch = sources_.launchItems] {
        auto loginItems = login ? login->read() : std::vector<LoginItem>{};
        auto launchItems = launch ? launch() : std::vector<LaunchItem>{};
        asio::post(main, [weak, loginItems = std::move(loginItems), launchItems = std::move(launchItems)]() mutable {
            auto self = weak.lock();
            if (!self)
                return;
            self->login_ = std::move(loginItems);
            self->launch_ = std::move(launchItems);
            ++self->reloads_;
            self->reload();
        });
    });
}

std::vector<CollectionViewSection> OptimizerProvider::sections()
{
    std::vector<CollectionViewSection> result;
    auto login = login_;
    std::stable_sort(login.begin(), login.end(), [](const LoginItem& a, const LoginItem& b) { return a.name < b.name; });
    if (!login.empty()) {
        CollectionViewSection section{"login items", {}, CollectionViewSection::Layout::list, "Open at Login", {}};
        for (const auto& item : login)
            section.items.push_back(loginRow(item));
        result.push_back(std::move(section));
    }
    auto launch = launch_;
    std::stable_sort(launch.begin(), launch.end(), [](const LaunchItem& a, const LaunchItem& b) {
        if (!equalIgnoringCase(a.program.displayName, b.program.displayName))
            return lessIgnoringCase(a.program.displayName, b.program.displayName);
        return a.label < b.label;
    });
    if (!launch.empty()) {
        CollectionViewSection section{"background items", {}, CollectionViewSection::Layout::list, "Allow in Background", {}};
        for (const auto& item : launch)
            section.items.push_back(launchRow(item));
        result.push_back(std::move(section));
    }
    return result;
}

CollectionViewCellModel OptimizerProvider::loginRow(const LoginItem& item)
{
    OptimizerRowModel row;
    row.title = item.name;
    row.titleTooltip = (item.source == LoginItemSource::system ? item.systemUrl : item.url).string();
    row.icon = item.icon.empty() ? "application-x-executable" : item.icon;
    row.controlEnabled = !pending_.contains(item.url.string());
    std::weak_ptr<OptimizerProvider> weak = weak_from_this();
    if (item.source == LoginItemSource::user) {
        row.control = OptimizerRowModel::Control::remove;
        row.actionButtonPressed = [weak, item] {
            if (auto self = weak.lock())
                self->removeLoginItem(item);
        };
    } else {
        row.control = OptimizerRowModel::Control::toggle;
        row.isOn = item.isEnabled;
        row.switchSelectionChanged = [weak, item](bool on) {
            if (auto self = weak.lock())
                self->toggleSystemLoginItem(item, on);
        };
    }
    return CollectionViewCellModel::make(item.identifier, std::move(row));
}

CollectionViewCellModel OptimizerProvider::launchRow(const LaunchItem& item)
{
    OptimizerRowModel row;
    row.title = item.program.displayName;
    row.titleTooltip = item.url.string();
    row.subtitle = (item.type == JobType::daemon ? "Privileged background service - " : "Background service - ") + item.label;
    std::optional<std::string> icon;
    if (!item.program.path.empty() && sources_.applicationIcon)
        icon = sources_.applicationIcon(item.program.path);
    row.icon = icon.value_or("utilities-terminal");
    row.control = OptimizerRowModel::Control::toggle;
    row.isOn = item.isEnabled;
    row.controlEnabled = !pending_.contains(item.url.string());
    std::weak_ptr<OptimizerProvider> weak = weak_from_this();
    row.switchSelectionChanged = [weak, item](bool on) {
        if (auto self = weak.lock())
            self->toggleLaunchItem(item, on);
    };
    return CollectionViewCellModel::make(item.url.string(), std::move(row));
}

void OptimizerProvider::toggleLaunchItem(const LaunchItem& item, bool on)
{
    const auto key = item.url.string();
    if (!pending_.insert(key).second)
        return;
    reload();
    std::weak_ptr<OptimizerProvider> weak = weak_from_this();
    const auto name = item.program.displayName;
    auto done = [weak, key, name, label = item.label](std::optional<std::string> error) {
        auto self = weak.lock();
        if (!self)
            return;
        self->pending_.erase(key);
        if (error) {
            quendal::AppLogger::error("Unable to update launch item " + label + ": " + *error);
            // The switch goes back to what the item said before.
            self->reload();
            self->notify({OptimizerNotice::Kind::failure, "Unable to update " + name, {}});
            return;
        }
        self->notify({OptimizerNotice::Kind::success, name + " updated", {}});
        self->reloadItems();
    };
    asio::co_spawn(quendal::Runtime::shared().mainExecutor(),
                   switchLaunchItem(weak, sources_.setLaunchItemEnabled, item.url, on, std::move(done)), asio::detached);
}

void OptimizerProvider::toggleSystemLoginItem(const LoginItem& item, bool on)
{
    try {
        sources_.loginItems->setSystemItemEnabled(item, on);
    } catch (const std::exception& e) {
        quendal::AppLogger::error("Unable to update login item " + item.name + ": " + e.what());
        reload();
        notify({OptimizerNotice::Kind::failure, "Unable to update " + item.name, {}});
        return;
    }
    std::weak_ptr<OptimizerProvider> weak = weak_from_this();
    notify({OptimizerNotice::Kind::success, item.name + " updated", [weak, item, on] {
                if (auto self = weak.lock())
                    self->toggleSystemLoginItem(item, !on);
            }});
    reloadItems();
}

void OptimizerProvider::removeLoginItem(const LoginItem& item)
{
    pending_.insert(item.url.string());
    reload();
    std::optional<platform::RemovedLoginItem> removed;
    try {
        removed = sources_.loginItems->remove(item);
    } catch (const std::exception& e) {
        quendal::AppLogger::error("Unable to remove login item " + item.name + ": " + e.what());
    }
    pending_.erase(item.url.string());
    if (!removed) {
        reload();
        notify({OptimizerNotice::Kind::failure, "Unable to remove " + item.name, {}});
        return;
    }
    std::weak_ptr<OptimizerProvider> weak = weak_from_this();
    auto name = item.name;
    notify({OptimizerNotice::Kind::success, item.name + " removed", [weak, removed = *removed, name] {
                auto self = weak.lock();
                if (!self)
                    return;
                try {
                    self->sources_.loginItems->restore(removed);
                    self->notify({OptimizerNotice::Kind::success, name + " restored", {}});
                } catch (const std::exception& e) {
                    quendal::AppLogger::error("Unable to restore login item " + name + ": " + e.what());
                    self->notify({OptimizerNotice::Kind::failure, "Unable to restore " + name, {}});
                }
                self->reloadItems();
            }});
    reloadItems();
}

void OptimizerProvider::notify(OptimizerNotice notice) const
{
    if (notify_)
        notify_(notice);
}

} // namespace tarnel
