#include "Catalog/HardwareCatalogCollector.h"
#include "Statistics/SensorClassification.h"
#include "Statistics/SensorReadings.h"
#include "Statistics/SmartHealth.h"
#include "Statistics/SmartReadings.h"
#include "Statistics/StatisticsCollector.h"

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <map>

using namespace tarnel;
using namespace tarnel::daemon;
using W = WidgetStatistic;

namespace {

platform::SystemRoot machine(const char* name)
{
    return platform::SystemRoot(tarnel::testing::sourceDirectory() / "tests" / "fixtures" / name);
}

std::string fixture(const char* name, const std::string& file)
{
    return tarnel::testing::readFile(machine(name).root() / file);
}

struct NoVolumes : platform::FileSystemStatistics {
    std::optional<platform::FileSystemFigures> figures(const std::string&) const override { return std::nullopt; }
};

// smartctl as recorded on the fixture machine: the document of each drive by its device path.
struct RecordedSmartctl : CommandRunner {
    explicit RecordedSmartctl(const char* machineName) : machineName(machineName) {}
    CommandResult run(const std::vector<std::string>& command) override
    {
        calls.push_back(command.back());
        const auto drive = std::filesystem::path(command.back()).filename().string();
        const auto file = machine(machineName).root() / "smartctl" / (drive + ".json");
        if (!std::filesystem::exists(file))
            return {2, R"({"smartctl": {"exit_status": 2, "messages": [{"string": "No such device", "severity": "error"}]}})"};
        return {0, tarnel::testing::readFile(file)};
    }
    const char* machineName;
    std::vector<std::string> calls;
};

std::shared_ptr<SmartctlProbe> recordedProbe(std::shared_ptr<RecordedSmartctl> runner)
{
    return std::make_shared<SmartctlProbe>(std::move(runner), std::filesystem::path("/usr/sbin/smartctl"));
}

HardwareCatalogSnapshot catalogOf(const char* name, std::shared_ptr<const SmartctlProbe> smart = nullptr)
{
    return HardwareCatalogCollector(machine(name), std::make_shared<NoVolumes>(),
                                    platform::PciIdDatabase::find(machine(name).root()), std::move(smart))
        .collect();
}

const StatsStorageSmartValueSnapshot* row(const StatsStorageSmartReportSnapshot& report, const std::string& name)
{
    for (const auto& value : report.values)
        if (value.name == name)
            return &value;
    return nullptr;
}

} // namespace

TEST(HardwareCatalog, EverySensorFindsItsFamilyThroughTheTable)
{
    EXPECT_EQ(classifyTemperatureSensor("coretemp", "Core 0"), W::cpuTemperatureSensor);
    EXPECT_EQ(classifyTemperatureSensor("k10temp", "Tctl"), W::cpuTemperatureSensor);
    EXPECT_EQ(classifyTemperatureSensor("amdgpu", "junction"), W::gpuTemperatureSensor);
    EXPECT_EQ(classifyTemperatureSensor("nvme", "Composite"), W::storageTemperatureSensor);
    EXPECT_EQ(classifyTemperatureSensor("drivetemp", ""), W::storageTemperatureSensor);
    EXPECT_EQ(classifyTemperatureSensor("iwlwifi_1", ""), W::airportTemperatureSensor);
    EXPECT_EQ(classifyTemperatureSensor("acpitz", ""), W::logicBoardTemperatureSensor);
    EXPECT_EQ(classifyTemperatureSensor("BAT0", ""), W::batteryTemperatureSensor);
    // Labelled rules of a chip come before its catch-all.
    EXPECT_EQ(classifyTemperatureSensor("nct6798", "CPUTIN"), W::cpuTemperatureSensor);
    EXPECT_EQ(classifyTemperatureSensor("nct6798", "SYSTIN"), W::logicBoardTemperatureSensor);
    EXPECT_EQ(classifyTemperatureSensor("thinkpad", "GPU"), W::gpuTemperatureSensor);
    EXPECT_EQ(classifyTemperatureSensor("thinkpad", ""), W::logicBoardTemperatureSensor);
    EXPECT_EQ(classifyTemperatureSensor("dell_smm", "SODIMM"), W::memoryTemperatureSensor);
    // Unknown chips go by their labels, else they are "other".
    EXPECT_EQ(classifyTemperatureSensor("mystery", "Ambient Temp"), W::ambientTemperatureSensor);
    EXPECT_EQ(classifyTemperatureSensor("mystery", "temp1"), W::otherTemperatureSensor);

    EXPECT_EQ(groupStatistic(W::cpuTemperatureSensor), W::cpuGroupTemperatureSensor);
    EXPECT_EQ(groupStatistic(W::socTemperatureSensor), W::socGroupTemperatureSensor);
    EXPECT_EQ(groupStatistic(W::otherTemperatureSensor), W::otherGroupTemperatureSensor);
    EXPECT_FALSE(isIndividualTemperatureSensor(W::cpuGroupTemperatureSensor));
    EXPECT_FALSE(isIndividualTemperatureSensor(W::fanSpeed));
    EXPECT_EQ(sensorFamilyTitle(W::airportGroupTemperatureSensor), "Wi-Fi");
    EXPECT_EQ(sensorFamilyTitle(W::logicBoardTemperatureSensor), "Logic Board");
}

