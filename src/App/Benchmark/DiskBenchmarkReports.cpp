#include "App/Benchmark/DiskBenchmarkReports.h"

#include "QuendalFoundation/Preferences/Preferences.h"

#include <nlohmann/json.hpp>

namespace tarnel {

using ordered_json = nlohmann::ordered_json;

std::string reportKey(const HardwareDiskCatalogItem& drive)
{
    return drive.name + " " + (drive.isInternal ? "true" : "false") + " " + drive.serialNumber.value_or("unknown_serial");
}

std::string encodeReports(const DiskBenchmarkReports& reports)
{
    ordered_json document = ordered_json::object();
    for (const auto& [key, report] : reports) {
        ordered_json results = ordered_json::array();
        for (const auto& r : report.results)
            results.push_back({{"read", r.read}, {"write", r.write}, {"date", r.date.secondsSinceReferenceDate}});
        document[key] = {{"diskModel", report.diskModel}, {"isInternal", report.isInternal}, {"results", std::move(results)}};
    }
    return document.dump();
}

std::optional<DiskBenchmarkReports> decodeReports(const std::string& json)
{
    try {
        const auto document = nlohmann::json::parse(json);
        if (!document.is_object())
            return std::nullopt;
        DiskBenchmarkReports reports;
        for (const auto& [key, value] : document.items()) {
            DiskBenchmarkReport report;
            report.diskModel = value.at("diskModel").get<std::string>();
            report.isInternal = value.at("isInternal").get<bool>();
            for (const auto& r : value.at("results")) {
                if (!r.at("read").is_number_unsigned() || !r.at("write").is_number_unsigned())
                    return std::nullopt;
                report.results.push_back({r.at("read").get<std::uint64_t>(), r.at("write").get<std::uint64_t>(),
                                          Date{r.at("date").get<double>()}});
            }
            reports.emplace(key, std::move(report));
        }
        return reports;
    } catch (const nlohmann::json::exception&) {
        return std::nullopt;
    }
}

DiskBenchmarkReports DiskBenchmarkReportStore::load() const
{
    const auto text = preferences_.jsonValue(key);
    if (!text)
        return {};
    return decodeReports(*text).value_or(DiskBenchmarkReports{});
}

void DiskBenchmarkReportStore::save(const DiskBenchmarkReports& reports)
{
    preferences_.setJson(key, encodeReports(reports));
}

void append(DiskBenchmarkReports& reports, const HardwareDiskCatalogItem& drive, DiskBenchmarkResult result)
{
    auto [entry, made] = reports.try_emplace(reportKey(drive));
    if (made) {
        entry->second.diskModel = drive.name;
        entry->second.isInternal = drive.isInternal;
    }
    entry->second.results.push_back(result);
}

} // namespace tarnel
