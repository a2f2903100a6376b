#pragma once

#include "TarnelFoundation/Catalog/HardwareCatalog.h"
#include "TarnelFoundation/Codec/Date.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace quendal {
class Preferences;
}

namespace tarnel {

// One finished run: mean speeds in bytes per second and when it finished.
struct DiskBenchmarkResult {
    std::uint64_t read = 0;
    std::uint64_t write = 0;
    Date date;
    friend bool operator==(const DiskBenchmarkResult&, const DiskBenchmarkResult&) = default;
};

// Every stored run of one drive, in order of arrival.
struct DiskBenchmarkReport {
    std::string diskModel;
    bool isInternal = false;
    std::vector<DiskBenchmarkResult> results;
    friend bool operator==(const DiskBenchmarkReport&, const DiskBenchmarkReport&) = default;
};

using DiskBenchmarkReports = std::map<std::string, DiskBenchmarkReport>;

// "<name> <true|false> <serial or unknown_serial>": drives of one model without serials share it.
std::string reportKey(const HardwareDiskCatalogItem& drive);

// The stored JSON text; keys of a result in the order read, write, date.
std::string encodeReports(const DiskBenchmarkReports& reports);
// Nullopt for text that is not a map of reports.
std::optional<DiskBenchmarkReports> decodeReports(const std::string& json);

// The reports kept between launches under "benchmarkResults-v2".
class DiskBenchmarkReportStore {
public:
    static constexpr const char* key = "benchmarkResults-v2";

    explicit DiskBenchmarkReportStore(quendal::Preferences& preferences) : preferences_(preferences) {}

    // An absent or undecodable entry reads as none; the stored text stays as it is.
    DiskBenchmarkReports load() const;
    // Throws when the document cannot be written.
    void save(const DiskBenchmarkReports& reports);

private:
    quendal::Preferences& preferences_;
};

// Appends a result to the drive's report, making the report on first use.
void append(DiskBenchmarkReports& reports, const HardwareDiskCatalogItem& drive, DiskBenchmarkResult result);

} // namespace tarnel