TEST(HardwareCatalog, SensorReadingsIndexEachFamilyAndReportTheHottestAsTheGroup)
{
    const Date at = Date::now();
    const auto readings = SensorReadings::from(platform::HwmonReader(machine("laptop")).read(), at);
    std::map<W, std::vector<std::int64_t>> indexes;
    for (const auto& sensor : readings.sensors)
        indexes[sensor.statistic].push_back(sensor.index);
    EXPECT_EQ(indexes[W::cpuTemperatureSensor], (std::vector<std::int64_t>{0, 1, 2}));
    EXPECT_EQ(indexes[W::logicBoardTemperatureSensor], (std::vector<std::int64_t>{0, 1, 2, 3})) << "ACPI and the EC's three";
    EXPECT_EQ(readings.sensors.size(), 11u);
    EXPECT_EQ(readings.temperatures.size(), 10u + 5u) << "the sleeping EC channel sends nothing; five groups";

    std::map<W, double> groups;
    for (const auto& t : readings.temperatures)
        if (!isIndividualTemperatureSensor(t.statistic))
            groups[t.statistic] = t.celsius;
    EXPECT_DOUBLE_EQ(groups[W::cpuGroupTemperatureSensor], 57.0);
    EXPECT_DOUBLE_EQ(groups[W::logicBoardGroupTemperatureSensor], 56.0);
    EXPECT_DOUBLE_EQ(groups[W::storageGroupTemperatureSensor], 44.85);
    EXPECT_FALSE(groups.contains(W::gpuGroupTemperatureSensor));

    const auto& package = readings.sensors[2];
    EXPECT_EQ(package.identifier, "coretemp@coretemp.0/temp1");
    EXPECT_EQ(package.name, "CPU Package id 0");
    ASSERT_EQ(readings.fans.size(), 1u);
    EXPECT_EQ(readings.fans[0].name, "Fan 1");
    EXPECT_FALSE(readings.fans[0].fraction) << "no maximum, no fraction";

    const auto values = readings.values();
    EXPECT_EQ(values.size(), readings.temperatures.size() + 1);
    EXPECT_EQ(values.back().statistic, W::fanSpeed);
    EXPECT_DOUBLE_EQ(*values.back().value, 2650);

    const auto desktop = SensorReadings::from(platform::HwmonReader(machine("desktop")).read(), at);
    ASSERT_EQ(desktop.fans.size(), 3u);
    EXPECT_DOUBLE_EQ(*desktop.fans[0].fraction, 1200.0 / 3300.0) << "the card's fan from 0 to its maximum";
    EXPECT_DOUBLE_EQ(*desktop.fans[2].fraction, (1105.0 - 300.0) / (1900.0 - 300.0));
    EXPECT_EQ(desktop.fans[2].index, 2);
}

