#pragma once

#include "Statistics/ServiceCollector.h"
#include "Statistics/SmartReadings.h"
#include "Statistics/SmartctlProbe.h"

namespace tarnel::daemon {

// The drives' S.M.A.R.T. reports. Drives are read by `launch` (a thread of its own by default)
// and a tick serves the last reports; without a probe there are none.
class SmartCollector final : public SingleServiceCollector {
public:
    explicit SmartCollector(const CollectorSetup& setup);

    void setProbe(std::shared_ptr<const SmartctlProbe> probe, SmartReadings::Launch launch = {});
    void sample(const Tick& tick, CollectedState& state) override;
    void carry(DaemonService, const StatsUpdateBatch& arrays, StatsUpdateBatch& batch) const override;

private:
    static constexpr std::chrono::minutes lifetime{5};
    SteadyNow now_;
    std::unique_ptr<SmartReadings> readings_;
};

} // namespace tarnel::daemon
