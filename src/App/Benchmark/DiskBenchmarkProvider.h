#pragma once

#include "App/Benchmark/BenchmarkPrompts.h"
#include "App/Benchmark/BenchmarkTarget.h"
#include "App/Benchmark/DiskBenchmarkModels.h"
#include "App/Benchmark/DiskBenchmarkReports.h"

#include "TarnelKit/Benchmark/DiskBenchmark.h"
#include "TarnelKit/Catalog/CatalogStores.h"

#include "QuendalFoundation/Runtime/Published.h"
#include "QuendalFoundation/Runtime/Task.h"

#include <functional>
#include <memory>
#include <optional>

namespace quendal {
class Preferences;
}

namespace tarnel {

// The benchmark screen's model: which drive, where its run goes, what the dials show, and the
// stored runs of every drive. It listens to the engine only while its screen is shown.
class DiskBenchmarkProvider : public DiskBenchmarkListener, public std::enable_shared_from_this<DiskBenchmarkProvider> {
public:
    struct Sources {
        std::shared_ptr<DiskBenchmark> engine;
        std::shared_ptr<HardwareCatalogStore> catalog;
        quendal::Preferences* preferences = nullptr;
        std::shared_ptr<const FileSystemProbe> probe;
        std::shared_ptr<BenchmarkPrompts> prompts;
        // The user's folders a volume's run may go to (cache, home).
        std::vector<std::filesystem::path> userFolders;
        std::function<Date()> now;
    };

    // The application's provider: the shared engine, catalogue and preferences.
    static std::shared_ptr<DiskBenchmarkProvider> make(std::shared_ptr<BenchmarkPrompts> prompts,
                                                       std::optional<std::string> diskIdentifier);
    DiskBenchmarkProvider(Sources sources, std::optional<std::string> diskIdentifier);

    quendal::Published<DiskBenchmarkScreenModel> model;

    // Listens to the engine, finds the drive once the catalogue is there, reads the stored runs.
    void viewWillAppear();
    void viewDidDisappear();
    void selectDrive(const std::string& identifier);
    void runBenchmark();

    const DiskBenchmarkReports& reports() const { return reports_; }
    const std::optional<HardwareDiskCatalogItem>& drive() const { return drive_; }

    void benchmarkDidWrite(std::uint64_t bytesPerSecond) override;
    void benchmarkDidRead(std::uint64_t bytesPerSecond) override;
    void benchmarkDidStop(const std::optional<DiskBenchmarkError>& error) override;
    void benchmarkDidFailToClean(const DiskBenchmarkError& error) override;
    void benchmarkDidFinish(const std::optional<HardwareDiskCatalogItem>& drive, const BenchResult& result) override;

    // The cards of the stored runs, one section per drive with results.
    std::vector<DiskBenchmarkSection> sections() const;

private:
    void findDrive();
    void reload();
    void publish();
    std::optional<std::filesystem::path> askForTarget();
    std::optional<std::string> iconOf(const DiskBenchmarkReport& report) const;

    Sources sources_;
    std::optional<std::string> diskIdentifier_;
    std::optional<HardwareDiskCatalogItem> drive_;
    DiskBenchmarkReports reports_;
    BenchmarkSpeedometerState state_ = BenchmarkSpeedometerState::none;
    double readMegabytes_ = 0;
    double writeMegabytes_ = 0;
    bool listening_ = false;
    quendal::Task catalogLoad_;
};

// "2026-11-23 14:05" in local time.
std::string benchmarkDateText(const Date& date);

} // namespace tarnel