TEST(HardwareCatalog, TheDaemonJudgesDriveHealth)
{
    const Date at = Date::now();
    auto nvme = judgeSmartReport("nvme0n1", *platform::parseSmartctlJson(fixture("laptop", "smartctl/nvme0n1.json")), at);
    EXPECT_EQ(nvme.healthPercentage, 98) << "100 less the wear used";
    EXPECT_EQ(nvme.status, StatsHealthStatus::ok);
    EXPECT_EQ(nvme.values.front().name, "Temperature");
    ASSERT_TRUE(row(nvme, "Data Units Written"));
    EXPECT_DOUBLE_EQ(*row(nvme, "Data Units Written")->current, 31742209.0 * 512000.0);
    EXPECT_EQ(row(nvme, "Data Units Written")->valueType, StatsSmartValueType::bytes);

    auto ssd = judgeSmartReport("sda", *platform::parseSmartctlJson(fixture("desktop", "smartctl/sda.json")), at);
    EXPECT_EQ(ssd.healthPercentage, 97) << "the normalised wear-levelling value";
    EXPECT_EQ(ssd.status, StatsHealthStatus::ok);
    ASSERT_TRUE(row(ssd, "Temperature Celsius"));
    EXPECT_DOUBLE_EQ(*row(ssd, "Temperature Celsius")->current, 36) << "the low byte of the raw value";
    EXPECT_EQ(row(ssd, "Power On Hours")->valueType, StatsSmartValueType::time);
    EXPECT_FALSE(row(ssd, "Temperature")) << "an ATA drive lists its temperature once";

    auto hdd = judgeSmartReport("sdb", *platform::parseSmartctlJson(fixture("desktop", "smartctl/sdb.json")), at);
    EXPECT_EQ(hdd.healthPercentage, 88) << "24 reallocated sectors cost 12 points";
    EXPECT_EQ(hdd.status, StatsHealthStatus::warning);
    EXPECT_EQ(row(hdd, "Reallocated Sector Ct")->status, StatsHealthStatus::warning);
    EXPECT_EQ(row(hdd, "Offline Uncorrectable")->status, StatsHealthStatus::warning) << "failed in the past";
    EXPECT_EQ(row(hdd, "Raw Read Error Rate")->status, StatsHealthStatus::ok);

    platform::SmartctlReport failing;
    failing.passed = true;
    failing.nvme = platform::NvmeHealthLog{};
    failing.nvme->criticalWarning = 0x04;
    failing.nvme->percentageUsed = 140;
    auto degraded = judgeSmartReport("nvme1n1", failing, at);
    EXPECT_EQ(degraded.status, StatsHealthStatus::failed) << "reliability degraded";
    EXPECT_EQ(degraded.healthPercentage, 0) << "wear beyond 100 % is no health left";

    platform::SmartctlReport spare;
    spare.nvme = platform::NvmeHealthLog{};
    spare.nvme->availableSpare = 5;
    spare.nvme->availableSpareThreshold = 10;
    spare.nvme->percentageUsed = 30;
    auto lowSpare = judgeSmartReport("nvme2n1", spare, at);
    EXPECT_EQ(lowSpare.healthPercentage, 10);
    EXPECT_EQ(lowSpare.status, StatsHealthStatus::failed);

    platform::SmartctlReport verdict;
    verdict.passed = false;
    auto dying = judgeSmartReport("sdc", verdict, at);
    EXPECT_EQ(dying.status, StatsHealthStatus::failed) << "the drive's own verdict stands";
    EXPECT_LE(dying.healthPercentage, 10);

    platform::SmartctlReport nothing;
    nothing.errors = {"Permission denied"};
    EXPECT_EQ(judgeSmartReport("sdd", nothing, at).status, StatsHealthStatus::missing);
}

TEST(HardwareCatalog, ThreeMachinesGiveTheirGraphicsDevicesSensorsFansAndDrives)
{
    auto runner = std::make_shared<RecordedSmartctl>("desktop");
    const auto desktop = catalogOf("desktop", recordedProbe(runner));
    ASSERT_EQ(desktop.gpus.size(), 1u);
    const auto& radeon = desktop.gpus[0];
    EXPECT_EQ(radeon.name, "AMD Radeon RX 6600/6600 XT/6600M");
    EXPECT_EQ(radeon.vendor, "AMD");
    EXPECT_EQ(radeon.family, "Navi 23");
    EXPECT_EQ(radeon.subvendor, "ASRock Incorporation");
    EXPECT_EQ(radeon.subsystem, "Radeon RX 6600 Challenger ITX 8GB");
    EXPECT_EQ(radeon.kind, HardwareGPUKind::discrete);
    EXPECT_FALSE(radeon.isLowPower);
    EXPECT_TRUE(radeon.supportsAudio);
    EXPECT_EQ(radeon.vramBytes, 8573157376u);
    EXPECT_EQ(radeon.driverBundle, "amdgpu");
    EXPECT_EQ(radeon.partID, "0x73ff");
    EXPECT_EQ(radeon.revisionID, "0xc7");
    EXPECT_DOUBLE_EQ(*radeon.clockMHz, 2491);
    EXPECT_EQ(desktop.fans.size(), 3u);
    EXPECT_EQ(desktop.temperatureSensors.size(), 9u);
    std::vector<std::string> drives;
    for (const auto& drive : desktop.storage.physicalDrives())
        drives.push_back(drive.identifier);
    EXPECT_EQ(drives, (std::vector<std::string>{"sda", "sdb"}));
    EXPECT_EQ(desktop.storage.disk("sda")->smartStatus, HardwareSmartStatus::verified);
    EXPECT_EQ(desktop.storage.disk("sdb")->smartStatus, HardwareSmartStatus::verified);
    EXPECT_EQ(runner->calls, (std::vector<std::string>{"/dev/sda", "/dev/sdb"})) << "whole drives only";

    const auto laptop = catalogOf("laptop", recordedProbe(std::make_shared<RecordedSmartctl>("laptop")));
    ASSERT_EQ(laptop.gpus.size(), 1u);
    EXPECT_EQ(laptop.gpus[0].name, "Intel Alder Lake-P Integrated Graphics Controller");
    EXPECT_EQ(laptop.gpus[0].kind, HardwareGPUKind::integrated);
    EXPECT_TRUE(laptop.gpus[0].isLowPower);
    EXPECT_EQ(laptop.gpus[0].subvendor, "Lenovo");
    EXPECT_EQ(laptop.fans.size(), 1u);
    EXPECT_EQ(laptop.storage.disk("nvme0n1")->smartStatus, HardwareSmartStatus::verified);

    const auto vm = catalogOf("build-vm");
    ASSERT_EQ(vm.gpus.size(), 1u);
    EXPECT_EQ(vm.gpus[0].name, "Red Hat Virtio 1.0 GPU");
    EXPECT_EQ(vm.gpus[0].kind, HardwareGPUKind::unknown);
    EXPECT_TRUE(vm.fans.empty());
    EXPECT_TRUE(vm.temperatureSensors.empty());
    EXPECT_EQ(vm.storage.disk("vda")->smartStatus, HardwareSmartStatus::unknown) << "nobody asked a virtio disk";
    auto again = catalogOf("build-vm");
    again.generatedAt = vm.generatedAt;
    EXPECT_EQ(vm, again) << "nothing is left to chance but the time";
}

