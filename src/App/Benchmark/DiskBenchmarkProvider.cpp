#include "App/Benchmark/DiskBenchmarkProvider.h"

#include "App/Localization/Localizable.h"

#include "QuendalFoundation/Formatting/ByteCountFormatter.h"
#include "QuendalFoundation/Logging/AppLogger.h"
#include "QuendalFoundation/Preferences/Preferences.h"

#include <algorithm>
#include <ctime>

namespace tarnel {

namespace fs = std::filesystem;

namespace {

std::string text(std::string_view key, std::string_view english)
{
    return Localizable::shared().text(key, english);
}

std::string speedText(std::uint64_t bytesPerSecond)
{
    const auto bytes = static_cast<std::int64_t>(std::min<std::uint64_t>(bytesPerSecond, INT64_MAX));
    return quendal::ByteCountFormatter::string(bytes) + "/s";
}

std::string driveIcon(const HardwareDiskCatalogItem& drive)
{
    if (drive.isRemovable || !drive.isInternal)
        return "drive-removable-media";
    return drive.driveKind == HardwareDriveKind::solidState ? "drive-harddisk-solidstate" : "drive-harddisk";
}

// The drive the user's home lies on, for a screen reached without one.
std::optional<HardwareDiskCatalogItem> homeDrive(const HardwareStorageCatalog& storage, const std::vector<fs::path>& folders)
{
    const std::string home = folders.empty() ? std::string("/") : folders.back().string();
    const HardwareDiskCatalogItem* best = nullptr;
    std::size_t bestLength = 0;
    for (const auto& item : storage.disks) {
        if (!item.mountPoint)
            continue;
        const auto& mount = *item.mountPoint;
        const bool under = home == mount || mount == "/" || (home.starts_with(mount) && home[mount.size()] == '/');
        if (under && mount.size() >= bestLength) {
            best = &item;
            bestLength = mount.size();
        }
    }
    if (best)
        if (const auto* drive = storage.physicalDrive(*best))
            return *drive;
    const auto drives = storage.physicalDrives();
    if (drives.empty())
        return std::nullopt;
    return drives.front();
}

} // namespace

std::string benchmarkDateText(const Date& date)
{
    const auto seconds = static_cast<std::time_t>(date.unixSeconds());
    std::tm local{};
    localtime_r(&seconds, &local);
    char buffer[32];
    std::strftime(buffer, sizeof buffer, "%Y-%m-%d %H:%M", &local);
    return buffer;
}

std::shared_ptr<DiskBenchmarkProvider> DiskBenchmarkProvider::make(std::shared_ptr<BenchmarkPrompts> prompts,
                                                                   std::optional<std::string> diskIdentifier)
{
    Sources sources{DiskBenchmark::shared(),
                    HardwareCatalogStore::shared(),
                    &quendal::Preferences::shared(),
                    std::make_shared<LocalFileSystemProbe>(),
                    std::move(prompts),
                    defaultUserFolders(),
                    &Date::now};
    return std::make_shared<DiskBenchmarkProvider>(std::move(sources), std::move(diskIdentifier));
}

DiskBenchmarkProvider::DiskBenchmarkProvider(Sources sources, std::optional<std::string> diskIdentifier)
    : sources_(std::move(sources)), diskIdentifier_(std::move(diskIdentifier))
{
    if (!sources_.now)
        sources_.now = &Date::now;
    publish();
}

void DiskBenchmarkProvider::viewWillAppear()
{
    if (!listening_) {
        sources_.engine->add(shared_from_this());
        listening_ = true;
    }
    // Coming back to a run that goes on: the dials keep working.
    if (sources_.engine->isRunning())
        state_ = BenchmarkSpeedometerState::working;
    else if (state_ == BenchmarkSpeedometerState::working)
        state_ = BenchmarkSpeedometerState::none;
    if (sources_.catalog->snapshot.value().generatedAt == Date::distantPast()) {
        auto load = [](std::weak_ptr<DiskBenchmarkProvider> weak, std::shared_ptr<HardwareCatalogStore> catalog) -> asio::awaitable<void> {
            auto loading = catalog->loadIfNeeded();
            co_await std::move(loading);
            if (auto self = weak.lock()) {
                self->findDrive();
                self->reload();
            }
        };
        catalogLoad_ = quendal::spawnOnMain(load(weak_from_this(), sources_.catalog));
    }
    findDrive();
    reload();
}

void DiskBenchmarkProvider::viewDidDisappear()
{
    sources_.engine->remove(this);
    listening_ = false;
}

void DiskBenchmarkProvider::findDrive()
{
    const auto& storage = sources_.catalog->snapshot.value().storage;
    if (diskIdentifier_) {
        const auto* item = storage.disk(*diskIdentifier_);
        drive_ = item ? std::optional(*item) : std::nullopt;
    } else {
        drive_ = homeDrive(storage, sources_.userFolders);
    }
}

void DiskBenchmarkProvider::selectDrive(const std::string& identifier)
{
    diskIdentifier_ = identifier;
    findDrive();
    publish();
}

void DiskBenchmarkProvider::reload()
{
    if (sources_.preferences)
        reports_ = DiskBenchmarkReportStore(*sources_.preferences).load();
    publish();
}

std::optional<fs::path> DiskBenchmarkProvider::askForTarget()
{
    const auto& storage = sources_.catalog->snapshot.value().storage;
    if (auto target = automaticTarget(storage, *drive_, *sources_.probe, sources_.userFolders))
        return target;
    fs::path start = "/";
    for (const auto& item : storage.descendants(*drive_))
        if (item.mountPoint) {
            start = *item.mountPoint;
            break;
        }
    if (drive_->mountPoint)
        start = *drive_->mountPoint;
    for (;;) {
        const bool browse = sources_.prompts->confirm(
            text("storage_benchmark_invalid_volume_title", "Unable to find a writable volume on this disk"),
            text("storage_benchmark_invalid_volume_message",
                 "You need to have write permissions and at least 5 GB of space available on the disk. Select a "
                 "directory manually or free up at least 5 GB"),
            text("storage_benchmark_browse", "Browse…"), text("general_cancel", "Cancel"));
        if (!browse)
            return std::nullopt;
        std::string title = text("storage_benchmark_choose_directory_on", "Choose a directory on %@");
        if (const auto at = title.find("%@"); at != std::string::npos)
            title.replace(at, 2, drive_->name);
        const auto chosen = sources_.prompts->chooseDirectory(title, start);
        if (!chosen || chosen->empty())
            return std::nullopt;
        if (auto target = chosenTarget(*chosen, *sources_.probe))
            return target;
    }
}

void DiskBenchmarkProvider::runBenchmark()
{
    if (sources_.engine->isRunning() || !drive_)
        return;
    const auto target = askForTarget();
    if (!target)
        return;
    state_ = BenchmarkSpeedometerState::working;
    readMegabytes_ = 0;
    writeMegabytes_ = 0;
    sources_.engine->run(drive_, *target);
    publish();
}

void DiskBenchmarkProvider::benchmarkDidWrite(std::uint64_t bytesPerSecond)
{
    writeMegabytes_ = static_cast<double>(bytesPerSecond) / 1e6;
    publish();
}

void DiskBenchmarkProvider::benchmarkDidRead(std::uint64_t bytesPerSecond)
{
    readMegabytes_ = static_cast<double>(bytesPerSecond) / 1e6;
    publish();
}

void DiskBenchmarkProvider::benchmarkDidStop(const std::optional<DiskBenchmarkError>&)
{
    state_ = BenchmarkSpeedometerState::none;
    publish();
}

void DiskBenchmarkProvider::benchmarkDidFailToClean(const DiskBenchmarkError& error)
{
    state_ = BenchmarkSpeedometerState::none;
    if (sources_.prompts)
        sources_.prompts->showError(text("general_error_occurred", "An error occurred"), error.what());
    publish();
}

void DiskBenchmarkProvider::benchmarkDidFinish(const std::optional<HardwareDiskCatalogItem>& drive, const BenchResult& result)
{
    state_ = BenchmarkSpeedometerState::finished;
    readMegabytes_ = static_cast<double>(result.readBytesPerSecond) / 1e6;
    writeMegabytes_ = static_cast<double>(result.writeBytesPerSecond) / 1e6;
    if (drive) {
        append(reports_, *drive, {result.readBytesPerSecond, result.writeBytesPerSecond, sources_.now()});
        if (sources_.preferences) {
            try {
                DiskBenchmarkReportStore(*sources_.preferences).save(reports_);
            } catch (const std::exception& e) {
                quendal::AppLogger::error(std::string("benchmarkDidFinish(drive:result:): Unable to encode benchmark results: ") +
                                          e.what());
            }
        }
    }
    publish();
}

std::optional<std::string> DiskBenchmarkProvider::iconOf(const DiskBenchmarkReport& report) const
{
    for (const auto& item : sources_.catalog->snapshot.value().storage.physicalDrives())
        if (item.name == report.diskModel && item.isInternal == report.isInternal)
            return driveIcon(item);
    return report.isInternal ? "drive-harddisk" : "drive-removable-media";
}

std::vector<DiskBenchmarkSection> DiskBenchmarkProvider::sections() const
{
    std::vector<DiskBenchmarkSection> result;
    for (const auto& [key, report] : reports_) {
        if (report.results.empty())
            continue;
        auto runs = report.results;
        std::stable_sort(runs.begin(), runs.end(), [](const auto& a, const auto& b) { return a.date > b.date; });
        DiskBenchmarkSection section{key, {}};
        const auto icon = iconOf(report);
        for (const auto& run : runs) {
            DiskBenchmarkResultCardModel card;
            card.subtitle = benchmarkDateText(run.date);
            card.identifier = *card.subtitle;
            card.title = report.diskModel;
            card.image = icon;
            card.readResult = run.read;
            card.writeResult = run.write;
            card.values = {BenchmarkResultValueModel{text("benchmark_read", "Read"), speedText(run.read), BenchmarkColor::blue},
                           BenchmarkResultValueModel{text("benchmark_write", "Write"), speedText(run.write), BenchmarkColor::green}};
            section.cards.push_back(std::move(card));
        }
        result.push_back(std::move(section));
    }
    return result;
}

void DiskBenchmarkProvider::publish()
{
    DiskBenchmarkScreenModel m;
    m.title = text("storage_disk_benchmark", "Benchmark");
    m.state = state_;
    m.read = {text("benchmark_read", "Read"), readMegabytes_, 4000, BenchmarkColor::blue};
    m.write = {text("benchmark_write", "Write"), writeMegabytes_, 4000, BenchmarkColor::green};
    const bool running = sources_.engine->isRunning();
    m.runTitle = running ? text("storage_benchmark_is_running", "Running…") : text("storage_run_benchmark", "Run Benchmark");
    m.runEnabled = !running && drive_.has_value();
    for (const auto& item : sources_.catalog->snapshot.value().storage.physicalDrives()) {
        std::string title = item.name;
        if (item.sizeBytes)
            title += " (" + quendal::ByteCountFormatter::string(static_cast<std::int64_t>(*item.sizeBytes)) + ")";
        if (drive_ && item.identifier == drive_->identifier)
            m.selectedDrive = m.drives.size();
        m.drives.push_back({item.identifier, std::move(title)});
    }
    if (!drive_)
        m.note = text("storage_benchmark_no_drive", "No drive to benchmark was found.");
    m.historyTitle = text("storage_benchmark_history", "Earlier results");
    m.emptyHistoryText = text("storage_benchmark_history_empty",
                              "Each finished run is kept here with its date, newest first, for every drive.");
    m.sections = sections();
    model.set(std::move(m));
}

} // namespace tarnel
