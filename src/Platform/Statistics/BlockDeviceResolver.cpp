#include "Platform/Statistics/BlockDeviceResolver.h"

#include <fmt/format.h>

#include <algorithm>

namespace tarnel::platform {

namespace {

constexpr int maximumStackDepth = 8; // dm on md on partitions is three; loops in /sys would be a kernel bug

std::optional<std::filesystem::path> canonicalPath(const std::filesystem::path& path)
{
    std::error_code error;
    auto resolved = std::filesystem::canonical(path, error);
    if (error)
        return std::nullopt;
    return resolved;
}

bool isPlainName(std::string_view name)
{
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string_view::npos;
}

} // namespace

std::optional<BlockDevice> BlockDeviceResolver::resolve(unsigned major, unsigned minor, const std::string& source) const
{
    if (major != 0) {
        if (auto directory = canonicalPath(root_.resolve(fmt::format("/sys/dev/block/{}:{}", major, minor))))
            return resolveDirectory(*directory);
    }
    if (source.starts_with("/dev/mapper/")) {
        if (auto name = nameOfMappedDevice(source.substr(12)))
            return resolveName(*name);
        return std::nullopt;
    }
    if (source.starts_with("/dev/"))
        return resolveName(source.substr(source.rfind('/') + 1));
    return std::nullopt;
}

std::optional<BlockDevice> BlockDeviceResolver::resolveName(const std::string& name) const
{
    if (!isPlainName(name))
        return std::nullopt;
    auto directory = canonicalPath(root_.resolve("/sys/class/block") / name);
    if (!directory)
        return std::nullopt;
    return resolveDirectory(*directory);
}

std::optional<DriveKind> BlockDeviceResolver::driveKindOfDisk(const std::string& disk) const
{
    if (!isPlainName(disk))
        return std::nullopt;
    auto value = SystemRoot::readAttribute(root_.resolve("/sys/block") / disk / "queue" / "rotational");
    if (value == "1")
        return DriveKind::rotational;
    if (value == "0")
        return DriveKind::solidState;
    return std::nullopt;
}

std::optional<BlockDevice> BlockDeviceResolver::resolveDirectory(const std::filesystem::path& directory) const
{
    BlockDevice device;
    device.name = directory.filename().string();
    std::vector<std::filesystem::path> disks;
    collectDisks(directory, 0, disks);
    bool anyRotational = false;
    bool allSolid = !disks.empty();
    for (const auto& disk : disks) {
        auto name = disk.filename().string();
        if (std::find(device.disks.begin(), device.disks.end(), name) != device.disks.end())
            continue;
        device.disks.push_back(name);
        auto kind = driveKindOfDisk(name);
        anyRotational = anyRotational || kind == DriveKind::rotational;
        allSolid = allSolid && kind == DriveKind::solidState;
    }
    if (anyRotational)
        device.driveKind = DriveKind::rotational;
    else if (allSolid)
        device.driveKind = DriveKind::solidState;
    return device;
}

void BlockDeviceResolver::collectDisks(const std::filesystem::path& directory, int depth,
    std::vector<std::filesystem::path>& disks) const
{
    if (depth > maximumStackDepth)
        return;
    auto slaves = SystemRoot::listDirectory(directory / "slaves");
    if (!slaves.empty()) {
        for (const auto& slave : slaves) {
            if (auto below = canonicalPath(directory / "slaves" / slave))
                collectDisks(*below, depth + 1, disks);
        }
        return;
    }
    // A partition's folder lies inside its disk's folder.
    if (SystemRoot::exists(directory / "partition"))
        disks.push_back(directory.parent_path());
    else
        disks.push_back(directory);
}

std::optional<std::string> BlockDeviceResolver::nameOfMappedDevice(const std::string& mapperName) const
{
    for (const auto& entry : SystemRoot::listDirectory(root_.resolve("/sys/block"))) {
        if (!entry.starts_with("dm-"))
            continue;
        if (SystemRoot::readAttribute(root_.resolve("/sys/block") / entry / "dm" / "name") == mapperName)
            return entry;
    }
    return std::nullopt;
}

} // namespace tarnel::platform