TEST(HardwareCatalog, SensorsGraphicsAndSmartServicesOnTheDesktop)
{
    auto now = std::chrono::steady_clock::time_point{};
    StatisticsCollector collector(machine("desktop"), [&] { return now; });
    auto runner = std::make_shared<RecordedSmartctl>("desktop");
    std::vector<std::function<void()>> reads; // smartctl runs off the tick: here, when the test says
    collector.setSmartProbe(recordedProbe(runner), [&](std::function<void()> job) { reads.push_back(std::move(job)); });
    const std::set<DaemonService> services{DaemonService::sensors, DaemonService::gpuUsage, DaemonService::storageSmart};
    auto state = collector.collect(services);

    ASSERT_EQ(state.arrays.gpuUsages.size(), 1u);
    const auto& gpu = state.arrays.gpuUsages[0];
    EXPECT_EQ(gpu.name, "AMD Radeon RX 6600/6600 XT/6600M");
    EXPECT_DOUBLE_EQ(*gpu.usageFraction, 0.12);
    EXPECT_DOUBLE_EQ(*gpu.memoryUsedFraction, 536870912.0 / 8573157376.0);
    EXPECT_DOUBLE_EQ(*gpu.coreClockUsedFraction, 700.0 / 2491.0);
    EXPECT_DOUBLE_EQ(*gpu.memoryClockUsedFraction, 875.0 / 1000.0);
    std::map<W, double> values;
    for (const auto& v : state.values)
        if (v.index == 0 && v.value)
            values[v.statistic] = *v.value;
    EXPECT_DOUBLE_EQ(values[W::gpuUsage], 0.12);
    EXPECT_DOUBLE_EQ(values[W::gpuCoreClock], 700);
    EXPECT_DOUBLE_EQ(values[W::gpuPowerUsage], 15);
    EXPECT_DOUBLE_EQ(values[W::cpuGroupTemperatureSensor], 48.5);
    EXPECT_DOUBLE_EQ(values[W::fanSpeed], 1200);
    EXPECT_EQ(state.arrays.fans.size(), 3u);

    // The first tick does not wait for the drives: it starts one read and goes on without reports.
    EXPECT_TRUE(state.arrays.storageSmartReports.empty());
    ASSERT_EQ(reads.size(), 1u);
    EXPECT_TRUE(runner->calls.empty());
    collector.collect({DaemonService::storageSmart});
    EXPECT_EQ(reads.size(), 1u) << "one read at a time";
    reads[0]();
    EXPECT_EQ(runner->calls.size(), 2u) << "both SATA drives";
    state = collector.collect({DaemonService::storageSmart});
    ASSERT_EQ(state.arrays.storageSmartReports.size(), 2u);
    EXPECT_EQ(state.arrays.storageSmartReports[1].identifier, "sdb");
    EXPECT_EQ(state.arrays.storageSmartReports[1].status, StatsHealthStatus::warning);

    // Drives are asked again only after the reading has aged, and the old reports are served
    // while they are.
    now += std::chrono::minutes(4);
    auto later = collector.collect({DaemonService::storageSmart});
    EXPECT_EQ(reads.size(), 1u);
    EXPECT_EQ(later.arrays.storageSmartReports.size(), 2u);
    now += std::chrono::minutes(2);
    later = collector.collect({DaemonService::storageSmart});
    ASSERT_EQ(reads.size(), 2u);
    EXPECT_EQ(later.arrays.storageSmartReports.size(), 2u);
    reads[1]();
    EXPECT_EQ(runner->calls.size(), 4u);

    // Without a probe there are no reports, and nothing else breaks.
    StatisticsCollector bare(machine("build-vm"));
    auto vm = bare.collect(services);
    EXPECT_TRUE(vm.arrays.storageSmartReports.empty());
    EXPECT_TRUE(vm.arrays.temperatures.empty());
    ASSERT_EQ(vm.arrays.gpuUsages.size(), 1u);
    EXPECT_FALSE(vm.arrays.gpuUsages[0].usageFraction);
}

