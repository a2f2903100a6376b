#include "Catalog/DisplayCatalogCollector.h"

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace tarnel;
using namespace tarnel::daemon;
using tarnel::testing::readFile;
using tarnel::testing::sourceDirectory;
using tarnel::testing::TemporaryDirectory;
using tarnel::testing::writeFile;

namespace {

DisplayCatalogSnapshot collect(const std::filesystem::path& root)
{
    return DisplayCatalogCollector(platform::SystemRoot(root)).collect();
}

std::filesystem::path machine(const char* name) { return sourceDirectory() / "tests/fixtures" / name; }

std::vector<std::optional<double>> rates(const DisplayCatalogItem& display)
{
    std::vector<std::optional<double>> result;
    for (const auto& mode : display.modes)
        result.push_back(mode.refreshRate ? std::optional(std::round(*mode.refreshRate * 100) / 100) : std::nullopt);
    return result;
}

} // namespace

TEST(DisplayCatalog, LaptopPanelAndHdmiMonitor)
{
    const auto catalog = collect(machine("laptop"));
    ASSERT_EQ(catalog.displays.size(), 2u); // the disconnected USB-C port is no display
    const auto& hdmi = catalog.displays[0];
    const auto& panel = catalog.displays[1];

    EXPECT_EQ(panel.displayID, 95u);
    EXPECT_EQ(panel.unitNumber, 1u);
    EXPECT_TRUE(panel.isInternal);
    EXPECT_TRUE(panel.isMain);
    EXPECT_TRUE(panel.isActive);
    EXPECT_EQ(panel.isBacklit, true);
    EXPECT_DOUBLE_EQ(*panel.backlight, 0.75);
    EXPECT_FALSE(panel.name);
    EXPECT_EQ(panel.vendorID, "BOE");
    EXPECT_EQ(panel.productID, "0974");
    EXPECT_FALSE(panel.serialNumber);
    EXPECT_EQ(panel.manufactureDate, "Week 10, 2020");
    // The timing's millimetres agree with the block's centimetres, so they win.
    EXPECT_EQ(panel.widthMillimeters, 309);
    EXPECT_EQ(panel.heightMillimeters, 174);
    EXPECT_EQ(rates(panel), (std::vector<std::optional<double>>{59.99, 47.99}));
    ASSERT_TRUE(panel.currentMode);
    EXPECT_EQ(*panel.currentMode, panel.modes[0]);
    EXPECT_TRUE(panel.modes[0].isDefault && panel.modes[0].isNative && panel.modes[0].isBuiltIn);
    EXPECT_EQ(panel.modes[0].ppi, 158);
    EXPECT_EQ(panel.modes[0].depthFormat, 8);
    ASSERT_TRUE(panel.edid);
    EXPECT_EQ(panel.edid->size(), 128u);

    EXPECT_EQ(hdmi.name, "DELL P2419H");
    EXPECT_EQ(hdmi.displayID, 103u);
    EXPECT_FALSE(hdmi.isMain);
    EXPECT_FALSE(hdmi.isBacklit);
    EXPECT_EQ(hdmi.productID, "A0C4");
    EXPECT_EQ(hdmi.serialNumber, 0x4C4A3532u);
    EXPECT_EQ(hdmi.manufactureDate, "Week 12, 2021");
    // Both 1080p lines take the two stated 1080p rates; the interlaced line and the sizes the
    // display states no timing for get none.
    EXPECT_EQ(rates(hdmi), (std::vector<std::optional<double>>{60, 50, std::nullopt, 60, std::nullopt, std::nullopt, std::nullopt}));
    const auto& interlaced = hdmi.modes[2];
    EXPECT_TRUE(interlaced.isTVOutput);
    EXPECT_FALSE(interlaced.isUsableForDesktopGUI);
    EXPECT_FALSE(interlaced.isBuiltIn);
    EXPECT_TRUE(hdmi.modes[1].isNative);
    EXPECT_FALSE(hdmi.modes[3].isNative);
    EXPECT_TRUE(hdmi.modes[3].isBuiltIn);
    EXPECT_FALSE(hdmi.modes[4].isBuiltIn);
    EXPECT_EQ(hdmi.modes[0].ppi, 93);
}

