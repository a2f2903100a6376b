#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel::platform {

struct NvmeHealthLog {
    std::optional<std::int64_t> criticalWarning; // a bit field
    std::optional<std::int64_t> availableSpare;  // percent
    std::optional<std::int64_t> availableSpareThreshold;
    std::optional<std::int64_t> percentageUsed;  // may pass 100
    std::optional<std::uint64_t> dataUnitsRead;  // units of 512,000 bytes
    std::optional<std::uint64_t> dataUnitsWritten;
    std::optional<std::uint64_t> powerCycles;
    std::optional<std::uint64_t> powerOnHours;
    std::optional<std::uint64_t> unsafeShutdowns;
    std::optional<std::uint64_t> mediaErrors;
    std::optional<std::uint64_t> errorLogEntries;
};

struct AtaAttribute {
    int id = 0;
    std::string name; // "Reallocated_Sector_Ct"
    std::optional<std::int64_t> value; // normalised, usually 1..253
    std::optional<std::int64_t> worst;
    std::optional<std::int64_t> threshold;
    bool failingNow = false;  // when_failed "now"
    bool failedBefore = false; // when_failed "past"
    bool prefailure = false;
    std::optional<std::int64_t> raw;
    std::optional<std::string> rawText;
};

// What `smartctl --json` told about one device. Every field is optional: smartctl leaves out
// what a device does not report, and a drive it cannot open yields messages and little else.
struct SmartctlReport {
    std::optional<std::string> deviceName; // "/dev/nvme0"
    std::optional<std::string> protocol;   // "NVMe", "ATA", "SCSI"
    std::optional<std::string> model;
    std::optional<std::string> serialNumber;
    std::optional<std::string> firmware;
    std::optional<std::uint64_t> capacityBytes;
    std::optional<bool> smartAvailable;
    std::optional<bool> smartEnabled;
    std::optional<bool> passed; // the drive's own overall verdict
    std::optional<double> temperatureCelsius;
    std::optional<std::uint64_t> powerOnHours;
    std::optional<std::uint64_t> powerCycles;
    std::optional<NvmeHealthLog> nvme;
    std::vector<AtaAttribute> ataAttributes;
    std::optional<int> exitStatus;       // smartctl's bit field
    std::vector<std::string> errors;     // messages of severity "error"

    bool hasHealthData() const { return passed.has_value() || nvme.has_value() || !ataAttributes.empty(); }
};

// Absent when the text holds no JSON object; fields of the wrong type are left absent.
std::optional<SmartctlReport> parseSmartctlJson(std::string_view text);

} // namespace tarnel::platform
