#include "Statistics/ServiceCollector.h"

#include "Platform/Statistics/DiskRates.h"
#include "Platform/Statistics/DiskStatsReader.h"

namespace tarnel::daemon {
namespace {

using K = StatsStorageStatisticKind;
using R = platform::DiskRates;

template <auto member>
std::optional<double> rate(const R& rates)
{
    return rates.*member;
}

// Each statistic a drive reports and the rate that measures it, in the order they are sent.
constexpr std::pair<K, std::optional<double> (*)(const R&)> fields[] = {
    {K::readOperations, rate<&R::readOperations>}, {K::writeOperations, rate<&R::writeOperations>},
    {K::readLatency, rate<&R::readLatency>},       {K::writeLatency, rate<&R::writeLatency>},
    {K::readBytes, rate<&R::readBytes>},           {K::writeBytes, rate<&R::writeBytes>},
    {K::readErrors, rate<&R::readErrors>},         {K::writeErrors, rate<&R::writeErrors>},
    {K::readTotalTime, rate<&R::readTotalTime>},   {K::writeTotalTime, rate<&R::writeTotalTime>},
    {K::readRetries, rate<&R::readRetries>},       {K::writeRetries, rate<&R::writeRetries>},
};

// Operations, bytes, latencies and errors of every drive, as rates between two ticks.
class DiskStatisticsCollector final : public SingleServiceCollector {
public:
    explicit DiskStatisticsCollector(const CollectorSetup& setup)
        : SingleServiceCollector(setup, DaemonService::storageStatistics, {})
    {
    }

    void sample(const Tick& tick, CollectedState& state) override
    {
        auto disks = platform::DiskStatsReader(root_).readDrives();
        if (auto previous = baseline_.since(tick.now)) {
            for (const auto& rates : platform::diskRatesBetween(previous->sample, disks, previous->elapsed.count()))
                for (const auto& [kind, read] : fields)
                    if (const auto value = read(rates))
                        state.arrays.storageStatistics.push_back({rates.name, kind, *value, tick.at});
        }
        baseline_.keep(std::move(disks), tick.now);
    }

    void carry(DaemonService, const StatsUpdateBatch& arrays, StatsUpdateBatch& batch) const override
    {
        batch.storageStatistics = arrays.storageStatistics;
    }

private:
    Baseline<std::vector<platform::DiskCounters>> baseline_;
};

} // namespace

std::unique_ptr<ServiceCollector> makeDiskStatisticsCollector(const CollectorSetup& s) { return std::make_unique<DiskStatisticsCollector>(s); }

} // namespace tarnel::daemon
