#pragma once

#include "Platform/Statistics/SystemRoot.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::platform {

enum class GraphicsAttachment : std::uint8_t { integrated, discrete, external, virtualMachine };

// A display controller of the PCI bus (class 0x03) with what its driver tells through sysfs.
struct GraphicsDevice {
    std::string address; // "0000:03:00.0"
    std::uint32_t classCode = 0;
    std::uint16_t vendorId = 0;
    std::uint16_t deviceId = 0;
    std::optional<std::uint16_t> subsystemVendorId;
    std::optional<std::uint16_t> subsystemDeviceId;
    std::optional<std::uint8_t> revision;
    std::optional<std::string> driver; // "amdgpu", "i915", "nvidia", "virtio-pci"
    std::optional<std::string> drmCard; // "card1"
    bool bootVga = false;
    bool removable = false;
    bool hasAudioFunction = false;
    std::optional<std::uint64_t> vramTotalBytes;
    std::optional<double> maximumCoreClockMHz;
    std::optional<double> maximumMemoryClockMHz;

    bool isHeadless() const { return (classCode >> 8) == 0x0302; } // a 3D controller without outputs
};

// What changes from one moment to the next.
struct GraphicsDeviceSample {
    std::optional<double> busyFraction;
    std::optional<std::uint64_t> vramUsedBytes;
    std::optional<double> coreClockMHz;
    std::optional<double> memoryClockMHz;
    std::optional<double> temperatureCelsius;
    std::optional<double> powerWatts;
};

class GraphicsDeviceReader {
public:
    explicit GraphicsDeviceReader(SystemRoot root = {}) : root_(std::move(root)) {}
    std::vector<GraphicsDevice> devices() const; // by address
    GraphicsDeviceSample sample(const GraphicsDevice& device) const;

private:
    std::filesystem::path deviceDirectory(const std::string& address) const;
    SystemRoot root_;
};

// Integrated, discrete, behind Thunderbolt, or the virtual adapter of a hypervisor. Decided from
// the maker, the database name and the memory the card brings.
GraphicsAttachment attachmentOf(const GraphicsDevice& device, const std::optional<std::string>& databaseName);

// "0: 500Mhz\n1: 2400Mhz *" (amdgpu's pp_dpm_* files): the current level and the highest.
struct ClockLevels {
    std::optional<double> currentMHz;
    std::optional<double> maximumMHz;
};
ClockLevels parseClockLevels(std::string_view text);

} // namespace tarnel::platform
