#include "Platform/Hardware/PciIdDatabase.h"

#include "Platform/Statistics/TextParsing.h"

#include <cstdio>
#include <fstream>

namespace tarnel::platform {

namespace {

std::optional<std::uint16_t> hex16(std::string_view text)
{
    if (text.size() != 4)
        return std::nullopt;
    auto value = text::parseHex32(text);
    if (!value)
        return std::nullopt;
    return static_cast<std::uint16_t>(*value);
}

// "1002  Advanced Micro Devices" → id and name; the separator is two blanks.
bool splitEntry(std::string_view line, std::optional<std::uint16_t>& id, std::string& name)
{
    if (line.size() < 7)
        return false;
    id = hex16(line.substr(0, 4));
    name = std::string(text::trim(line.substr(4)));
    return id.has_value() && !name.empty();
}

} // namespace

PciIdDatabase PciIdDatabase::find(const std::filesystem::path& root)
{
    for (const char* place : {"usr/share/hwdata/pci.ids", "usr/share/misc/pci.ids", "usr/share/pci.ids"}) {
        auto file = root / place;
        std::error_code error;
        if (std::filesystem::exists(file, error))
            return PciIdDatabase(file);
    }
    return PciIdDatabase(root / "usr/share/misc/pci.ids");
}

PciNames PciIdDatabase::lookup(const PciDeviceId& id) const
{
    PciNames names;
    std::ifstream in(file_);
    if (!in)
        return names;
    std::string line;
    bool inVendor = false;
    bool inDevice = false;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#')
            continue;
        // The device classes at the end of the file share the syntax; they are not vendors.
        if (line.starts_with("C "))
            break;
        std::optional<std::uint16_t> entry;
        std::string name;
        if (line[0] != '\t') {
            if (inVendor)
                break; // past our vendor's section
            if (splitEntry(line, entry, name) && entry == id.vendor) {
                names.vendor = name;
                inVendor = true;
            }
            continue;
        }
        if (!inVendor)
            continue;
        if (line.size() > 1 && line[1] != '\t') {
            if (inDevice && !id.subsystemVendor)
                break;
            inDevice = splitEntry(std::string_view(line).substr(1), entry, name) && entry == id.device;
            if (inDevice)
                names.device = name;
            continue;
        }
        // "\t\tSSSS DDDD  name": a subsystem of the current device.
        if (inDevice && id.subsystemVendor && id.subsystemDevice && line.size() > 12) {
            std::string_view rest = std::string_view(line).substr(2);
            if (hex16(rest.substr(0, 4)) == id.subsystemVendor && hex16(rest.substr(5, 4)) == id.subsystemDevice)
                names.subsystem = std::string(text::trim(rest.substr(9)));
        }
    }
    if (id.subsystemVendor && *id.subsystemVendor != id.vendor) {
        PciDeviceId maker{*id.subsystemVendor, 0, std::nullopt, std::nullopt};
        names.subsystemVendor = PciIdDatabase(file_).lookup(maker).vendor;
    } else if (id.subsystemVendor) {
        names.subsystemVendor = names.vendor;
    }
    return names;
}

std::string shortVendorName(std::uint16_t vendor, const std::optional<std::string>& databaseName)
{
    switch (vendor) {
    case 0x1002:
    case 0x1022:
        return "AMD";
    case 0x10de:
        return "NVIDIA";
    case 0x8086:
        return "Intel";
    case 0x1af4:
        return "Red Hat";
    case 0x1234:
        return "QEMU";
    case 0x15ad:
        return "VMware";
    case 0x80ee:
        return "VirtualBox";
    case 0x1a03:
        return "ASPEED";
    case 0x102b:
        return "Matrox";
    case 0x5143:
        return "Qualcomm";
    }
    if (!databaseName) {
        char text[8];
        std::snprintf(text, sizeof text, "%04x", vendor);
        return text;
    }
    // "Matrox Electronics Systems Ltd." → "Matrox Electronics Systems"; "Foo [Bar]" → "Foo".
    std::string name = *databaseName;
    if (auto bracket = name.find(" ["); bracket != std::string::npos)
        name.erase(bracket);
    for (bool trimmed = true; trimmed;) {
        trimmed = false;
        for (std::string_view suffix : {",", " Inc.", " Inc", " Corporation", " Corp.", " Co.", " Ltd.", " Ltd", " GmbH", " AG"})
            if (name.ends_with(suffix)) {
                name.erase(name.size() - suffix.size());
                trimmed = true;
            }
    }
    return std::string(text::trim(name));
}

std::string marketingName(const std::string& databaseName)
{
    const auto open = databaseName.rfind('[');
    const auto close = databaseName.rfind(']');
    if (open == std::string::npos || close == std::string::npos || close <= open + 1)
        return databaseName;
    return databaseName.substr(open + 1, close - open - 1);
}

} // namespace tarnel::platform
