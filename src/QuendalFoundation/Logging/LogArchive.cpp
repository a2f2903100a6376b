#include "QuendalFoundation/Logging/LogArchive.h"

#include "QuendalFoundation/Runtime/Runtime.h"

#include <zip.h>

#include <fmt/format.h>

#include <cstdio>
#include <fstream>

namespace quendal {

namespace {

void writeAtomically(const std::filesystem::path& path, const std::string& contents)
{
    auto temporary = path;
    temporary += ".partial";
    {
        std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
        out << contents;
        out.flush();
        if (!out)
            throw LogArchiveError(fmt::format("cannot write {}", temporary.string()));
    }
    std::error_code ec;
    std::filesystem::rename(temporary, path, ec);
    if (ec)
        throw LogArchiveError(fmt::format("cannot move {} into place: {}", path.string(), ec.message()));
}

// Zips `folder` with the folder itself as the archive's top level.
void zipKeepingParent(const std::filesystem::path& folder, const std::filesystem::path& archive)
{
    int error = 0;
    zip_t* zip = zip_open(archive.c_str(), ZIP_CREATE | ZIP_TRUNCATE, &error);
    if (!zip) {
        zip_error_t e;
        zip_error_init_with_code(&e, error);
        std::string text = zip_error_strerror(&e);
        zip_error_fini(&e);
        throw LogArchiveError("cannot create " + archive.string() + ": " + text);
    }
    const auto parent = folder.filename().string();
    bool ok = zip_dir_add(zip, parent.c_str(), ZIP_FL_ENC_UTF_8) >= 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (!ok || !entry.is_regular_file())
            continue;
        zip_source_t* source = zip_source_file(zip, entry.path().c_str(), 0, -1);
        const auto name = parent + "/" + entry.path().filename().string();
        if (!source || zip_file_add(zip, name.c_str(), source, ZIP_FL_OVERWRITE | ZIP_FL_ENC_UTF_8) < 0) {
            if (source)
                zip_source_free(source);
            ok = false;
        }
    }
    if (!ok) {
        std::string text = zip_strerror(zip);
        zip_discard(zip);
        throw LogArchiveError("cannot add to " + archive.string() + ": " + text);
    }
    if (zip_close(zip) < 0) {
        std::string text = zip_strerror(zip);
        zip_discard(zip);
        throw LogArchiveError("cannot write " + archive.string() + ": " + text);
    }
}

} // namespace

LogArchive::LogArchive(std::vector<AppLogger::LogSource> sources, std::filesystem::path workDirectory)
    : sources_(std::move(sources)), workDirectory_(std::move(workDirectory))
{
}

void LogArchive::write(const std::filesystem::path& destination) const
{
    namespace fs = std::filesystem;
    const auto folder = workDirectory_ / "TarnelLogs";
    const auto zipFile = workDirectory_ / "TarnelLogs.zip";
    std::error_code ec;
    fs::remove_all(folder, ec);
    fs::remove(zipFile, ec);
    if (!fs::create_directories(folder, ec) || ec)
        throw LogArchiveError(fmt::format("cannot create {}: {}", folder.string(), ec.message()));

    std::vector<std::string> lines;
    try {
        lines = AppLogger::collectLogs(AppLogger::predicate(sources_), hours, maximumLines);
    } catch (const std::exception& e) {
        throw LogArchiveError(std::string("cannot read the log: ") + e.what());
    }
    std::string text;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (i)
            text += '\n';
        text += lines[i];
    }
    writeAtomically(folder / "TarnelLogs.log", text);
    zipKeepingParent(folder, zipFile);

    if (fs::exists(fs::symlink_status(destination, ec)))
        fs::remove(destination, ec);
    fs::copy_file(zipFile, destination, fs::copy_options::overwrite_existing, ec);
    if (ec)
        throw LogArchiveError(fmt::format("cannot copy the archive to {}: {}", destination.string(), ec.message()));
}

asio::awaitable<void> LogArchive::reportAProblem(ReportProblemPresenter& presenter, std::filesystem::path desktop) const
{
    if (!presenter.confirmSaveLogs())
        co_return;
    auto destination = presenter.chooseDestination(desktop, "TarnelLogs.zip");
    if (!destination)
        co_return;
    // Named first: g++ 12 destroys a temporary argument of a call inside co_await twice.
    auto archive = [this, path = *destination]() -> std::optional<std::string> {
        try {
            write(path);
            return std::nullopt;
        } catch (const LogArchiveError& e) {
            return std::string(e.what());
        }
    };
    auto failure = co_await inBackground(std::move(archive));
    if (failure)
        presenter.showError(*failure);
    else
        presenter.showSaved();
}

} // namespace quendal
