#include "Platform/Statistics/CpuTimesReader.h"

#include "Platform/Statistics/TextParsing.h"

#include <algorithm>

namespace tarnel::platform {

namespace {

// Kernels before 2.6.11 wrote four fields; every kernel we run writes at least eight.
constexpr size_t requiredTickFields = 4;

std::optional<CpuTicks> parseTicks(const std::vector<std::string_view>& fields)
{
    if (fields.size() < 1 + requiredTickFields)
        return std::nullopt;
    std::uint64_t values[10] = {};
    size_t count = std::min<size_t>(fields.size() - 1, 10);
    for (size_t i = 0; i < count; ++i) {
        auto value = text::parseUnsigned(fields[i + 1]);
        if (!value)
            return std::nullopt;
        values[i] = *value;
    }
    CpuTicks ticks;
    ticks.user = values[0];
    ticks.nice = values[1];
    ticks.system = values[2];
    ticks.idle = values[3];
    ticks.iowait = values[4];
    ticks.irq = values[5];
    ticks.softirq = values[6];
    ticks.steal = values[7];
    return ticks;
}

} // namespace

CpuTimes CpuTimesReader::read() const
{
    auto path = root_.resolve("/proc/stat");
    return parse(SystemRoot::readRequiredText(path), path);
}

CpuTimes CpuTimesReader::parse(std::string_view contents, const std::filesystem::path& source)
{
    CpuTimes times;
    bool haveTotal = false;
    for (auto line : text::lines(contents)) {
        if (!line.starts_with("cpu") && !line.starts_with("btime"))
            continue;
        auto fields = text::fields(line);
        if (fields.empty())
            continue;
        if (fields[0] == "btime") {
            if (fields.size() == 2)
                times.bootTime = text::parseSigned(fields[1]);
            continue;
        }
        auto ticks = parseTicks(fields);
        if (!ticks)
            continue;
        if (fields[0] == "cpu") {
            times.total = *ticks;
            haveTotal = true;
        } else if (auto core = text::parseUnsigned(fields[0].substr(3)); core && *core < 1u << 20) {
            times.cores.push_back({static_cast<int>(*core), *ticks});
        }
    }
    if (!haveTotal)
        throw ReadError(source, "no readable \"cpu\" total line");
    std::sort(times.cores.begin(), times.cores.end(),
        [](const CoreTicks& a, const CoreTicks& b) { return a.core < b.core; });
    return times;
}

} // namespace tarnel::platform
