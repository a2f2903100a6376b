#include "Catalog/SystemInventoryCollector.h"

#include "Platform/Statistics/MemoryInfoReader.h"

#include <fmt/format.h>

#include <charconv>
#include <map>
#include <set>
#include <sstream>
#include <sys/utsname.h>
#include <unistd.h>

namespace tarnel::daemon {

namespace {

std::string trim(std::string_view text)
{
    auto start = text.find_first_not_of(" \t\r\n");
    if (start == std::string_view::npos)
        return {};
    auto end = text.find_last_not_of(" \t\r\n");
    return std::string(text.substr(start, end - start + 1));
}

std::optional<std::int64_t> number(std::string_view text)
{
    std::int64_t value = 0;
    auto t = trim(text);
    auto [end, error] = std::from_chars(t.data(), t.data() + t.size(), value);
    if (error != std::errc() || t.empty())
        return std::nullopt;
    return value;
}

// "0-3,8-11" to the set of numbers it names.
std::set<int> cpuList(std::string_view text)
{
    std::set<int> cpus;
    std::stringstream in{std::string(trim(text))};
    std::string range;
    while (std::getline(in, range, ',')) {
        auto dash = range.find('-');
        auto first = number(range.substr(0, dash));
        auto last = dash == std::string::npos ? first : number(range.substr(dash + 1));
        if (!first || !last)
            continue;
        for (auto c = *first; c <= *last && c - *first < 4096; ++c)
            cpus.insert(static_cast<int>(c));
    }
    return cpus;
}

// "48K", "1280K", "12M" as bytes.
std::optional<std::int64_t> cacheSize(std::string_view text)
{
    auto t = trim(text);
    if (t.empty())
        return std::nullopt;
    std::int64_t scale = 1;
    if (t.back() == 'K')
        scale = 1024;
    else if (t.back() == 'M')
        scale = 1024 * 1024;
    if (scale != 1)
        t.pop_back();
    auto value = number(t);
    if (!value)
        return std::nullopt;
    return *value * scale;
}

// Values that firmware writes where it has nothing to say.
bool isPlaceholder(const std::string& value)
{
    static const std::set<std::string> placeholders{"To Be Filled By O.E.M.", "To be filled by O.E.M.", "Default string",
                                                    "System Product Name", "System manufacturer", "Not Specified",
                                                    "None", "0", "Unknown"};
    return value.empty() || placeholders.contains(value);
}

} // namespace

SystemInventoryCollector::SystemInventoryCollector(platform::SystemRoot root, std::optional<Host> host)
    : root_(std::move(root))
{
    if (host) {
        host_ = *host;
    } else {
        utsname name{};
        ::uname(&name);
        host_.machine = name.machine;
        host_.release = name.release;
        char hostName[256] = {};
        ::gethostname(hostName, sizeof hostName - 1);
        host_.hostName = hostName;
    }
}

std::optional<std::string> SystemInventoryCollector::attribute(std::string_view path) const
{
    auto value = platform::SystemRoot::readAttribute(root_.resolve(path));
    if (!value || isPlaceholder(trim(*value)))
        return std::nullopt;
    return trim(*value);
}

SystemInventorySnapshot SystemInventoryCollector::collect() const
{
    return {machine(), cpu(), memory(), operatingSystem(), bluetooth(), usb(), Date::now()};
}

SystemMachineInventory SystemInventoryCollector::machine() const
{
    SystemMachineInventory m;
    const auto vendor = attribute("/sys/class/dmi/id/sys_vendor");
    const auto product = attribute("/sys/class/dmi/id/product_name");
    const auto version = attribute("/sys/class/dmi/id/product_version");
    m.modelIdentifier = product;
    // The name people know the machine by: some vendors keep it in the version field.
    if (version && vendor && version->find(' ') != std::string::npos)
        m.appleProductName = *vendor + " " + *version;
    else if (vendor && product)
        m.appleProductName = *vendor + " " + *product;
    m.serialNumber = attribute("/sys/class/dmi/id/product_serial"); // readable by root only
    m.mlbSerialNumber = attribute("/sys/class/dmi/id/board_serial");
    m.hardwareUUID = attribute("/etc/machine-id");
    m.platformUUID = attribute("/sys/class/dmi/id/product_uuid");
    m.bootROMVersion = attribute("/sys/class/dmi/id/bios_version");
    m.smcVersion = attribute("/sys/class/dmi/id/ec_firmware_release");
    return m;
}

SystemCPUInventory SystemInventoryCollector::cpu() const
{
    SystemCPUInventory c;
    c.architecture = host_.machine.empty() ? std::nullopt : std::optional<std::string>(host_.machine);
    auto text = platform::SystemRoot::readText(root_.resolve("/proc/cpuinfo")).value_or("");
    std::stringstream in(text);
    std::string line;
    std::set<std::pair<std::string, std::string>> physical;
    std::string physicalId, coreId;
    std::vector<int> processors;
    auto flush = [&] {
        if (!coreId.empty())
            physical.insert({physicalId, coreId});
        physicalId.clear();
        coreId.clear();
    };
    while (std::getline(in, line)) {
        auto colon = line.find(':');
        if (colon == std::string::npos) {
            flush();
            continue;
        }
        auto key = trim(line.substr(0, colon));
        auto value = trim(line.substr(colon + 1));
        if (key == "processor") {
            if (auto n = number(value))
                processors.push_back(static_cast<int>(*n));
        } else if ((key == "model name" || key == "Model" || key == "Hardware") && !c.name) {
            c.name = value;
        } else if (key == "physical id") {
            physicalId = value;
        } else if (key == "core id") {
            coreId = value;
        } else if (key == "cpu family" && !c.family) {
            if (auto n = number(value))
                c.family = static_cast<std::uint64_t>(*n);
        }
    }
    flush();
    c.logicalCores = static_cast<std::int64_t>(processors.size());
    c.physicalCores = physical.empty() ? c.logicalCores : static_cast<std::int64_t>(physical.size());
    if (auto khz = attribute("/sys/devices/system/cpu/cpu0/cpufreq/cpuinfo_max_freq"); khz && number(*khz))
        c.frequencyHz = static_cast<std::uint64_t>(*number(*khz)) * 1000;
    for (int index = 0; index < 8; ++index) {
        const auto base = fmt::format("/sys/devices/system/cpu/cpu0/cache/index{}/", index);
        auto level = attribute(base + "level");
        auto size = attribute(base + "size");
        if (!level || !size)
            continue;
        if (*level == "2")
            c.l2CacheBytes = cacheSize(*size);
        else if (*level == "3")
            c.l3CacheBytes = cacheSize(*size);
    }
    // Hybrid processors name their two kinds of core.
    auto performance = cpuList(attribute("/sys/devices/cpu_core/cpus").value_or(""));
    auto efficiency = cpuList(attribute("/sys/devices/cpu_atom/cpus").value_or(""));
    if (!performance.empty() && !efficiency.empty()) {
        c.performanceCores = static_cast<std::int64_t>(performance.size());
        c.efficiencyCores = static_cast<std::int64_t>(efficiency.size());
        c.performanceLevels = {{"Performance", *c.performanceCores, *c.performanceCores},
                               {"Efficiency", *c.efficiencyCores, *c.efficiencyCores}};
    }
    for (int p : processors) {
        SystemCPUCoreInventory core;
        core.model = c.name;
        core.name = fmt::format("cpu{}", p);
        core.identifier = p;
        core.kind = performance.contains(p)  ? SystemCPUCoreKind::performance
                    : efficiency.contains(p) ? SystemCPUCoreKind::efficiency
                                             : SystemCPUCoreKind::unknown;
        c.cores.push_back(core);
    }
    return c;
}

SystemMemoryInventory SystemInventoryCollector::memory() const
{
    try {
        return {platform::MemoryInfoReader(root_).read().totalBytes.value_or(0)};
    } catch (const platform::ReadError&) {
        return {};
    }
}

SystemOSInventory SystemInventoryCollector::operatingSystem() const
{
    SystemOSInventory os;
    std::map<std::string, std::string> release;
    auto text = platform::SystemRoot::readText(root_.resolve("/etc/os-release"))
                    .value_or(platform::SystemRoot::readText(root_.resolve("/usr/lib/os-release")).value_or(""));
    std::stringstream in(text);
    std::string line;
    while (std::getline(in, line)) {
        auto eq = line.find('=');
        if (eq == std::string::npos || line.starts_with('#'))
            continue;
        auto value = trim(line.substr(eq + 1));
        if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front())
            value = value.substr(1, value.size() - 2);
        release[trim(line.substr(0, eq))] = value;
    }
    os.versionString = release.contains("PRETTY_NAME") ? release["PRETTY_NAME"] : release["NAME"];
    std::stringstream version(release["VERSION_ID"]);
    std::string part;
    std::vector<std::int64_t> numbers;
    while (std::getline(version, part, '.'))
        numbers.push_back(number(part).value_or(0));
    os.majorVersion = numbers.size() > 0 ? numbers[0] : 0;
    os.minorVersion = numbers.size() > 1 ? numbers[1] : 0;
    os.patchVersion = numbers.size() > 2 ? numbers[2] : 0;
    if (!host_.release.empty())
        os.buildString = host_.release;
    if (!host_.hostName.empty())
        os.hostName = host_.hostName;
    auto machineInfo = platform::SystemRoot::readText(root_.resolve("/etc/machine-info")).value_or("");
    if (auto at = machineInfo.find("PRETTY_HOSTNAME="); at != std::string::npos) {
        auto value = trim(machineInfo.substr(at + 16, machineInfo.find('\n', at) - at - 16));
        if (value.size() >= 2 && value.front() == '"')
            value = value.substr(1, value.size() - 2);
        os.computerName = value;
    } else {
        os.computerName = os.hostName;
    }
    return os;
}

