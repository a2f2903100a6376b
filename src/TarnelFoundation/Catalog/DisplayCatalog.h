#pragma once

#include "TarnelFoundation/Codec/CodecFwd.h"
#include "TarnelFoundation/Codec/Date.h"
#include "TarnelFoundation/Codec/Value.h"

#include <optional>
#include <string>
#include <vector>

namespace tarnel {

struct DisplayModeSnapshot {
    std::int32_t id = 0;
    std::int64_t width = 0;
    std::int64_t height = 0;
    bool isUsableForDesktopGUI = false;
    bool isStretched = false;
    bool isSafeForHardware = false;
    bool isTVOutput = false;
    bool isBuiltIn = false;
    bool isNative = false;
    bool isDefault = false;
    std::optional<std::int64_t> ppi;
    std::optional<std::int64_t> depthFormat;
    std::optional<std::int64_t> samplesPerPixel;
    std::optional<double> refreshRate;
    std::optional<std::string> pixelEncoding;
    friend bool operator==(const DisplayModeSnapshot&, const DisplayModeSnapshot&) = default;
};
TARNEL_CODABLE(DisplayModeSnapshot);

struct DisplayCatalogItem {
    std::string identifier;
    std::uint32_t displayID = 0;
    std::optional<std::string> name;
    std::string vendorID;
    std::string productID;
    std::optional<std::uint32_t> serialNumber;
    std::optional<Value::Bytes> edid;
    std::optional<std::string> manufactureDate;
    std::optional<double> backlight;
    std::optional<bool> isBacklit;
    bool isInternal = false;
    bool isAsleep = false;
    bool isActive = false;
    bool isMain = false;
    double rotation = 0;
    double widthMillimeters = 0;
    double heightMillimeters = 0;
    std::uint32_t unitNumber = 0;
    std::optional<std::string> previewIconPath;
    std::optional<DisplayModeSnapshot> currentMode;
    std::vector<DisplayModeSnapshot> modes;
    friend bool operator==(const DisplayCatalogItem&, const DisplayCatalogItem&) = default;
};
TARNEL_CODABLE(DisplayCatalogItem);

struct DisplayCatalogSnapshot {
    std::vector<DisplayCatalogItem> displays;
    Date generatedAt;
    friend bool operator==(const DisplayCatalogSnapshot&, const DisplayCatalogSnapshot&) = default;
};
TARNEL_CODABLE(DisplayCatalogSnapshot);

} // namespace tarnel
