#include "App/Dashboard/DashboardDaemonStatsStore.h"

#include "TarnelKit/Stats/StatsClient.h"

#include "QuendalFoundation/Logging/AppLogger.h"
#include "QuendalFoundation/Runtime/ConsumeWhileAlive.h"

#include <cmath>

namespace tarnel {

namespace {

void appendCapped(std::vector<int>& history, int sample)
{
    history.push_back(sample);
    if (history.size() > DashboardDaemonStatsStore::historyLength)
        history.erase(history.begin(), history.end() - DashboardDaemonStatsStore::historyLength);
}

template <class Snapshot>
std::map<WidgetStatistic, std::vector<Snapshot>> groupByStatistic(const std::vector<Snapshot>& items)
{
    std::map<WidgetStatistic, std::vector<Snapshot>> groups;
    for (const auto& item : items)
        groups[item.statistic].push_back(item);
    return groups;
}

} // namespace

int truncatedPercent(double fraction)
{
    if (!std::isfinite(fraction))
        return 0;
    return static_cast<int>(std::trunc(fraction * 100));
}

const std::vector<WidgetStatistic>& DashboardDaemonStatsStore::statistics()
{
    using W = WidgetStatistic;
    static const std::vector<WidgetStatistic> list{
        W::batteryCharge,   W::batteryHealth,   W::cpuUsage,        W::cpuSystemUsage,
        W::cpuUserUsage,    W::memoryPressure,  W::memorySwapFile,  W::ramWired,
        W::ramActive,       W::ramCompressed,   W::ramAvailable,    W::processCPUUsage,
        W::processRAMUsage, W::storageUsage,    W::gpuUsage,        W::gpuTemperature,
        W::gpuMemoryUsage,  W::gpuCoreClock,    W::gpuMemoryClock,  W::gpuGroupTemperatureSensor,
        W::cpuGroupTemperatureSensor, W::socGroupTemperatureSensor,
    };
    return list;
}

DashboardDaemonStatsStore::DashboardDaemonStatsStore(Updates updates) : updates_(std::move(updates)) {}

std::shared_ptr<DashboardDaemonStatsStore> DashboardDaemonStatsStore::shared()
{
    // Never destroyed: at exit the main executor is gone, and the stream's task must not be
    // cancelled onto it.
    static const auto* store = new std::shared_ptr<DashboardDaemonStatsStore>(std::make_shared<DashboardDaemonStatsStore>(
        [](std::vector<WidgetStatistic> statistics, StatisticUpdateFrequency frequency) {
            return StatsClient::sharedUpdates(statistics, frequency);
        }));
    return *store;
}

void DashboardDaemonStatsStore::applyStartupBatch(const StatsUpdateBatch& batch)
{
    if (!hasValues())
        apply(batch);
}

DashboardDaemonStatsStore::~DashboardDaemonStatsStore() = default; // the task handle cancels the loop

void DashboardDaemonStatsStore::start(std::function<void()> onUpdate)
{
    onUpdate_ = std::move(onUpdate);
    if (statsTask_)
        return;
    auto stream = updates_(statistics(), StatisticUpdateFrequency::fast);
    statsTask_ = quendal::spawnOnMain(follow(weak_from_this(), std::move(stream)));
}

asio::awaitable<void> DashboardDaemonStatsStore::follow(std::weak_ptr<DashboardDaemonStatsStore> weak,
                                                        quendal::AsyncStream<StatsUpdateBatch> stream)
{
    std::exception_ptr failure;
    try {
        auto following = quendal::consumeWhileAlive(std::move(weak), std::move(stream),
                                                    [](DashboardDaemonStatsStore& self, StatsUpdateBatch batch) {
                                                        self.apply(batch);
                                                        if (self.onUpdate_)
                                                            self.onUpdate_();
                                                    });
        co_await std::move(following);
    } catch (...) {
        failure = std::current_exception();
    }
    if (failure)
        quendal::AppLogger::errorUnlessCancelled(failure, "start(onUpdate:)",
                                                 "start(onUpdate:) the statistics stream ended with an unknown error");
}

void DashboardDaemonStatsStore::apply(const StatsUpdateBatch& batch)
{
    ++appliedBatches_;
    for (const auto& v : batch.values) {
        values[v.statistic][v.index] = v;
        if (v.statistic == WidgetStatistic::cpuUsage && v.fraction)
            appendCapped(cpuUsageHistory, truncatedPercent(*v.fraction));
    }
    // A batch that carries the service speaks for all volumes, also when it has none.
    for (auto service : batch.services)
        if (service == DaemonService::storageUsage) {
            storageVolumes = batch.storageVolumes;
            break;
        }
    if (!batch.processUsages.empty())
        processUsages = groupByStatistic(batch.processUsages);
    if (!batch.gpuUsages.empty()) {
        gpuUsages = batch.gpuUsages;
        for (const auto& usage : gpuUsages)
            if (usage.usageFraction)
                appendCapped(gpuUsageHistory[historyKey(usage)], truncatedPercent(*usage.usageFraction));
    }
    if (!batch.temperatures.empty())
        temperatures = groupByStatistic(batch.temperatures);
}

const StatsValueSnapshot* DashboardDaemonStatsStore::value(WidgetStatistic statistic, std::int64_t index) const
{
    auto s = values.find(statistic);
    if (s == values.end())
        return nullptr;
    auto i = s->second.find(index);
    return i == s->second.end() ? nullptr : &i->second;
}

std::optional<int> DashboardDaemonStatsStore::percentage(WidgetStatistic statistic, std::int64_t index) const
{
    const auto* v = value(statistic, index);
    if (!v || !v->fraction)
        return std::nullopt;
    return truncatedPercent(*v->fraction);
}

std::string DashboardDaemonStatsStore::historyKey(const StatsGPUUsageSnapshot& usage)
{
    return usage.identifier.empty() ? std::to_string(usage.index) : usage.identifier;
}

} // namespace tarnel
