#include "Platform/Display/DrmConnectorReader.h"
#include "Platform/Display/Edid.h"

#include "Fixtures.h"

#include <gtest/gtest.h>

using namespace tarnel;
using namespace tarnel::platform;
using tarnel::testing::fixtureMachine;
using tarnel::testing::TemporaryDirectory;
using tarnel::testing::writeFile;

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes fixtureEdid(const char* machine, const char* connector)
{
    const auto text = tarnel::testing::readFile(fixtureMachine(machine).resolve("/sys/class/drm") / connector / "edid");
    return Bytes(text.begin(), text.end());
}

void fixSum(Bytes& edid, std::size_t block = 0)
{
    std::uint8_t sum = 0;
    for (std::size_t i = block * 128; i < block * 128 + 127; ++i)
        sum = static_cast<std::uint8_t>(sum + edid[i]);
    edid[block * 128 + 127] = static_cast<std::uint8_t>(-sum);
}

// The laptop's panel block with some bytes changed and the sum redone.
EdidInfo panelWith(std::initializer_list<std::pair<std::size_t, std::uint8_t>> changes)
{
    auto edid = fixtureEdid("laptop", "card0-eDP-1");
    for (auto [at, value] : changes)
        edid[at] = value;
    fixSum(edid);
    auto info = parseEdid(edid);
    if (!info)
        throw std::runtime_error("panel block rejected");
    return *info;
}

} // namespace

TEST(Edid, DecodesIdentityDateSizeNamesAndTheTimingsOfExtensions)
{
    const auto info = parseEdid(fixtureEdid("laptop", "card0-HDMI-A-1"));
    ASSERT_TRUE(info);
    EXPECT_TRUE(info->checksumValid);
    EXPECT_EQ(info->vendorID, "DEL");
    EXPECT_EQ(info->productCode, 0xA0C4);
    EXPECT_EQ(info->serialNumber, 0x4C4A3532u);
    EXPECT_EQ(info->manufactureWeek, 12u);
    EXPECT_EQ(info->manufactureYear, 2021u);
    EXPECT_EQ(info->version * 10 + info->revision, 13u);
    EXPECT_FALSE(info->bitsPerColor); // only 1.4 states a depth
    EXPECT_EQ(info->widthCentimeters, 53u);
    EXPECT_EQ(info->monitorName, "DELL P2419H");
    EXPECT_EQ(info->serialText, "7T4XD83");
    // The base block's timing first, then the CTA extension's two.
    ASSERT_EQ(info->timings.size(), 3u);
    EXPECT_EQ(info->timings[0].width(), 1920u);
    EXPECT_DOUBLE_EQ(*info->timings[0].refreshRate(), 60.0);
    EXPECT_DOUBLE_EQ(*info->timings[1].refreshRate(), 60.0);
    EXPECT_DOUBLE_EQ(*info->timings[2].refreshRate(), 50.0);

    const auto panel = parseEdid(fixtureEdid("laptop", "card0-eDP-1"));
    ASSERT_TRUE(panel);
    EXPECT_FALSE(panel->serialNumber);   // written as 0
    EXPECT_FALSE(panel->monitorName);    // panels carry unspecified text (0xFE) only
    EXPECT_EQ(panel->bitsPerColor, 8u);
    EXPECT_NEAR(*panel->timings[1].refreshRate(), 47.99, 0.01);
}

