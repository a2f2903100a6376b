#include "Platform/Hardware/SmartctlReport.h"

#include <nlohmann/json.hpp>

namespace tarnel::platform {

namespace {

using Json = nlohmann::json;

const Json* member(const Json& object, const char* key)
{
    if (!object.is_object())
        return nullptr;
    auto it = object.find(key);
    return it == object.end() ? nullptr : &*it;
}

const Json* path(const Json& object, std::initializer_list<const char*> keys)
{
    const Json* at = &object;
    for (const char* key : keys) {
        at = member(*at, key);
        if (!at)
            return nullptr;
    }
    return at;
}

std::optional<std::string> string(const Json* value)
{
    if (!value || !value->is_string())
        return std::nullopt;
    auto text = value->get<std::string>();
    if (text.empty())
        return std::nullopt;
    return text;
}

std::optional<bool> boolean(const Json* value)
{
    if (!value || !value->is_boolean())
        return std::nullopt;
    return value->get<bool>();
}

std::optional<std::int64_t> integer(const Json* value)
{
    if (!value)
        return std::nullopt;
    if (value->is_number_integer())
        return value->get<std::int64_t>();
    if (value->is_number_unsigned()) {
        auto u = value->get<std::uint64_t>();
        return u <= static_cast<std::uint64_t>(INT64_MAX) ? std::optional<std::int64_t>(static_cast<std::int64_t>(u))
                                                          : std::nullopt;
    }
    return std::nullopt;
}

std::optional<std::uint64_t> count(const Json* value)
{
    if (!value)
        return std::nullopt;
    if (value->is_number_unsigned())
        return value->get<std::uint64_t>();
    if (value->is_number_integer() && value->get<std::int64_t>() >= 0)
        return static_cast<std::uint64_t>(value->get<std::int64_t>());
    return std::nullopt;
}

NvmeHealthLog nvmeLog(const Json& log)
{
    NvmeHealthLog n;
    n.criticalWarning = integer(member(log, "critical_warning"));
    n.availableSpare = integer(member(log, "available_spare"));
    n.availableSpareThreshold = integer(member(log, "available_spare_threshold"));
    n.percentageUsed = integer(member(log, "percentage_used"));
    n.dataUnitsRead = count(member(log, "data_units_read"));
    n.dataUnitsWritten = count(member(log, "data_units_written"));
    n.powerCycles = count(member(log, "power_cycles"));
    n.powerOnHours = count(member(log, "power_on_hours"));
    n.unsafeShutdowns = count(member(log, "unsafe_shutdowns"));
    n.mediaErrors = count(member(log, "media_errors"));
    n.errorLogEntries = count(member(log, "num_err_log_entries"));
    return n;
}

std::vector<AtaAttribute> ataTable(const Json& table)
{
    std::vector<AtaAttribute> attributes;
    if (!table.is_array())
        return attributes;
    for (const auto& row : table) {
        auto id = integer(member(row, "id"));
        if (!id || *id <= 0 || *id > 255)
            continue;
        AtaAttribute a;
        a.id = static_cast<int>(*id);
        a.name = string(member(row, "name")).value_or("Attribute " + std::to_string(a.id));
        a.value = integer(member(row, "value"));
        a.worst = integer(member(row, "worst"));
        a.threshold = integer(member(row, "thresh"));
        const auto whenFailed = string(member(row, "when_failed")).value_or("");
        a.failingNow = whenFailed == "now";
        a.failedBefore = whenFailed == "past";
        a.prefailure = boolean(path(row, {"flags", "prefailure"})).value_or(false);
        a.raw = integer(path(row, {"raw", "value"}));
        a.rawText = string(path(row, {"raw", "string"}));
        attributes.push_back(std::move(a));
    }
    return attributes;
}

} // namespace

std::optional<SmartctlReport> parseSmartctlJson(std::string_view text)
{
    // Anything smartctl wrote to standard error before the document is not part of it.
    const auto start = text.find('{');
    if (start == std::string_view::npos)
        return std::nullopt;
    Json document = Json::parse(text.substr(start), nullptr, false);
    if (document.is_discarded() || !document.is_object())
        return std::nullopt;

    SmartctlReport report;
    report.deviceName = string(path(document, {"device", "name"}));
    report.protocol = string(path(document, {"device", "protocol"}));
    report.model = string(member(document, "model_name"));
    report.serialNumber = string(member(document, "serial_number"));
    report.firmware = string(member(document, "firmware_version"));
    report.capacityBytes = count(path(document, {"user_capacity", "bytes"}));
    report.smartAvailable = boolean(path(document, {"smart_support", "available"}));
    report.smartEnabled = boolean(path(document, {"smart_support", "enabled"}));
    report.passed = boolean(path(document, {"smart_status", "passed"}));
    if (auto t = integer(path(document, {"temperature", "current"})); t && *t > -60 && *t < 250)
        report.temperatureCelsius = static_cast<double>(*t);
    report.powerOnHours = count(path(document, {"power_on_time", "hours"}));
    report.powerCycles = count(member(document, "power_cycle_count"));
    if (const auto* log = member(document, "nvme_smart_health_information_log"); log && log->is_object())
        report.nvme = nvmeLog(*log);
    if (const auto* table = path(document, {"ata_smart_attributes", "table"}))
        report.ataAttributes = ataTable(*table);
    if (auto status = integer(path(document, {"smartctl", "exit_status"})))
        report.exitStatus = static_cast<int>(*status);
    if (const auto* messages = path(document, {"smartctl", "messages"}); messages && messages->is_array())
        for (const auto& message : *messages)
            if (string(member(message, "severity")) == "error")
                if (auto line = string(member(message, "string")))
                    report.errors.push_back(*line);
    return report;
}

} // namespace tarnel::platform
