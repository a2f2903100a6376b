#include "Platform/Hardware/GraphicsDeviceReader.h"

#include "Platform/Statistics/TextParsing.h"

#include <algorithm>
#include <array>

namespace tarnel::platform {

namespace {

std::optional<std::uint32_t> hexAttribute(const std::filesystem::path& file)
{
    auto value = SystemRoot::readAttribute(file);
    if (!value)
        return std::nullopt;
    std::string_view text = text::trim(*value);
    if (text.starts_with("0x") || text.starts_with("0X"))
        text.remove_prefix(2);
    return text::parseHex32(text);
}

std::optional<std::uint64_t> unsignedAttribute(const std::filesystem::path& file)
{
    auto value = SystemRoot::readAttribute(file);
    return value ? text::parseUnsigned(text::trim(*value)) : std::nullopt;
}

std::optional<double> positive(std::optional<double> value)
{
    return value && *value > 0 ? value : std::nullopt;
}

std::optional<double> scaledAttribute(const std::filesystem::path& file, double divisor)
{
    auto value = unsignedAttribute(file);
    return value ? positive(static_cast<double>(*value) / divisor) : std::nullopt;
}

// The card's hwmon node: "<device>/hwmon/hwmonN".
std::optional<std::filesystem::path> hwmonOf(const std::filesystem::path& device)
{
    for (const auto& entry : SystemRoot::listDirectory(device / "hwmon"))
        if (entry.starts_with("hwmon"))
            return device / "hwmon" / entry;
    return std::nullopt;
}

// Code names of AMD processors with built-in graphics, as the database spells them.
constexpr std::array amdApuNames{"Raven",    "Picasso", "Renoir", "Cezanne", "Lucienne", "Barcelo",  "Rembrandt",
                                 "Phoenix",  "Mendocino", "Van Gogh", "VanGogh", "Strix", "Hawk Point", "Kaveri",
                                 "Carrizo",  "Stoney",  "Kabini", "Mullins", "Beema",    "Trinity",  "Richland",
                                 "Wrestler", "Dragon Range", "Granite Ridge", "Raphael"};

} // namespace

std::filesystem::path GraphicsDeviceReader::deviceDirectory(const std::string& address) const
{
    return root_.resolve("/sys/bus/pci/devices") / address;
}

std::vector<GraphicsDevice> GraphicsDeviceReader::devices() const
{
    std::vector<GraphicsDevice> result;
    const auto bus = root_.resolve("/sys/bus/pci/devices");
    const auto addresses = SystemRoot::listDirectory(bus);
    for (const auto& address : addresses) {
        const auto base = bus / address;
        auto classCode = hexAttribute(base / "class");
        if (!classCode || (*classCode >> 16) != 0x03)
            continue;
        auto vendor = hexAttribute(base / "vendor");
        auto device = hexAttribute(base / "device");
        if (!vendor || !device)
            continue;
        GraphicsDevice gpu;
        gpu.address = address;
        gpu.classCode = *classCode;
        gpu.vendorId = static_cast<std::uint16_t>(*vendor);
        gpu.deviceId = static_cast<std::uint16_t>(*device);
        if (auto v = hexAttribute(base / "subsystem_vendor"))
            gpu.subsystemVendorId = static_cast<std::uint16_t>(*v);
        if (auto d = hexAttribute(base / "subsystem_device"))
            gpu.subsystemDeviceId = static_cast<std::uint16_t>(*d);
        if (auto r = hexAttribute(base / "revision"))
            gpu.revision = static_cast<std::uint8_t>(*r);
        if (auto link = SystemRoot::readLink(base / "driver"))
            gpu.driver = std::filesystem::path(*link).filename().string();
        for (const auto& entry : SystemRoot::listDirectory(base / "drm"))
            if (entry.starts_with("card") && entry.find('-') == std::string::npos) {
                gpu.drmCard = entry;
                break;
            }
        gpu.bootVga = SystemRoot::readAttribute(base / "boot_vga") == "1";
        gpu.removable = SystemRoot::readAttribute(base / "removable") == "removable";
        // The HDMI/DP audio function sits beside the graphics function in the same slot.
        const auto slot = address.substr(0, address.rfind('.') + 1);
        for (const auto& other : addresses)
            if (other != address && other.starts_with(slot)) {
                auto otherClass = hexAttribute(bus / other / "class");
                if (otherClass && (*otherClass >> 8) == 0x0403)
                    gpu.hasAudioFunction = true;
            }
        gpu.vramTotalBytes = unsignedAttribute(base / "mem_info_vram_total");
        if (gpu.vramTotalBytes == 0u)
            gpu.vramTotalBytes.reset();
        if (auto sclk = SystemRoot::readText(base / "pp_dpm_sclk"))
            gpu.maximumCoreClockMHz = parseClockLevels(*sclk).maximumMHz;
        if (auto mclk = SystemRoot::readText(base / "pp_dpm_mclk"))
            gpu.maximumMemoryClockMHz = parseClockLevels(*mclk).maximumMHz;
        if (!gpu.maximumCoreClockMHz && gpu.drmCard) {
            const auto card = base / "drm" / *gpu.drmCard;
            gpu.maximumCoreClockMHz = scaledAttribute(card / "gt_RP0_freq_mhz", 1);
            if (!gpu.maximumCoreClockMHz)
                gpu.maximumCoreClockMHz = scaledAttribute(card / "gt_max_freq_mhz", 1);
        }
        result.push_back(std::move(gpu));
    }
    return result;
}

GraphicsDeviceSample GraphicsDeviceReader::sample(const GraphicsDevice& device) const
{
    GraphicsDeviceSample s;
    const auto base = deviceDirectory(device.address);
    if (auto busy = unsignedAttribute(base / "gpu_busy_percent"); busy && *busy <= 100)
        s.busyFraction = static_cast<double>(*busy) / 100.0;
    s.vramUsedBytes = unsignedAttribute(base / "mem_info_vram_used");
    if (auto sclk = SystemRoot::readText(base / "pp_dpm_sclk"))
        s.coreClockMHz = parseClockLevels(*sclk).currentMHz;
    if (auto mclk = SystemRoot::readText(base / "pp_dpm_mclk"))
        s.memoryClockMHz = parseClockLevels(*mclk).currentMHz;
    if (device.drmCard && !s.coreClockMHz) {
        const auto card = base / "drm" / *device.drmCard;
        s.coreClockMHz = scaledAttribute(card / "gt_act_freq_mhz", 1);
        if (!s.coreClockMHz)
            s.coreClockMHz = scaledAttribute(card / "gt_cur_freq_mhz", 1);
    }
    if (auto hwmon = hwmonOf(base)) {
        if (auto milli = text::parseSigned(SystemRoot::readAttribute(*hwmon / "temp1_input").value_or("")))
            if (*milli > -60'000 && *milli < 250'000)
                s.temperatureCelsius = static_cast<double>(*milli) / 1000.0;
        s.powerWatts = scaledAttribute(*hwmon / "power1_average", 1e6);
        if (!s.powerWatts)
            s.powerWatts = scaledAttribute(*hwmon / "power1_input", 1e6);
        if (!s.coreClockMHz)
            s.coreClockMHz = scaledAttribute(*hwmon / "freq1_input", 1e6);
        if (!s.memoryClockMHz)
            s.memoryClockMHz = scaledAttribute(*hwmon / "freq2_input", 1e6);
    }
    return s;
}

GraphicsAttachment attachmentOf(const GraphicsDevice& device, const std::optional<std::string>& databaseName)
{
    switch (device.vendorId) {
    case 0x1af4: // virtio
    case 0x1234: // QEMU standard VGA
    case 0x15ad: // VMware SVGA
    case 0x80ee: // VirtualBox
    case 0x1414: // Hyper-V
        return GraphicsAttachment::virtualMachine;
    }
    if (device.removable)
        return GraphicsAttachment::external;
    const std::string name = databaseName.value_or("");
    if (device.vendorId == 0x8086) {
        const bool dedicated = name.find("Arc") != std::string::npos || name.find("DG1") != std::string::npos ||
                               name.find("DG2") != std::string::npos || name.find("Battlemage") != std::string::npos;
        return dedicated ? GraphicsAttachment::discrete : GraphicsAttachment::integrated;
    }
    if (device.vendorId == 0x1002) {
        for (const char* apu : amdApuNames)
            if (name.find(apu) != std::string::npos)
                return GraphicsAttachment::integrated;
        // A carve-out of system memory, not memory on a card.
        if (device.vramTotalBytes && *device.vramTotalBytes <= (1ull << 30))
            return GraphicsAttachment::integrated;
    }
    return GraphicsAttachment::discrete;
}

ClockLevels parseClockLevels(std::string_view text)
{
    ClockLevels levels;
    for (auto line : text::lines(text)) {
        auto fields = text::fields(line);
        if (fields.size() < 2)
            continue;
        std::string_view value = fields[1];
        double scale = 1;
        if (value.ends_with("Mhz") || value.ends_with("MHz"))
            value.remove_suffix(3);
        else if (value.ends_with("Ghz") || value.ends_with("GHz")) {
            value.remove_suffix(3);
            scale = 1000;
        } else
            continue;
        auto mhz = text::parseDouble(value);
        if (!mhz || *mhz <= 0)
            continue;
        const double clock = *mhz * scale;
        if (!levels.maximumMHz || clock > *levels.maximumMHz)
            levels.maximumMHz = clock;
        if (fields.size() >= 3 && fields[2] == "*")
            levels.currentMHz = clock;
    }
    return levels;
}

} // namespace tarnel::platform
