#include "Platform/Hardware/GraphicsDeviceReader.h"
#include "Platform/Hardware/HwmonReader.h"
#include "Platform/Hardware/PciIdDatabase.h"
#include "Platform/Hardware/SmartctlReport.h"

#include "Fixtures.h"

#include <gtest/gtest.h>

using namespace tarnel;
using namespace tarnel::platform;
using tarnel::testing::fixtureMachine;

namespace {

const HwmonChip& chipNamed(const std::vector<HwmonChip>& chips, const std::string& name)
{
    for (const auto& chip : chips)
        if (chip.name == name)
            return chip;
    throw std::runtime_error("no chip " + name);
}

std::string fixtureText(const char* machine, const char* file)
{
    return tarnel::testing::readFile(fixtureMachine(machine).root() / file);
}

} // namespace

TEST(Hardware, HwmonChipsInAStableOrderWithChannelsByNumberAndImplausibleReadingsLeftOut)
{
    const auto laptop = HwmonReader(fixtureMachine("laptop")).read();
    std::vector<std::string> names;
    for (const auto& chip : laptop)
        names.push_back(chip.name);
    EXPECT_EQ(names, (std::vector<std::string>{"BAT0", "acpitz", "coretemp", "iwlwifi_1", "nvme", "thinkpad"}));

    const auto& core = chipNamed(laptop, "coretemp");
    EXPECT_EQ(core.device, "coretemp.0");
    EXPECT_EQ(core.stableIdentifier(), "coretemp@coretemp.0");
    ASSERT_EQ(core.temperatures.size(), 3u);
    EXPECT_EQ(core.temperatures[2].channel, 10) << "temp10 after temp2, by number";
    EXPECT_EQ(core.temperatures[0].label, "Package id 0");
    EXPECT_DOUBLE_EQ(*core.temperatures[0].celsius, 57.0);
    EXPECT_DOUBLE_EQ(*core.temperatures[0].criticalCelsius, 100.0);

    const auto& ec = chipNamed(laptop, "thinkpad");
    ASSERT_EQ(ec.temperatures.size(), 3u);
    EXPECT_FALSE(ec.temperatures[1].celsius) << "-128 °C is an empty socket, not a reading";
    ASSERT_EQ(ec.fans.size(), 1u);
    EXPECT_DOUBLE_EQ(*ec.fans[0].rpm, 2650);
    EXPECT_FALSE(chipNamed(laptop, "acpitz").device) << "a chip without a device link";
    EXPECT_EQ(chipNamed(laptop, "acpitz").stableIdentifier(), "acpitz@hwmon0");

    const auto desktop = HwmonReader(fixtureMachine("desktop")).read();
    const auto& superIO = chipNamed(desktop, "nct6798");
    EXPECT_FALSE(superIO.temperatures[2].celsius) << "127 °C from an unconnected AUXTIN";
    ASSERT_EQ(superIO.fans.size(), 2u);
    EXPECT_FALSE(superIO.fans[0].maximumRPM) << "a maximum of 0 is unknown";
    EXPECT_DOUBLE_EQ(*superIO.fans[1].minimumRPM, 300);

    EXPECT_TRUE(HwmonReader(fixtureMachine("build-vm")).read().empty());
}

