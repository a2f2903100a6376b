#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tarnel {

enum class BenchmarkSpeedometerState : std::uint8_t { none, working, finished };
enum class BenchmarkRank : std::uint8_t { first, second, third };
enum class BenchmarkColor : std::uint8_t { blue, green };

// One dial: megabytes per second on a scale up to `maximum`.
struct BenchmarkSpeedometerModel {
    std::string title;
    double megabytesPerSecond = 0;
    double maximum = 4000;
    BenchmarkColor color = BenchmarkColor::blue;
    friend bool operator==(const BenchmarkSpeedometerModel&, const BenchmarkSpeedometerModel&) = default;
};

// "Read" or "Write" with its speed text, on a card.
struct BenchmarkResultValueModel {
    std::string title;
    std::string value;
    BenchmarkColor color = BenchmarkColor::blue;
    friend bool operator==(const BenchmarkResultValueModel&, const BenchmarkResultValueModel&) = default;
};

// One stored run of a drive.
struct DiskBenchmarkResultCardModel {
    // The date text: unique within a drive's section.
    std::string identifier;
    std::string title;
    // A freedesktop icon name.
    std::optional<std::string> image;
    std::optional<std::string> subtitle;
    std::uint64_t readResult = 0;
    std::uint64_t writeResult = 0;
    std::optional<BenchmarkRank> rank;
    std::array<BenchmarkResultValueModel, 2> values;
    friend bool operator==(const DiskBenchmarkResultCardModel&, const DiskBenchmarkResultCardModel&) = default;
};

// The runs of one drive, newest first.
struct DiskBenchmarkSection {
    std::string identifier;
    std::vector<DiskBenchmarkResultCardModel> cards;
    friend bool operator==(const DiskBenchmarkSection&, const DiskBenchmarkSection&) = default;
};

struct DiskBenchmarkDriveChoice {
    std::string identifier;
    std::string title;
    friend bool operator==(const DiskBenchmarkDriveChoice&, const DiskBenchmarkDriveChoice&) = default;
};

// Everything the benchmark screen shows.
struct DiskBenchmarkScreenModel {
    std::string title;
    BenchmarkSpeedometerState state = BenchmarkSpeedometerState::none;
    // Left the read speed, right the write speed.
    BenchmarkSpeedometerModel read;
    BenchmarkSpeedometerModel write;
    std::string runTitle;
    bool runEnabled = false;
    std::vector<DiskBenchmarkDriveChoice> drives;
    std::optional<std::size_t> selectedDrive;
    // Why nothing can run, when that is so.
    std::optional<std::string> note;
    std::string historyTitle;
    // Shown in place of the cards while no drive has a stored run.
    std::string emptyHistoryText;
    std::vector<DiskBenchmarkSection> sections;
    friend bool operator==(const DiskBenchmarkScreenModel&, const DiskBenchmarkScreenModel&) = default;
};

} // namespace tarnel
