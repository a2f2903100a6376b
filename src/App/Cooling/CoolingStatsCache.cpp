#include "App/Cooling/CoolingStatsCache.h"

#include "App/Cooling/CoolingSensorGroup.h"

#include "TarnelKit/Stats/StatsClient.h"

#include "QuendalFoundation/Logging/AppLogger.h"
#include "QuendalFoundation/Runtime/ConsumeWhileAlive.h"

#include <cmath>

namespace tarnel {

namespace {

template <class Key, class Element>
CappedCollection<Element>& historyOf(std::map<Key, CappedCollection<Element>>& histories, const Key& key)
{
    return histories.try_emplace(key, coolingHistoryLength).first->second;
}

std::int64_t truncated(double value)
{
    return std::isfinite(value) ? static_cast<std::int64_t>(std::trunc(value)) : 0;
}

} // namespace

void CoolingStatsSnapshot::apply(const StatsUpdateBatch& batch)
{
    received = true;
    for (const auto& fan : batch.fans) {
        latestFans[fan.identifier] = fan;
        auto& history = fanReadings[fan.identifier];
        if (fan.currentRPM)
            history.current.append(truncated(*fan.currentRPM));
        if (fan.targetRPM)
            history.target.append(truncated(*fan.targetRPM));
        if (fan.fraction)
            history.fraction.append(static_cast<float>(*fan.fraction));
    }
    for (const auto& sensor : batch.temperatures) {
        latestTemperatures[sensor.identifier] = sensor;
        if (isGroupTemperatureStatistic(sensor.statistic))
            historyOf(groupTemperatureReadings, sensor.statistic).append(sensor.celsius);
        else
            historyOf(temperatureReadings, sensor.identifier).append(sensor.celsius);
    }
}

std::shared_ptr<CoolingStatsCache> CoolingStatsCache::shared()
{
    static const auto cache = std::make_shared<CoolingStatsCache>(
        [](std::vector<WidgetStatistic> statistics, StatisticUpdateFrequency frequency) {
            return StatsClient::sharedUpdates(statistics, frequency);
        });
    return cache;
}

const std::vector<WidgetStatistic>& CoolingStatsCache::statistics()
{
    static const std::vector<WidgetStatistic> list = [] {
        // Both runs in the statistics' own order, which is not the groups' order.
        std::vector<WidgetStatistic> all{WidgetStatistic::fanSpeed};
        const auto first = static_cast<int>(WidgetStatistic::socTemperatureSensor);
        const auto last = static_cast<int>(WidgetStatistic::otherGroupTemperatureSensor);
        for (int raw = first; raw <= last; ++raw)
            all.push_back(static_cast<WidgetStatistic>(raw));
        return all;
    }();
    return list;
}

CoolingStatsCache::CoolingStatsCache(Updates updates) : updates_(std::move(updates)) {}

void CoolingStatsCache::start()
{
    if (isStreaming())
        return;
    auto stream = updates_(statistics(), StatisticUpdateFrequency::slow);
    statsTask_ = quendal::spawnOnMain(follow(weak_from_this(), std::move(stream)));
}

asio::awaitable<void> CoolingStatsCache::follow(std::weak_ptr<CoolingStatsCache> weak, quendal::AsyncStream<StatsUpdateBatch> stream)
{
    std::exception_ptr failure;
    try {
        auto following = quendal::consumeWhileAlive(std::move(weak), std::move(stream),
                                                    [](CoolingStatsCache& self, StatsUpdateBatch batch) {
                                                        auto next = self.snapshot.value();
                                                        next.apply(batch);
                                                        self.snapshot.set(std::move(next));
                                                    });
        co_await std::move(following);
    } catch (...) {
        failure = std::current_exception();
    }
    // The snapshot stays as it was; the finished task lets the next start() open the stream again.
    if (failure)
        quendal::AppLogger::errorUnlessCancelled(failure, "start()", "start() the cooling stream ended with an unknown error");
}

} // namespace tarnel