TEST(HardwareCatalog, SmartReadingsSurviveAFailedReadAndJoinTheirThread)
{
    auto now = std::chrono::steady_clock::time_point{};
    int calls = 0;
    bool fail = false;
    std::vector<std::function<void()>> reads;
    SmartReadings readings(
        [&] {
            ++calls;
            if (fail)
                throw std::runtime_error("smartctl went away");
            StatsStorageSmartReportSnapshot report;
            report.identifier = "nvme0n1";
            return SmartReadings::Reports{report};
        },
        [&] { return now; }, std::chrono::minutes(5), [&](std::function<void()> job) { reads.push_back(std::move(job)); });
    readings.current();
    reads.back()();
    EXPECT_EQ(readings.current().size(), 1u);

    // A read that throws keeps the last reports and is not retried at every tick.
    fail = true;
    now += std::chrono::minutes(5);
    readings.current();
    ASSERT_EQ(reads.size(), 2u);
    reads.back()();
    EXPECT_FALSE(readings.reading());
    EXPECT_EQ(readings.current().size(), 1u);
    EXPECT_EQ(reads.size(), 2u);
    now += std::chrono::minutes(5);
    fail = false;
    readings.current();
    EXPECT_EQ(reads.size(), 3u);

    // On its own thread by default; going away waits for the read under way.
    int threaded = 0;
    {
        SmartReadings own([&] { ++threaded; return SmartReadings::Reports{}; }, [&] { return now; }, std::chrono::minutes(5));
        own.current();
    }
    EXPECT_EQ(threaded, 1);
}

TEST(HardwareCatalog, AWorkstationWithTwoDisksInARaidSetAndAnNvidiaCard)
{
    const auto workstation = catalogOf("workstation");
    std::vector<std::string> drives;
    for (const auto& drive : workstation.storage.physicalDrives())
        drives.push_back(drive.identifier);
    EXPECT_EQ(drives, std::vector<std::string>{"md0"}) << "the set stands for its members";
    const auto* raid = workstation.storage.disk("md0");
    ASSERT_TRUE(raid);
    EXPECT_EQ(raid->protocolName, "Linux Software RAID");
    EXPECT_EQ(raid->mountPoint, "/");
    EXPECT_EQ(workstation.storage.disk("sda")->vendor, "ATA");
    EXPECT_EQ(workstation.storage.disk("sdb")->driveKind, HardwareDriveKind::rotational);
    EXPECT_EQ(workstation.storage.physicalDrive(*workstation.storage.disk("sda1"))->identifier, "sda");

    ASSERT_EQ(workstation.gpus.size(), 1u);
    const auto& geforce = workstation.gpus[0];
    EXPECT_EQ(geforce.name, "NVIDIA GeForce RTX 3060 Lite Hash Rate");
    EXPECT_EQ(geforce.family, "GA106");
    EXPECT_EQ(geforce.kind, HardwareGPUKind::discrete);
    EXPECT_EQ(geforce.driverBundle, "nvidia");
    EXPECT_TRUE(geforce.supportsAudio);
    EXPECT_EQ(geforce.subvendor, "Gigabyte Technology") << "the maker without its legal suffix";
    EXPECT_FALSE(geforce.subsystem) << "a board the database does not list";
    EXPECT_FALSE(geforce.vramBytes) << "the proprietary driver says nothing through sysfs";
    std::vector<WidgetStatistic> families;
    for (const auto& sensor : workstation.temperatureSensors)
        families.push_back(sensor.statistic);
    EXPECT_EQ(families, (std::vector<WidgetStatistic>{W::storageTemperatureSensor, W::storageTemperatureSensor,
                                                      W::cpuTemperatureSensor}));
}
