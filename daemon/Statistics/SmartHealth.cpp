#include "Statistics/SmartHealth.h"

#include "QuendalFoundation/Formatting/ByteCountFormatter.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace tarnel::daemon {

namespace {

using platform::AtaAttribute;
using S = StatsHealthStatus;
using T = StatsSmartValueType;

StatsStorageSmartValueSnapshot value(std::string name, std::string text, std::optional<double> current, T type,
                                     S status = S::ok)
{
    return {std::move(name), std::move(text), current, type, status};
}

std::string grouped(std::uint64_t n) { return fmt::format("{}", n); }

int rank(S s)
{
    switch (s) {
    case S::ok:
        return 0;
    case S::warning:
        return 1;
    case S::failed:
        return 2;
    case S::missing:
        break;
    }
    return -1;
}

S worst(S a, S b) { return rank(b) > rank(a) ? b : a; }

// Attributes that count sectors the drive could not read or had to move: any is a warning.
constexpr std::array sectorCounters{5, 187, 196, 197, 198};
// Normalised "life left" attributes of SSDs, by maker.
constexpr std::array wearAttributes{231, 233, 202, 177, 169};

bool isSectorCounter(int id) { return std::find(sectorCounters.begin(), sectorCounters.end(), id) != sectorCounters.end(); }

std::string spaced(std::string name)
{
    std::replace(name.begin(), name.end(), '_', ' ');
    return name;
}

struct Verdict {
    int health = 100;
    S status = S::ok;
    std::vector<StatsStorageSmartValueSnapshot> values;
};

void judgeNvme(const platform::NvmeHealthLog& log, Verdict& v)
{
    if (log.percentageUsed)
        v.health = 100 - static_cast<int>(std::clamp<std::int64_t>(*log.percentageUsed, 0, 100));
    if (log.criticalWarning) {
        const auto bits = *log.criticalWarning;
        // Bit 2: reliability degraded; bit 3: read-only; bit 4: volatile backup failed.
        S s = bits == 0 ? S::ok : (bits & 0x0C) ? S::failed : S::warning;
        v.status = worst(v.status, s);
        v.values.push_back(value("Critical Warning", fmt::format("0x{:02X}", bits), static_cast<double>(bits), T::number, s));
    }
    if (log.availableSpare) {
        S s = S::ok;
        if (log.availableSpareThreshold && *log.availableSpare < *log.availableSpareThreshold) {
            s = S::failed;
            v.health = std::min(v.health, 10);
        }
        v.status = worst(v.status, s);
        v.values.push_back(value("Available Spare", fmt::format("{} %", *log.availableSpare),
                                 static_cast<double>(*log.availableSpare), T::percentage, s));
    }
    if (log.availableSpareThreshold)
        v.values.push_back(value("Available Spare Threshold", fmt::format("{} %", *log.availableSpareThreshold),
                                 static_cast<double>(*log.availableSpareThreshold), T::percentage));
    if (log.percentageUsed) {
        S s = *log.percentageUsed >= 100 ? S::warning : S::ok;
        v.status = worst(v.status, s);
        v.values.push_back(value("Percentage Used", fmt::format("{} %", *log.percentageUsed),
                                 static_cast<double>(*log.percentageUsed), T::percentage, s));
    }
    auto bytesRow = [&](const char* name, std::optional<std::uint64_t> units) {
        if (!units)
            return;
        const double bytes = static_cast<double>(*units) * 512'000.0;
        v.values.push_back(value(name, quendal::ByteCountFormatter::string(static_cast<std::int64_t>(bytes)), bytes, T::bytes));
    };
    bytesRow("Data Units Read", log.dataUnitsRead);
    bytesRow("Data Units Written", log.dataUnitsWritten);
    if (log.powerCycles)
        v.values.push_back(value("Power Cycles", grouped(*log.powerCycles), static_cast<double>(*log.powerCycles), T::number));
    if (log.powerOnHours)
        v.values.push_back(value("Power On Hours", fmt::format("{} h", *log.powerOnHours),
                                 static_cast<double>(*log.powerOnHours), T::time));
    if (log.unsafeShutdowns)
        v.values.push_back(value("Unsafe Shutdowns", grouped(*log.unsafeShutdowns),
                                 static_cast<double>(*log.unsafeShutdowns), T::number));
    if (log.mediaErrors) {
        S s = *log.mediaErrors > 0 ? S::warning : S::ok;
        if (*log.mediaErrors > 0)
            v.health = std::max(0, v.health - static_cast<int>(std::min<std::uint64_t>(30, 10 + *log.mediaErrors / 10)));
        v.status = worst(v.status, s);
        v.values.push_back(value("Media Errors", grouped(*log.mediaErrors), static_cast<double>(*log.mediaErrors), T::number, s));
    }
    if (log.errorLogEntries)
        v.values.push_back(value("Error Log Entries", grouped(*log.errorLogEntries),
                                 static_cast<double>(*log.errorLogEntries), T::number));
}

T ataType(const AtaAttribute& a)
{
    switch (a.id) {
    case 9:
        return T::time;
    case 190:
    case 194:
        return T::temperature;
    default:
        return T::number;
    }
}

void judgeAta(const std::vector<AtaAttribute>& attributes, Verdict& v)
{
    for (int id : wearAttributes) {
        auto it = std::find_if(attributes.begin(), attributes.end(), [id](const AtaAttribute& a) { return a.id == id; });
        if (it != attributes.end() && it->value && *it->value >= 0) {
            v.health = static_cast<int>(std::min<std::int64_t>(*it->value, 100));
            break;
        }
    }
    for (const auto& a : attributes) {
        S s = S::ok;
        if (a.failingNow) {
            s = S::failed;
            v.health = std::min(v.health, 10);
        } else if (a.failedBefore) {
            s = S::warning;
        } else if (isSectorCounter(a.id) && a.raw && *a.raw > 0) {
            s = S::warning;
            v.health = std::max(0, v.health - static_cast<int>(std::min<std::int64_t>(30, 10 + *a.raw / 10)));
        }
        v.status = worst(v.status, s);
        const auto type = ataType(a);
        std::optional<double> current = a.raw ? std::optional<double>(static_cast<double>(*a.raw)) : std::nullopt;
        // Temperatures keep other readings in the upper bytes of the raw value.
        if (type == T::temperature && a.raw)
            current = static_cast<double>(*a.raw & 0xFF);
        std::string text = a.rawText.value_or(a.raw ? std::to_string(*a.raw) : "-");
        if (type == T::temperature && current)
            text = fmt::format("{} °C", *current);
        else if (type == T::time && a.raw)
            text = fmt::format("{} h", *a.raw & 0xFFFFFFFF);
        v.values.push_back(value(spaced(a.name), text, current, type, s));
    }
}

} // namespace

