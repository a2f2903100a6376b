#pragma once

#include "QuendalFoundation/Logging/AppLogger.h"

#include <asio/awaitable.hpp>

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace quendal {

struct LogArchiveError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The panels of "Report A Problem"; the GUI implements them.
class ReportProblemPresenter {
public:
    virtual ~ReportProblemPresenter() = default;
    // The first alert; true for "Save Logs".
    virtual bool confirmSaveLogs() = 0;
    // The save panel, starting in `directory` with `fileName`; nullopt when cancelled.
    virtual std::optional<std::filesystem::path> chooseDestination(const std::filesystem::path& directory,
                                                                   const std::string& fileName) = 0;
    virtual void showSaved() = 0;
    virtual void showError(const std::string& description) = 0;
};

// Collects the lines of the given sources for the last day and packs them as
// "TarnelLogs/TarnelLogs.log" in a zip archive.
class LogArchive {
public:
    static constexpr int hours = 24;
    static constexpr std::size_t maximumLines = 5000;

    explicit LogArchive(std::vector<AppLogger::LogSource> sources, std::filesystem::path workDirectory);

    // Writes the archive and puts it at `destination`, replacing a file there. Throws
    // LogArchiveError.
    void write(const std::filesystem::path& destination) const;

    // The whole command, on the main actor: the alert, the save panel, the archive written on
    // the background pool, the closing alert. The archive and the presenter must outlive it.
    asio::awaitable<void> reportAProblem(ReportProblemPresenter& presenter, std::filesystem::path desktop) const;

private:
    std::vector<AppLogger::LogSource> sources_;
    std::filesystem::path workDirectory_;
};

} // namespace quendal
