#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::platform {

struct PciDeviceId {
    std::uint16_t vendor = 0;
    std::uint16_t device = 0;
    std::optional<std::uint16_t> subsystemVendor;
    std::optional<std::uint16_t> subsystemDevice;
};

struct PciNames {
    std::optional<std::string> vendor;          // "Advanced Micro Devices, Inc. [AMD/ATI]"
    std::optional<std::string> device;          // "Navi 24 [Radeon RX 6400/6500 XT/6500M]"
    std::optional<std::string> subsystemVendor; // the board maker
    std::optional<std::string> subsystem;       // the board maker's name for the card
};

// Names from the pci.ids database (pciutils, hwdata). The file is sorted by vendor, so a
// lookup reads up to the end of the vendor's section and no further.
class PciIdDatabase {
public:
    explicit PciIdDatabase(std::filesystem::path file) : file_(std::move(file)) {}
    // The first of the usual places that exists, below a system root.
    static PciIdDatabase find(const std::filesystem::path& root = "/");

    PciNames lookup(const PciDeviceId& id) const;
    const std::filesystem::path& file() const { return file_; }

private:
    std::filesystem::path file_;
};

// What a user calls a maker: "AMD", "NVIDIA", "Intel"; otherwise the database name without its
// bracketed short form and legal suffixes.
std::string shortVendorName(std::uint16_t vendor, const std::optional<std::string>& databaseName);
// The marketing name in brackets when the database gives one ("Navi 24 [Radeon RX 6500M]" → "Radeon RX 6500M").
std::string marketingName(const std::string& databaseName);

} // namespace tarnel::platform