StatsStorageSmartReportSnapshot judgeSmartReport(const std::string& identifier, const platform::SmartctlReport& report,
                                                 Date at)
{
    StatsStorageSmartReportSnapshot snapshot;
    snapshot.identifier = identifier;
    snapshot.updatedAt = at;
    snapshot.temperatureCelsius = report.temperatureCelsius;
    if (!report.hasHealthData()) {
        snapshot.status = S::missing;
        return snapshot;
    }
    Verdict v;
    if (report.nvme)
        judgeNvme(*report.nvme, v);
    judgeAta(report.ataAttributes, v);
    if (report.passed == false) {
        v.status = S::failed;
        v.health = std::min(v.health, 10);
    }
    // ATA drives list their temperature among the attributes already.
    if (report.temperatureCelsius && report.nvme)
        v.values.insert(v.values.begin(), value("Temperature", fmt::format("{} °C", *report.temperatureCelsius),
                                               report.temperatureCelsius, T::temperature));
    if (v.status == S::ok && v.health < 20)
        v.status = S::failed;
    else if (v.status == S::ok && v.health < 60)
        v.status = S::warning;
    snapshot.healthPercentage = static_cast<std::uint8_t>(std::clamp(v.health, 0, 100));
    snapshot.status = v.status;
    snapshot.values = std::move(v.values);
    return snapshot;
}

} // namespace tarnel::daemon