TEST(DisplayCatalog, DesktopWithTwoDisplayPortMonitorsOneAsleep)
{
    const auto catalog = collect(machine("desktop"));
    ASSERT_EQ(catalog.displays.size(), 2u);
    const auto& gaming = catalog.displays[0];
    const auto& uhd = catalog.displays[1];

    EXPECT_TRUE(gaming.isAsleep);
    EXPECT_FALSE(gaming.isActive);
    EXPECT_TRUE(uhd.isMain); // the first active one, with no internal panel
    EXPECT_EQ(gaming.manufactureDate, "Model year 2022");
    EXPECT_FALSE(gaming.isBacklit); // unknown for an external monitor
    // Three 1440p lines but two stated timings: only the preferred line can be told.
    EXPECT_EQ(rates(gaming), (std::vector<std::optional<double>>{144, std::nullopt, std::nullopt, std::nullopt, std::nullopt, std::nullopt}));
    EXPECT_EQ(gaming.modes[0].depthFormat, 10);
    EXPECT_EQ(rates(uhd), (std::vector<std::optional<double>>{60, std::nullopt, std::nullopt}));
    EXPECT_EQ(uhd.widthMillimeters, 597);

    // Without a KMS id the number is the connector name's hash: per port, and stable.
    EXPECT_NE(gaming.displayID, uhd.displayID);
    EXPECT_EQ(collect(machine("desktop")).displays[0].displayID, gaming.displayID);
}

TEST(DisplayCatalog, MachineWithoutDrmAndConnectorsMissingHalves)
{
    const auto before = Date::now();
    const auto empty = collect(machine("build-vm"));
    EXPECT_TRUE(empty.displays.empty());
    EXPECT_GE(empty.generatedAt, before);

    TemporaryDirectory tree;
    const auto drm = tree.path() / "sys/class/drm";
    // A monitor behind an adapter that passes no EDID.
    writeFile(drm / "card1-DP-3/status", "connected\n");
    writeFile(drm / "card1-DP-3/enabled", "enabled\n");
    writeFile(drm / "card1-DP-3/modes", "1280x1024\n1024x768\n");
    // A disabled output whose mode list is empty but whose EDID is there.
    writeFile(drm / "card1-DP-4/status", "connected\n");
    writeFile(drm / "card1-DP-4/enabled", "disabled\n");
    writeFile(drm / "card1-DP-4/edid", readFile(machine("laptop") / "sys/class/drm/card0-HDMI-A-1/edid"));
    // A panel with a truncated EDID.
    writeFile(drm / "card1-eDP-1/status", "connected\n");
    writeFile(drm / "card1-eDP-1/edid", readFile(machine("laptop") / "sys/class/drm/card0-eDP-1/edid").substr(0, 100));

    const auto catalog = collect(tree.path());
    ASSERT_EQ(catalog.displays.size(), 3u);
    const auto& bare = catalog.displays[0];
    EXPECT_TRUE(bare.isMain);
    EXPECT_EQ(bare.vendorID, "");
    EXPECT_FALSE(bare.edid);
    EXPECT_EQ(bare.widthMillimeters, 0);
    ASSERT_EQ(bare.modes.size(), 2u);
    EXPECT_TRUE(bare.modes[0].isNative);
    EXPECT_FALSE(bare.modes[0].refreshRate);

    const auto& disabled = catalog.displays[1];
    EXPECT_FALSE(disabled.isActive || disabled.isAsleep || disabled.isMain);
    EXPECT_FALSE(disabled.currentMode);
    EXPECT_EQ(rates(disabled), (std::vector<std::optional<double>>{60, 60, 50}));

    const auto& panel = catalog.displays[2];
    EXPECT_TRUE(panel.isInternal);
    EXPECT_FALSE(panel.isActive); // no `enabled` attribute
    EXPECT_EQ(panel.isBacklit, false);
    EXPECT_EQ(panel.edid->size(), 100u); // kept as read, though it tells nothing
    EXPECT_EQ(panel.vendorID, "");
    EXPECT_TRUE(panel.modes.empty());
}
