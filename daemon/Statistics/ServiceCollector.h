#pragma once

#include "TarnelFoundation/Statistics/StatsSnapshots.h"

#include "Platform/Statistics/SystemRoot.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tarnel::daemon {

// Everything the sampled services yield at one tick: every instance of every statistic, and
// the arrays of each service. Subscriptions take their share of it.
struct CollectedState {
    std::set<DaemonService> services;
    std::vector<StatsValueSnapshot> values;
    StatsUpdateBatch arrays; // the snapshot arrays; `values` and `services` unused
};

using SteadyNow = std::function<std::chrono::steady_clock::time_point()>;

// What every collector is made with.
struct CollectorSetup {
    platform::SystemRoot root;
    SteadyNow now = &std::chrono::steady_clock::now;
};

// One tick as a collector sees it.
struct Tick {
    const std::set<DaemonService>& services; // everything sampled at this tick
    Date at;
    std::chrono::steady_clock::time_point now;
    // A source that failed without costing the collector its other values: `source` names it.
    std::function<void(const std::string& source, const std::exception& error)> report;

    bool wants(DaemonService service) const { return services.contains(service); }
};

// The previous sample of a rate and when it was taken: a rate needs two samples.
template <class Sample>
class Baseline {
public:
    using TimePoint = std::chrono::steady_clock::time_point;
    struct Previous {
        const Sample& sample;
        std::chrono::duration<double> elapsed;
    };

    // The last sample and the time since it; none before the first.
    std::optional<Previous> since(TimePoint now) const
    {
        if (!sample_)
            return std::nullopt;
        return Previous{*sample_, now - takenAt_};
    }
    void keep(Sample sample, TimePoint at)
    {
        sample_ = std::move(sample);
        takenAt_ = at;
    }

private:
    std::optional<Sample> sample_;
    TimePoint takenAt_{};
};

// One daemon service's reader: which statistics are its own, what it reads at a tick, and which
// arrays of a tick it carries into a subscription's batch. A service belongs to one collector;
// a collector may serve several services that share one reading (the process list, the GPUs).
class ServiceCollector {
public:
    explicit ServiceCollector(const CollectorSetup& setup) : root_(setup.root) {}
    virtual ~ServiceCollector() = default;

    virtual std::vector<DaemonService> services() const = 0;
    // The service of `statistic` when it is one of this collector's.
    virtual std::optional<DaemonService> serviceOf(WidgetStatistic statistic) const = 0;
    // Reads its sources and adds values and arrays to `state`. Throws when a source it cannot do
    // without fails; that costs its own values only.
    virtual void sample(const Tick& tick, CollectedState& state) = 0;
    // Copies what `service` produced at a tick (`arrays`) into `batch`.
    virtual void carry(DaemonService service, const StatsUpdateBatch& arrays, StatsUpdateBatch& batch) const = 0;

    bool serves(DaemonService service) const;

protected:
    platform::SystemRoot root_;
};

// A collector of one service whose statistics are a fixed list.
class SingleServiceCollector : public ServiceCollector {
public:
    SingleServiceCollector(const CollectorSetup& setup, DaemonService service, std::set<WidgetStatistic> statistics)
        : ServiceCollector(setup), service_(service), statistics_(std::move(statistics))
    {
    }
    std::vector<DaemonService> services() const override { return {service_}; }
    std::optional<DaemonService> serviceOf(WidgetStatistic statistic) const override
    {
        return statistics_.contains(statistic) ? std::optional(service_) : std::nullopt;
    }

private:
    DaemonService service_;
    std::set<WidgetStatistic> statistics_;
};

// The rows of each top-process list.
inline constexpr std::size_t topProcessCount = 5;

// The registered collectors, one of each, in sampling order.
std::vector<std::unique_ptr<ServiceCollector>> makeServiceCollectors(const CollectorSetup& setup);

// The collector that serves `service`, from a table kept for questions that need no reading.
const ServiceCollector& collectorOf(DaemonService service);

// The service a statistic is collected by.
DaemonService requiredService(WidgetStatistic statistic);

inline StatsValueSnapshot fractionValue(WidgetStatistic statistic, std::int64_t index, double fraction, Date at)
{
    return {statistic, index, fraction, fraction, std::nullopt, at};
}

inline StatsValueSnapshot bytesValue(WidgetStatistic statistic, std::uint64_t bytes, std::optional<std::uint64_t> total, Date at)
{
    std::optional<double> fraction;
    if (total && *total > 0)
        fraction = static_cast<double>(bytes) / static_cast<double>(*total);
    return {statistic, 0, static_cast<double>(bytes), fraction, std::nullopt, at};
}

} // namespace tarnel::daemon