TEST(Edid, FieldRulesOfTheBaseBlock)
{
    const auto modelYear = panelWith({{16, 0xFF}, {17, 32}});
    EXPECT_EQ(modelYear.modelYear, 2022u);
    EXPECT_FALSE(modelYear.manufactureYear);

    const auto noWeek = panelWith({{16, 0}});
    EXPECT_EQ(noWeek.manufactureYear, 2020u);
    EXPECT_FALSE(noWeek.manufactureWeek);
    EXPECT_FALSE(panelWith({{16, 60}}).manufactureWeek);
    EXPECT_FALSE(panelWith({{17, 0}}).manufactureYear);

    // Both sizes 0 is unknown, one of them 0 is an aspect ratio: neither is a size.
    EXPECT_FALSE(panelWith({{21, 0}, {22, 0}}).widthCentimeters);
    EXPECT_FALSE(panelWith({{22, 0}}).heightCentimeters);

    // Letters are 1...26; 0 and 27...31 are no letters.
    EXPECT_EQ(panelWith({{8, 0x04}, {9, 0x21}}).vendorID, "AAA");
    EXPECT_EQ(panelWith({{8, 0x6B}, {9, 0x5A}}).vendorID, "ZZZ");
    EXPECT_FALSE(panelWith({{8, 0x00}, {9, 0x21}}).vendorID);
    EXPECT_FALSE(panelWith({{8, 0x6F}, {9, 0x5A}}).vendorID);

    // An interlaced timing states one field: the frame has twice its lines.
    const auto interlaced = panelWith({{54 + 17, 0x9A}});
    EXPECT_EQ(interlaced.timings[0].height(), 2160u);
    EXPECT_NEAR(*interlaced.timings[0].refreshRate(), 59.99, 0.01);

    // A name of blanks or of control bytes only gives no name; damage inside one is marked.
    auto named = panelWith({{90 + 3, 0xFC}, {90 + 5, ' '}, {90 + 6, ' '}, {90 + 7, 0x0A}});
    EXPECT_FALSE(named.monitorName);
    named = panelWith({{90 + 3, 0xFC}, {90 + 6, 0x07}});
    EXPECT_EQ(named.monitorName, "B?E HF");
}

TEST(Edid, MalformedInputGivesNothingOrOnlyWhatItHolds)
{
    auto hdmi = fixtureEdid("laptop", "card0-HDMI-A-1");
    // Every length short of a block, and every cut inside the extension, without a crash.
    for (std::size_t length = 0; length < 128; ++length)
        EXPECT_FALSE(parseEdid(std::span(hdmi.data(), length))) << length;
    for (std::size_t length = 128; length < hdmi.size(); ++length) {
        const auto cut = parseEdid(std::span(hdmi.data(), length));
        ASSERT_TRUE(cut) << length;
        EXPECT_EQ(cut->timings.size(), 1u) << length;
    }

    auto badHeader = hdmi;
    badHeader[7] = 0x01;
    EXPECT_FALSE(parseEdid(badHeader));

    // A bad sum of the base block is noted; one of an extension drops that extension.
    auto badSum = hdmi;
    badSum[12] ^= 0x01;
    const auto noted = parseEdid(badSum);
    ASSERT_TRUE(noted);
    EXPECT_FALSE(noted->checksumValid);
    EXPECT_EQ(noted->serialNumber, 0x4C4A3533u);
    EXPECT_EQ(noted->timings.size(), 3u);
    auto badExtension = hdmi;
    badExtension[128 + 10] ^= 0x01;
    EXPECT_EQ(parseEdid(badExtension)->timings.size(), 1u);

    // An extension count beyond the bytes given reads only the blocks there are.
    auto lies = fixtureEdid("laptop", "card0-eDP-1");
    lies[126] = 200;
    fixSum(lies);
    EXPECT_EQ(parseEdid(lies)->timings.size(), 2u);

    // A CTA block whose timing offset points at the checksum reads no timings.
    hdmi[128 + 2] = 120;
    fixSum(hdmi, 1);
    EXPECT_EQ(parseEdid(hdmi)->timings.size(), 1u);
}

TEST(DrmConnectorReader, NamesAndModeLines)
{
    auto name = DrmConnectorName::parse("card1-HDMI-A-2");
    ASSERT_TRUE(name);
    EXPECT_EQ(name->card, 1u);
    EXPECT_EQ(name->type, "HDMI-A");
    EXPECT_EQ(name->index, 2u);
    for (const char* other : {"card0", "renderD128", "version", "card0-DP", "cardX-DP-1", "card0-DP-x", "card0--1"})
        EXPECT_FALSE(DrmConnectorName::parse(other)) << other;

    EXPECT_EQ(DrmModeName::parse("1920x1080i"), (DrmModeName{1920, 1080, true}));
    EXPECT_EQ(DrmModeName::parse("640x480\n"), (DrmModeName{640, 480, false}));
    for (const char* bad : {"", "x", "1920x", "0x480", "1920x1080p", "-1x5", "axb"})
        EXPECT_FALSE(DrmModeName::parse(bad)) << bad;
}

