#pragma once

#include "TarnelKit/Benchmark/BenchResult.h"
#include "TarnelKit/Benchmark/DiskBenchmarkError.h"

#include "TarnelFoundation/Catalog/HardwareCatalog.h"

#include <cstdint>
#include <optional>

namespace tarnel {

// Who hears of a run; every call comes on the main actor.
class DiskBenchmarkListener {
public:
    virtual ~DiskBenchmarkListener() = default;

    virtual void benchmarkDidStart() {}
    virtual void benchmarkDidWrite(std::uint64_t /*bytesPerSecond*/) {}
    virtual void benchmarkDidRead(std::uint64_t /*bytesPerSecond*/) {}
    // Seconds since the start over the run's measured seconds; may pass 1.0.
    virtual void benchmarkDidProgress(double /*fraction*/) {}
    // The run ended early; no error when stop() ended it.
    virtual void benchmarkDidStop(const std::optional<DiskBenchmarkError>& /*error*/) {}
    virtual void benchmarkDidFailToClean(const DiskBenchmarkError& /*error*/) {}
    virtual void benchmarkDidFinish(const std::optional<HardwareDiskCatalogItem>& /*drive*/, const BenchResult& /*result*/) {}
};

} // namespace tarnel
