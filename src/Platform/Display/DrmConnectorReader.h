#pragma once

#include "Platform/Statistics/SystemRoot.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel::platform {

// A line of a connector's `modes` file: "1920x1080", or "1920x1080i" for an interlaced mode.
struct DrmModeName {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    bool interlaced = false;

    static std::optional<DrmModeName> parse(std::string_view line);
    friend bool operator==(const DrmModeName&, const DrmModeName&) = default;
};

struct DrmBacklight {
    std::string name;        // "intel_backlight"
    std::uint64_t brightness = 0;
    std::uint64_t maxBrightness = 0;

    // 0...1; absent when the driver reports no range.
    std::optional<double> fraction() const;
};

// One output of a DRM card as /sys/class/drm/card<N>-<type>-<index> tells it.
struct DrmConnector {
    std::string name;        // "card0-eDP-1"
    std::uint32_t card = 0;
    std::string type;        // "eDP", "HDMI-A", "DP"
    std::uint32_t index = 0; // 1 for "eDP-1"
    std::optional<std::uint32_t> connectorID; // the KMS object id, on kernels that expose it
    std::optional<std::string> status;        // "connected", "disconnected", "unknown"
    std::optional<bool> enabled;
    std::optional<std::string> dpms;          // "On", "Standby", "Suspend", "Off"
    std::vector<std::uint8_t> edid;           // empty when the display gave none
    std::vector<DrmModeName> modes;           // the kernel's order: the preferred mode first
    std::optional<DrmBacklight> backlight;    // internal panels only

    bool isConnected() const { return status == "connected"; }
    // Panels built into the machine.
    bool isInternal() const { return type == "eDP" || type == "LVDS" || type == "DSI"; }
};

// The connectors of every card, ordered by card and then by name. A connector directory that
// vanishes while it is read leaves only its attributes absent.
class DrmConnectorReader {
public:
    explicit DrmConnectorReader(SystemRoot root = {}) : root_(std::move(root)) {}

    std::vector<DrmConnector> connectors() const;

private:
    DrmConnector readConnector(const std::string& name, std::uint32_t card, std::string type, std::uint32_t index) const;
    std::optional<DrmBacklight> classBacklight(const std::vector<std::string>& taken) const;

    SystemRoot root_;
};

// Splits "card0-HDMI-A-1" into card 0, type "HDMI-A" and index 1; absent for other entries
// of /sys/class/drm ("card0", "renderD128", "version").
struct DrmConnectorName {
    std::uint32_t card = 0;
    std::string type;
    std::uint32_t index = 0;

    static std::optional<DrmConnectorName> parse(std::string_view name);
};

} // namespace tarnel::platform