TEST(DrmConnectorReader, ReadsTheRecordedMachines)
{
    const auto laptop = DrmConnectorReader(fixtureMachine("laptop")).connectors();
    ASSERT_EQ(laptop.size(), 3u);
    EXPECT_EQ(laptop[0].name, "card0-DP-1");
    EXPECT_FALSE(laptop[0].isConnected());
    EXPECT_TRUE(laptop[0].edid.empty());

    const auto& hdmi = laptop[1];
    EXPECT_EQ(hdmi.connectorID, 103u);
    EXPECT_EQ(hdmi.edid.size(), 256u);
    ASSERT_EQ(hdmi.modes.size(), 7u);
    EXPECT_TRUE(hdmi.modes[2].interlaced);
    EXPECT_FALSE(hdmi.backlight);

    const auto& panel = laptop[2];
    EXPECT_EQ(panel.name, "card0-eDP-1");
    EXPECT_TRUE(panel.isInternal());
    EXPECT_EQ(panel.enabled, true);
    ASSERT_TRUE(panel.backlight);
    EXPECT_EQ(panel.backlight->name, "intel_backlight");
    EXPECT_DOUBLE_EQ(*panel.backlight->fraction(), 0.75);

    const auto desktop = DrmConnectorReader(fixtureMachine("desktop")).connectors();
    ASSERT_EQ(desktop.size(), 3u);
    EXPECT_FALSE(desktop[0].connectorID); // older kernels do not tell it
    EXPECT_TRUE(DrmConnectorReader(fixtureMachine("build-vm")).connectors().empty());
}

TEST(DrmConnectorReader, ChoosesThePanelsBacklight)
{
    TemporaryDirectory tree;
    const auto drm = tree.path() / "sys/class/drm";
    const auto backlights = tree.path() / "sys/class/backlight";
    writeFile(drm / "card0-eDP-1/status", "connected\n");
    writeFile(drm / "card0-LVDS-1/status", "connected\n");
    writeFile(backlights / "acpi_video0/type", "firmware\n");
    writeFile(backlights / "acpi_video0/brightness", "5\n");
    writeFile(backlights / "acpi_video0/max_brightness", "10\n");
    writeFile(backlights / "intel_backlight/type", "raw\n");
    writeFile(backlights / "intel_backlight/brightness", "100\n");
    writeFile(backlights / "intel_backlight/max_brightness", "400\n");
    writeFile(backlights / "broken/type", "firmware\n");
    writeFile(backlights / "broken/max_brightness", "oops\n");

    auto connectors = DrmConnectorReader(SystemRoot(tree.path())).connectors();
    ASSERT_EQ(connectors.size(), 2u);
    EXPECT_EQ(connectors[0].type, "LVDS");
    ASSERT_TRUE(connectors[0].backlight);
    EXPECT_EQ(connectors[0].backlight->name, "acpi_video0"); // firmware before raw
    EXPECT_FALSE(connectors[1].backlight);                   // one class backlight, one panel

    // A backlight below the connector is that panel's own, and the class's link to it is no
    // second backlight for another panel.
    std::filesystem::remove_all(backlights / "acpi_video0");
    writeFile(drm / "card0-eDP-1/intel_backlight/brightness", "0\n");
    writeFile(drm / "card0-eDP-1/intel_backlight/max_brightness", "0\n");
    connectors = DrmConnectorReader(SystemRoot(tree.path())).connectors();
    ASSERT_TRUE(connectors[1].backlight);
    EXPECT_EQ(connectors[1].backlight->name, "intel_backlight");
    EXPECT_FALSE(connectors[1].backlight->fraction()); // no range
    EXPECT_FALSE(connectors[0].backlight);
}