TEST(Hardware, PciDatabaseNamesDevicesBoardsAndMakers)
{
    const auto desktop = PciIdDatabase::find(fixtureMachine("desktop").root());
    auto names = desktop.lookup({0x1002, 0x73ff, 0x1849, 0x5218});
    EXPECT_EQ(names.vendor, "Advanced Micro Devices, Inc. [AMD/ATI]");
    EXPECT_EQ(names.device, "Navi 23 [Radeon RX 6600/6600 XT/6600M]");
    EXPECT_EQ(names.subsystem, "Radeon RX 6600 Challenger ITX 8GB");
    EXPECT_EQ(names.subsystemVendor, "ASRock Incorporation");

    auto unknownBoard = desktop.lookup({0x1002, 0x73ff, 0x1849, 0x0001});
    EXPECT_TRUE(unknownBoard.device);
    EXPECT_FALSE(unknownBoard.subsystem);
    auto audio = desktop.lookup({0x1002, 0xab28, std::nullopt, std::nullopt});
    EXPECT_EQ(audio.device, "Navi 21/23 HDMI/DP Audio Controller") << "a device after the one with subsystems";
    auto unknown = desktop.lookup({0x10de, 0x2504, std::nullopt, std::nullopt});
    EXPECT_FALSE(unknown.vendor);
    EXPECT_FALSE(unknown.device);
    // Class lines share the syntax of vendor lines and must not be taken for one.
    EXPECT_FALSE(desktop.lookup({0x0003, 0x0000, std::nullopt, std::nullopt}).vendor);
    EXPECT_FALSE(PciIdDatabase("/nonexistent/pci.ids").lookup({0x1002, 0x73ff, std::nullopt, std::nullopt}).vendor);

    EXPECT_EQ(shortVendorName(0x1002, names.vendor), "AMD");
    EXPECT_EQ(shortVendorName(0x1849, std::string("ASRock Incorporation")), "ASRock Incorporation");
    EXPECT_EQ(shortVendorName(0x1b36, std::string("Red Hat, Inc.")), "Red Hat");
    EXPECT_EQ(shortVendorName(0x1b21, std::nullopt), "1b21");
    EXPECT_EQ(marketingName("Navi 23 [Radeon RX 6600/6600 XT/6600M]"), "Radeon RX 6600/6600 XT/6600M");
    EXPECT_EQ(marketingName("Alder Lake-P Integrated Graphics Controller"), "Alder Lake-P Integrated Graphics Controller");
    EXPECT_EQ(marketingName("Broken []"), "Broken []");
}

TEST(Hardware, GraphicsDevicesWithTheirDriversClocksAndLiveSamples)
{
    GraphicsDeviceReader desktopReader(fixtureMachine("desktop"));
    const auto desktop = desktopReader.devices();
    ASSERT_EQ(desktop.size(), 1u) << "the card's audio function is no graphics device";
    const auto& radeon = desktop[0];
    EXPECT_EQ(radeon.address, "0000:03:00.0");
    EXPECT_EQ(radeon.driver, "amdgpu");
    EXPECT_EQ(radeon.drmCard, "card0") << "not renderD128";
    EXPECT_TRUE(radeon.hasAudioFunction);
    EXPECT_EQ(radeon.vramTotalBytes, 8573157376u);
    EXPECT_DOUBLE_EQ(*radeon.maximumCoreClockMHz, 2491);
    EXPECT_DOUBLE_EQ(*radeon.maximumMemoryClockMHz, 1000);
    EXPECT_EQ(attachmentOf(radeon, std::string("Navi 23 [Radeon RX 6600/6600 XT/6600M]")), GraphicsAttachment::discrete);
    const auto sample = desktopReader.sample(radeon);
    EXPECT_DOUBLE_EQ(*sample.busyFraction, 0.12);
    EXPECT_EQ(sample.vramUsedBytes, 536870912u);
    EXPECT_DOUBLE_EQ(*sample.coreClockMHz, 700);
    EXPECT_DOUBLE_EQ(*sample.memoryClockMHz, 875);
    EXPECT_DOUBLE_EQ(*sample.temperatureCelsius, 42);
    EXPECT_DOUBLE_EQ(*sample.powerWatts, 15);

    GraphicsDeviceReader laptopReader(fixtureMachine("laptop"));
    const auto laptop = laptopReader.devices();
    ASSERT_EQ(laptop.size(), 1u);
    EXPECT_EQ(laptop[0].driver, "i915");
    EXPECT_DOUBLE_EQ(*laptop[0].maximumCoreClockMHz, 1400);
    EXPECT_EQ(attachmentOf(laptop[0], std::string("Alder Lake-P Integrated Graphics Controller")), GraphicsAttachment::integrated);
    const auto intel = laptopReader.sample(laptop[0]);
    EXPECT_FALSE(intel.busyFraction) << "i915 has no busy file";
    EXPECT_DOUBLE_EQ(*intel.coreClockMHz, 350);

    const auto vm = GraphicsDeviceReader(fixtureMachine("build-vm")).devices();
    ASSERT_EQ(vm.size(), 1u);
    EXPECT_EQ(attachmentOf(vm[0], std::nullopt), GraphicsAttachment::virtualMachine);

    // An APU by its code name, a small carve-out without one, an Arc card.
    GraphicsDevice apu;
    apu.vendorId = 0x1002;
    EXPECT_EQ(attachmentOf(apu, std::string("Rembrandt [Radeon 680M]")), GraphicsAttachment::integrated);
    apu.vramTotalBytes = 512ull << 20;
    EXPECT_EQ(attachmentOf(apu, std::string("Unknown")), GraphicsAttachment::integrated);
    GraphicsDevice arc;
    arc.vendorId = 0x8086;
    EXPECT_EQ(attachmentOf(arc, std::string("DG2 [Arc A770]")), GraphicsAttachment::discrete);
    arc.removable = true;
    EXPECT_EQ(attachmentOf(arc, std::string("DG2 [Arc A770]")), GraphicsAttachment::external);

    auto levels = parseClockLevels("0: 500Mhz\nS: 19Mhz\n1: 2.1GHz *\ngarbage\n2: xMhz\n");
    EXPECT_DOUBLE_EQ(*levels.currentMHz, 2100);
    EXPECT_DOUBLE_EQ(*levels.maximumMHz, 2100);
    EXPECT_FALSE(parseClockLevels("").maximumMHz);
}

