#include "App/Dashboard/DashboardProvider.h"

#include "App/Dashboard/MachineDescription.h"
#include "App/Dashboard/StorageOverview.h"
#include "App/Localization/Localizable.h"

#include "TarnelKit/Catalog/DaemonDataPreloader.h"
#include "TarnelKit/Stats/StatsClient.h"

#include "TarnelFoundation/Codec/Date.h"

#include "QuendalFoundation/Formatting/ByteCountFormatter.h"
#include "QuendalFoundation/Preferences/Preferences.h"

#include <asio/experimental/awaitable_operators.hpp>

#include <cmath>

namespace tarnel {

namespace {

std::string bytesText(double bytes)
{
    return quendal::ByteCountFormatter::string(static_cast<std::int64_t>(std::llround(std::max(0.0, bytes))));
}

template <DashboardModel Model>
CollectionViewCellModel cell(std::string identifier, Model model)
{
    return CollectionViewCellModel::make(std::move(identifier), std::move(model));
}

// Every card but the battery gets a new identifier at each build.
std::string freshIdentifier()
{
    return UUID::random().text();
}

CollectionViewCellModel largePlaceholder(PlaceholderDeviceOverviewModel::Device device)
{
    return cell(freshIdentifier(), PlaceholderDeviceOverviewModel{PlaceholderDeviceOverviewModel::Style::large, device});
}

} // namespace

std::string DashboardProvider::percentText(int percent)
{
    return std::to_string(percent) + "\u2008%";
}

std::string DashboardProvider::percentText(double fraction)
{
    return percentText(truncatedPercent(fraction));
}

std::shared_ptr<DashboardProvider> DashboardProvider::make()
{
    return std::make_shared<DashboardProvider>(Sources{
        DashboardDaemonStatsStore::shared(),
        HardwareCatalogStore::shared(),
        SystemInventoryStore::shared(),
        [] { return DaemonDataPreloader::shared()->startupStatsBatch.publisher(); },
        [](const StatsProcessUsageSnapshot& process) { return ProcessIcons::shared().icon(process); },
        [] {
            return quendal::temperatureUnitFormat(
                quendal::read(quendal::Preferences::shared(), quendal::PreferenceKeys::temperatureUnitFormat));
        },
    });
}

DashboardProvider::DashboardProvider(Sources sources) : sources_(std::move(sources))
{
    identifier = "dashboard";
    analyticsId = "dashboard";
    icon = "computer";
    navigationBarStyle = NavigationBarStyle::dynamicBar;
    title = machine::displayName(sources_.systemInventoryStore->snapshot.value());
}

void DashboardProvider::start()
{
    reload(); // placeholders at once
    std::weak_ptr<DashboardProvider> weak = weak_from_this();
    startupStatsCancellable_.reset();
    if (sources_.startupBatch) {
        // A publisher hands over its current value first: that is the batch already there.
        startupStatsCancellable_ = sources_.startupBatch().sink([weak](const std::optional<StatsUpdateBatch>& batch) {
            auto self = weak.lock();
            if (!self || !batch)
                return;
            self->sources_.statsStore->applyStartupBatch(*batch);
            self->reload();
        });
    }
    staticLoad_ = quendal::spawnOnMain(loadStatic(weak, sources_.catalogStore, sources_.systemInventoryStore));
    sources_.statsStore->start([weak] {
        if (auto self = weak.lock())
            self->reload();
    });
}

void DashboardProvider::stop()
{
    // The stream keeps running, so coming back finds warm values.
    startupStatsCancellable_.reset();
}

asio::awaitable<void> DashboardProvider::loadStatic(std::weak_ptr<DashboardProvider> weak,
                                                    std::shared_ptr<HardwareCatalogStore> catalog,
                                                    std::shared_ptr<SystemInventoryStore> inventory)
{
    using namespace asio::experimental::awaitable_operators;
    auto hardware = catalog->loadIfNeeded();
    auto system = inventory->loadIfNeeded();
    auto both = std::move(hardware) && std::move(system);
    co_await std::move(both);
    if (auto self = weak.lock()) {
        self->title = machine::displayName(inventory->snapshot.value());
        self->reload();
    }
}

std::string DashboardProvider::temperatureText(double celsius) const
{
    const auto unit = sources_.temperatureUnit ? sources_.temperatureUnit() : quendal::TemperatureUnitFormat::system;
    return quendal::TemperatureFormatter::string(celsius, unit);
}

std::vector<CollectionViewSection> DashboardProvider::sections()
{
    CollectionViewSection header{"header", {}, CollectionViewSection::Layout::list, std::nullopt, std::nullopt};
    header.items.push_back(cell("header", machine::header(sources_.systemInventoryStore->snapshot.value(),
                                                          sources_.catalogStore->snapshot.value())));
    CollectionViewSection cards{"dashboard", {}, CollectionViewSection::Layout::masonry, std::nullopt, std::nullopt};
    if (auto battery = batteryCard())
        cards.items.push_back(std::move(*battery));
    cards.items.push_back(storageCard());
    cards.items.push_back(cpuCard());
    cards.items.push_back(ramCard());
    for (auto& gpu : gpuCards())
        cards.items.push_back(std::move(gpu));
    return {std::move(header), std::move(cards)};
}

std::optional<CollectionViewCellModel> DashboardProvider::batteryCard() const
{
    const auto& store = *sources_.statsStore;
    if (!store.value(WidgetStatistic::batteryCharge) && !store.value(WidgetStatistic::batteryHealth))
        return std::nullopt;
    BatteryOverviewModel model;
    model.title = localized("battery_title");
    model.chargePercentage = store.percentage(WidgetStatistic::batteryCharge);
    if (auto health = store.percentage(WidgetStatistic::batteryHealth); health && *health >= 0 && *health < 256)
        model.healthPercentage = static_cast<std::uint8_t>(*health);
    return cell("battery", std::move(model));
}

CollectionViewCellModel DashboardProvider::storageCard() const
{
    auto rows = storageOverview(sources_.statsStore->storageVolumes, sources_.catalogStore->snapshot.value());
    if (rows.empty())
        return cell(freshIdentifier(), PlaceholderStorageOverviewModel{});
    return cell(freshIdentifier(), StorageOverviewModel{std::move(rows)});
}

CollectionViewCellModel DashboardProvider::cpuCard() const
{
    const auto& store = *sources_.statsStore;
    const auto* usage = store.value(WidgetStatistic::cpuUsage);
    if (!usage || !usage->fraction)
        return largePlaceholder(PlaceholderDeviceOverviewModel::Device::cpu);
    CPUOverviewModel model;
    model.title = machine::cleanedProcessorName(sources_.systemInventoryStore->snapshot.value().cpu.name);
    model.icon = "cpu";
    model.lastUsagePercent = static_cast<unsigned>(std::max(0, truncatedPercent(*usage->fraction)));
    auto percentOr0 = [&](WidgetStatistic s) { return static_cast<unsigned>(std::max(0, store.percentage(s).value_or(0))); };
    model.chartEntries = {
        {localized("dashboard_cpu_system"), percentOr0(WidgetStatistic::cpuSystemUsage), CardColor::systemPink},
        {localized("dashboard_cpu_user"), percentOr0(WidgetStatistic::cpuUserUsage), CardColor::blueTowardsTeal},
    };
    model.usageHistory = store.cpuUsageHistory;
    model.appEntries = topProcesses(WidgetStatistic::processCPUUsage, [](const StatsProcessUsageSnapshot& process) {
        return percentText(process.fraction.value_or(0));
    });
    const StatsTemperatureSnapshot* reading = nullptr;
    for (auto group : {WidgetStatistic::cpuGroupTemperatureSensor, WidgetStatistic::socGroupTemperatureSensor}) {
        auto found = store.temperatures.find(group);
        if (found != store.temperatures.end() && !found->second.empty()) {
            reading = &found->second.front();
            break;
        }
    }
    if (reading) {
        model.temperature = reading->celsius;
        model.formattedTemperature = temperatureText(reading->celsius);
    } else {
        model.formattedTemperature = "-";
    }
    return cell(freshIdentifier(), std::move(model));
}

CollectionViewCellModel DashboardProvider::ramCard() const
{
    const auto& store = *sources_.statsStore;
    if (!store.value(WidgetStatistic::memoryPressure))
        return largePlaceholder(PlaceholderDeviceOverviewModel::Device::ram);
    auto entry = [&](WidgetStatistic s, const char* key, CardColor color, bool bytes) {
        const auto* v = store.value(s);
        ValueEntry e;
        e.title = localized(key);
        e.percent = static_cast<unsigned>(std::max(0, (v && v->fraction) ? truncatedPercent(*v->fraction) : 0));
        if (bytes)
            e.formattedValue = (v && v->value) ? bytesText(*v->value) : "-";
        else
            e.formattedValue = percentText(static_cast<int>(e.percent));
        e.color = color;
        return e;
    };
    RAMOverviewModel model;
    model.barEntries = {entry(WidgetStatistic::memoryPressure, "dashboard_memory_pressure", CardColor::black, false),
                        entry(WidgetStatistic::memorySwapFile, "dashboard_memory_swap_file", CardColor::black, true)};
    model.usageEntries = {entry(WidgetStatistic::ramWired, "memory_wired", CardColor::blueTowardsTeal, true),
                          entry(WidgetStatistic::ramActive, "memory_active", CardColor::systemPink, true),
                          entry(WidgetStatistic::ramCompressed, "memory_compressed", CardColor::systemOrange, true)};
    model.freeEntry = entry(WidgetStatistic::ramAvailable, "memory_available", CardColor::neutralFill, true);
    model.appEntries = topProcesses(WidgetStatistic::processRAMUsage, [](const StatsProcessUsageSnapshot& process) {
        return bytesText(process.value && *process.value > 0 ? *process.value : 0);
    });
    return cell(freshIdentifier(), std::move(model));
}

std::vector<AppEntry> DashboardProvider::topProcesses(WidgetStatistic statistic,
                                                       std::string (*formattedValue)(const StatsProcessUsageSnapshot&)) const
{
    std::vector<AppEntry> entries;
    const auto& usages = sources_.statsStore->processUsages;
    auto found = usages.find(statistic);
    if (found == usages.end())
        return entries;
    for (const auto& process : found->second)
        entries.push_back({process.name, sources_.processIcon ? sources_.processIcon(process) : std::string(),
                           formattedValue(process)});
    return entries;
}

std::vector<CollectionViewCellModel> DashboardProvider::gpuCards() const
{
    const auto& store = *sources_.statsStore;
    const auto catalog = sources_.catalogStore->snapshot.value();
    std::vector<CollectionViewCellModel> cards;
    auto fromFraction = [](const char* key, std::optional<double> fraction) {
        GPUOverviewModel::Statistic s;
        s.title = localized(key);
        if (fraction) {
            s.value = truncatedPercent(*fraction);
            s.fraction = fraction;
            s.formattedValue = percentText(*fraction);
        } else {
            s.formattedValue = "-";
        }
        return s;
    };
    for (const auto& usage : store.gpuUsages) {
        GPUOverviewModel model;
        model.title = usage.name;
        model.icon = "generic-gpu-icon";
        for (const auto& gpu : catalog.gpus)
            if (gpu.identifier == usage.identifier || gpu.index == usage.index || gpu.name == usage.name) {
                model.icon = gpu.kind == HardwareGPUKind::discrete ? "gpu-discrete" : "generic-gpu-icon";
                break;
            }
        std::optional<double> celsius = usage.temperatureCelsius;
        if (!celsius)
            if (auto found = store.temperatures.find(WidgetStatistic::gpuGroupTemperatureSensor);
                found != store.temperatures.end() && !found->second.empty())
                celsius = found->second.front().celsius;
        model.temperatureStat.title = localized("dashboard_temperature");
        if (celsius) {
            model.temperatureStat.value = std::llround(*celsius);
            model.temperatureStat.fraction = *celsius / 100;
            model.temperatureStat.formattedValue = temperatureText(*celsius);
        } else {
            model.temperatureStat.formattedValue = localized("general_unknown");
        }
        model.memoryStat = fromFraction("dashboard_memory", usage.memoryUsedFraction);
        model.usageStat = fromFraction("dashboard_load", usage.usageFraction);
        if (auto history = store.gpuUsageHistory.find(DashboardDaemonStatsStore::historyKey(usage));
            history != store.gpuUsageHistory.end())
            model.usageHistory = history->second;
        model.bottomStats = {fromFraction("gpu_coreClockMHz", usage.coreClockUsedFraction),
                             fromFraction("gpu_memoryClockMHz", usage.memoryClockUsedFraction)};
        cards.push_back(cell(freshIdentifier(), std::move(model)));
    }
    return cards;
}

} // namespace tarnel
