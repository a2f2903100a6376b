// The cost of the daemon's readers on this machine: each reader alone, and one full sample of all
// of them with the deltas and top lists the daemon makes. The budget is 0.5 % of one core at one
// sample every 2 s, that is 10 ms of CPU per sample; "core_percent_at_2s" reports the share.
#include "Platform/Statistics/CpuUsage.h"
#include "Platform/Statistics/DiskRates.h"
#include "Platform/Statistics/EnergyCounterReader.h"
#include "Platform/Statistics/InterfaceAddresses.h"
#include "Platform/Statistics/MemoryInfoReader.h"
#include "Platform/Statistics/MemoryPressureReader.h"
#include "Platform/Statistics/NetworkInterfaceReader.h"
#include "Platform/Statistics/PowerSupplyReader.h"
#include "Platform/Statistics/ProcessUsage.h"
#include "Platform/Statistics/RouteTableReader.h"
#include "Platform/Statistics/StorageVolumeReader.h"
#include "Platform/Statistics/SystemLoadReader.h"

#include <benchmark/benchmark.h>

#include <ctime>

using namespace tarnel::platform;

namespace {

constexpr double samplePeriodSeconds = 2.0;
constexpr std::size_t topListLength = 5;

double processCpuSeconds()
{
    timespec now{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

void reportBudget(benchmark::State& state, double cpuSeconds)
{
    double perSample = cpuSeconds / static_cast<double>(state.iterations());
    state.counters["cpu_us_per_sample"] = perSample * 1e6;
    state.counters["core_percent_at_2s"] = perSample / samplePeriodSeconds * 100.0;
}

template <typename Read>
void measure(benchmark::State& state, Read read)
{
    double start = processCpuSeconds();
    for (auto _ : state)
        benchmark::DoNotOptimize(read());
    reportBudget(state, processCpuSeconds() - start);
}

void cpuTimes(benchmark::State& state) { measure(state, [] { return CpuTimesReader().read(); }); }
void systemLoad(benchmark::State& state) { measure(state, [] { return SystemLoadReader().read(); }); }
void memory(benchmark::State& state)
{
    measure(state, [] { return std::make_pair(MemoryInfoReader().read(), MemoryPressureReader().read()); });
}
void processes(benchmark::State& state) { measure(state, [] { return ProcessReader().readAll(); }); }
void storageVolumes(benchmark::State& state) { measure(state, [] { return StorageVolumeReader().read(); }); }
void diskStats(benchmark::State& state) { measure(state, [] { return DiskStatsReader().readDrives(); }); }
void power(benchmark::State& state)
{
    measure(state, [] { return std::make_pair(PowerSupplyReader().read(), EnergyCounterReader().read()); });
}
void network(benchmark::State& state)
{
    measure(state, [] {
        return std::make_tuple(NetworkInterfaceReader().read(), SystemInterfaceAddresses().addresses(),
            RouteTableReader().defaultRoutes());
    });
}

// Everything the daemon reads on one tick of a Dashboard subscription, with its deltas.
void fullSample(benchmark::State& state)
{
    ProcessReader processReader;
    StorageVolumeReader volumeReader;
    auto previousCpu = CpuTimesReader().read();
    auto previousProcesses = processReader.readAll();
    auto previousDisks = DiskStatsReader().readDrives();
    auto previousEnergy = EnergyCounterReader().read();
    auto previousInterfaces = NetworkInterfaceReader().read();

    double start = processCpuSeconds();
    for (auto _ : state) {
        auto cpu = CpuTimesReader().read();
        benchmark::DoNotOptimize(cpuUsageBetween(previousCpu, cpu));
        benchmark::DoNotOptimize(SystemLoadReader().read());
        benchmark::DoNotOptimize(MemoryInfoReader().read());
        benchmark::DoNotOptimize(MemoryPressureReader().read());

        auto current = processReader.readAll();
        auto byCpu = topByCpu(processCpuUsageBetween(previousProcesses, current, samplePeriodSeconds), topListLength);
        auto byMemory = topByResidentMemory(current, topListLength);
        for (const auto& usage : byCpu)
            benchmark::DoNotOptimize(processReader.details(usage.process));
        for (const auto& process : byMemory)
            benchmark::DoNotOptimize(processReader.details(process));

        benchmark::DoNotOptimize(volumeReader.read());
        auto disks = DiskStatsReader().readDrives();
        benchmark::DoNotOptimize(diskRatesBetween(previousDisks, disks, samplePeriodSeconds));
        benchmark::DoNotOptimize(PowerSupplyReader().read());
        auto energy = EnergyCounterReader().read();
        benchmark::DoNotOptimize(powerBetween(previousEnergy, energy, samplePeriodSeconds));
        auto interfaces = NetworkInterfaceReader().read();
        benchmark::DoNotOptimize(interfaceRatesBetween(previousInterfaces, interfaces, samplePeriodSeconds));
        benchmark::DoNotOptimize(SystemInterfaceAddresses().addresses());
        benchmark::DoNotOptimize(RouteTableReader().defaultRoutes());

        previousCpu = std::move(cpu);
        previousProcesses = std::move(current);
        previousDisks = std::move(disks);
        previousEnergy = std::move(energy);
        previousInterfaces = std::move(interfaces);
    }
    reportBudget(state, processCpuSeconds() - start);
    state.counters["processes"] = static_cast<double>(previousProcesses.size());
}

} // namespace

BENCHMARK(cpuTimes);
BENCHMARK(systemLoad);
BENCHMARK(memory);
BENCHMARK(processes);
BENCHMARK(storageVolumes);
BENCHMARK(diskStats);
BENCHMARK(power);
BENCHMARK(network);
BENCHMARK(fullSample);

BENCHMARK_MAIN();