TEST(Hardware, SmartctlDocumentsOfNvmeAndAtaDrivesAndBrokenOnes)
{
    auto nvme = parseSmartctlJson(fixtureText("laptop", "smartctl/nvme0n1.json"));
    ASSERT_TRUE(nvme);
    EXPECT_EQ(nvme->protocol, "NVMe");
    EXPECT_EQ(nvme->model, "Samsung SSD 980 PRO 1TB");
    EXPECT_EQ(nvme->passed, true);
    ASSERT_TRUE(nvme->nvme);
    EXPECT_EQ(nvme->nvme->percentageUsed, 2);
    EXPECT_EQ(nvme->nvme->dataUnitsWritten, 31742209u);
    EXPECT_DOUBLE_EQ(*nvme->temperatureCelsius, 38);
    EXPECT_TRUE(nvme->ataAttributes.empty());

    auto hdd = parseSmartctlJson("smartctl: some warning on standard error\n" + fixtureText("desktop", "smartctl/sdb.json"));
    ASSERT_TRUE(hdd) << "text before the document is skipped";
    ASSERT_EQ(hdd->ataAttributes.size(), 6u);
    EXPECT_EQ(hdd->ataAttributes[1].id, 5);
    EXPECT_EQ(hdd->ataAttributes[1].raw, 24);
    EXPECT_TRUE(hdd->ataAttributes[1].prefailure);
    EXPECT_TRUE(hdd->ataAttributes[5].failedBefore);
    EXPECT_FALSE(hdd->ataAttributes[5].failingNow);
    EXPECT_EQ(hdd->exitStatus, 64);

    auto denied = parseSmartctlJson(R"({"smartctl": {"exit_status": 2, "messages": [
        {"string": "Smartctl open device: /dev/sda failed: Permission denied", "severity": "error"},
        {"string": "just a note", "severity": "information"}]}})");
    ASSERT_TRUE(denied);
    EXPECT_FALSE(denied->hasHealthData());
    EXPECT_EQ(denied->errors, std::vector<std::string>{"Smartctl open device: /dev/sda failed: Permission denied"});

    auto wrongTypes = parseSmartctlJson(R"({"smart_status": {"passed": "yes"}, "temperature": {"current": "hot"},
        "nvme_smart_health_information_log": {"percentage_used": -1, "media_errors": -5},
        "ata_smart_attributes": {"table": [{"id": 300}, {"name": "no id"}, {"id": 5, "raw": {"value": "x"}}]}})");
    ASSERT_TRUE(wrongTypes);
    EXPECT_FALSE(wrongTypes->passed);
    EXPECT_FALSE(wrongTypes->temperatureCelsius);
    EXPECT_EQ(wrongTypes->nvme->percentageUsed, -1) << "kept as written; the judge clamps it";
    EXPECT_FALSE(wrongTypes->nvme->mediaErrors) << "a negative count is no count";
    ASSERT_EQ(wrongTypes->ataAttributes.size(), 1u) << "ids outside 1..255 and rows without one are dropped";
    EXPECT_FALSE(wrongTypes->ataAttributes[0].raw);

    EXPECT_FALSE(parseSmartctlJson(""));
    EXPECT_FALSE(parseSmartctlJson("smartctl: command not found"));
    EXPECT_FALSE(parseSmartctlJson("[1, 2]"));
    // A document cut anywhere never crashes; most cuts are no document at all.
    const auto whole = fixtureText("desktop", "smartctl/sda.json");
    for (std::size_t cut = 0; cut < whole.size(); cut += 7)
        EXPECT_FALSE(parseSmartctlJson(std::string_view(whole).substr(0, cut))) << "cut at " << cut;
}
