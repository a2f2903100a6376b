#include "Statistics/ServiceCollector.h"

#include "Platform/Statistics/MemoryInfoReader.h"
#include "Platform/Statistics/MemoryPressureReader.h"

#include "QuendalFoundation/Formatting/ByteCountFormatter.h"

namespace tarnel::daemon {
namespace {

// Memory by kind, its pressure and the swap in use.
class MemoryCollector final : public SingleServiceCollector {
public:
    explicit MemoryCollector(const CollectorSetup& setup)
        : SingleServiceCollector(setup, DaemonService::ram,
                                 {WidgetStatistic::memoryPressure, WidgetStatistic::memorySwapFile, WidgetStatistic::ramWired,
                                  WidgetStatistic::ramActive, WidgetStatistic::ramCompressed, WidgetStatistic::ramAvailable})
    {
    }

    void sample(const Tick& tick, CollectedState& state) override
    {
        const auto at = tick.at;
        auto memory = platform::MemoryInfoReader(root_).read();
        const auto total = memory.totalBytes;
        if (auto wired = memory.wiredBytes())
            state.values.push_back(bytesValue(WidgetStatistic::ramWired, *wired, total, at));
        if (memory.activeBytes)
            state.values.push_back(bytesValue(WidgetStatistic::ramActive, *memory.activeBytes, total, at));
        if (memory.compressedBytes)
            state.values.push_back(bytesValue(WidgetStatistic::ramCompressed, *memory.compressedBytes, total, at));
        if (memory.availableBytes)
            state.values.push_back(bytesValue(WidgetStatistic::ramAvailable, *memory.availableBytes, total, at));
        if (auto pressure = platform::MemoryPressureReader(root_).read())
            state.values.push_back(fractionValue(WidgetStatistic::memoryPressure, 0, pressure->fraction(), at));
        if (memory.swapTotalBytes) {
            const auto used = memory.swapUsedBytes().value_or(0);
            auto swap = bytesValue(WidgetStatistic::memorySwapFile, used, memory.swapTotalBytes, at);
            swap.stringValue = quendal::ByteCountFormatter::string(static_cast<std::int64_t>(used)) + " / " +
                               quendal::ByteCountFormatter::string(static_cast<std::int64_t>(*memory.swapTotalBytes));
            state.values.push_back(std::move(swap));
        }
    }

    void carry(DaemonService, const StatsUpdateBatch&, StatsUpdateBatch&) const override {} // values only

};

} // namespace

std::unique_ptr<ServiceCollector> makeMemoryCollector(const CollectorSetup& s) { return std::make_unique<MemoryCollector>(s); }

} // namespace tarnel::daemon
