#include "Platform/Statistics/DiskStatsReader.h"

#include "Platform/Statistics/TextParsing.h"

namespace tarnel::platform {

std::vector<DiskCounters> DiskStatsReader::read() const
{
    return parse(SystemRoot::readRequiredText(root_.resolve("/proc/diskstats")));
}

std::vector<DiskCounters> DiskStatsReader::readDrives() const
{
    std::vector<DiskCounters> drives;
    auto blockFolder = root_.resolve("/sys/block");
    for (auto& counters : read()) {
        if (counters.name.empty() || counters.name.find('/') != std::string::npos)
            continue;
        std::error_code error;
        auto device = std::filesystem::canonical(blockFolder / counters.name, error);
        if (error || device.string().find("/devices/virtual/") != std::string::npos)
            continue;
        drives.push_back(std::move(counters));
    }
    return drives;
}

std::vector<DiskCounters> DiskStatsReader::parse(std::string_view contents)
{
    std::vector<DiskCounters> disks;
    for (auto line : text::lines(contents)) {
        auto fields = text::fields(line);
        // major minor name, then eleven counters; newer kernels add discard and flush counters.
        if (fields.size() < 14)
            continue;
        std::uint64_t numbers[11];
        bool valid = true;
        for (size_t i = 0; i < 11 && valid; ++i) {
            auto value = text::parseUnsigned(fields[3 + i]);
            valid = value.has_value();
            numbers[i] = value.value_or(0);
        }
        auto major = text::parseUnsigned(fields[0]);
        auto minor = text::parseUnsigned(fields[1]);
        if (!valid || !major || !minor || *major > 0xfffff || *minor > 0xfffff)
            continue;
        DiskCounters counters;
        counters.major = static_cast<unsigned>(*major);
        counters.minor = static_cast<unsigned>(*minor);
        counters.name = std::string(fields[2]);
        counters.readsCompleted = numbers[0];
        counters.sectorsRead = numbers[2];
        counters.readMilliseconds = numbers[3];
        counters.writesCompleted = numbers[4];
        counters.sectorsWritten = numbers[6];
        counters.writeMilliseconds = numbers[7];
        counters.ioMilliseconds = numbers[9];
        disks.push_back(std::move(counters));
    }
    return disks;
}

} // namespace tarnel::platform