SystemBluetoothInventory SystemInventoryCollector::bluetooth() const
{
    SystemBluetoothInventory b;
    auto adapters = platform::SystemRoot::listDirectory(root_.resolve("/sys/class/bluetooth"));
    for (const auto& name : adapters) {
        if (!name.starts_with("hci") || name.find(':') != std::string::npos)
            continue;
        b.isAvailable = true;
        b.name = name;
        break;
    }
    return b;
}

SystemUSBInventory SystemInventoryCollector::usb() const
{
    SystemUSBInventory u;
    for (const auto& entry : platform::SystemRoot::listDirectory(root_.resolve("/sys/bus/usb/devices"))) {
        // Devices only: "1-2", "1-2.3"; interfaces have a colon and root hubs start with "usb".
        if (entry.find(':') != std::string::npos || entry.starts_with("usb"))
            continue;
        const auto base = "/sys/bus/usb/devices/" + entry + "/";
        auto vendorID = attribute(base + "idVendor");
        if (!vendorID)
            continue;
        SystemUSBDeviceInventory d;
        d.name = attribute(base + "product").value_or("USB Device");
        d.vendor = attribute(base + "manufacturer");
        d.vendorID = vendorID;
        d.productID = attribute(base + "idProduct");
        d.serialNumber = attribute(base + "serial");
        if (auto speed = attribute(base + "speed"))
            d.speed = *speed + " Mb/s";
        if (auto power = attribute(base + "bMaxPower"))
            d.powerUsed = number(*power);
        d.location = entry;
        u.devices.push_back(std::move(d));
    }
    return u;
}

} // namespace tarnel::daemon
