#include "TarnelUI/Export/MonitorConfigurationStore.h"

#include "QuendalFoundation/Logging/AppLogger.h"
#include "QuendalFoundation/Preferences/Preferences.h"
#include "TarnelUI/Panel/MonitorSettings.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <system_error>
#include <unistd.h>

namespace tarnel::ui::MonitorConfigurationStore {

namespace {

std::system_error failure(const std::string& what, const std::filesystem::path& file, int error)
{
    return std::system_error(error, std::generic_category(), what + " " + file.string());
}

// The descriptor of the temporary file, closed (and the file removed) unless it was renamed.
class TemporaryFile {
public:
    explicit TemporaryFile(const std::filesystem::path& file) : path_(file.string() + ".XXXXXX")
    {
        descriptor_ = ::mkstemp(path_.data());
        if (descriptor_ < 0)
            throw failure("Unable to create a file beside", file, errno);
    }
    ~TemporaryFile()
    {
        if (descriptor_ >= 0)
            ::close(descriptor_);
        if (!renamed_)
            ::unlink(path_.c_str());
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    void write(const std::string& contents, const std::filesystem::path& file)
    {
        std::size_t written = 0;
        while (written < contents.size()) {
            auto result = ::write(descriptor_, contents.data() + written, contents.size() - written);
            if (result < 0 && errno == EINTR)
                continue;
            if (result < 0)
                throw failure("Unable to write", file, errno);
            written += static_cast<std::size_t>(result);
        }
        if (::fsync(descriptor_) != 0 || ::close(std::exchange(descriptor_, -1)) != 0)
            throw failure("Unable to write", file, errno);
    }
    void renameTo(const std::filesystem::path& file)
    {
        if (::rename(path_.c_str(), file.c_str()) != 0)
            throw failure("Unable to replace", file, errno);
        renamed_ = true;
    }

private:
    std::string path_;
    int descriptor_ = -1;
    bool renamed_ = false;
};

std::optional<Json> readDocument(const std::filesystem::path& file)
{
    std::ifstream in(file, std::ios::binary);
    if (!in)
        return std::nullopt;
    std::stringstream text;
    text << in.rdbuf();
    auto document = Json::parse(text.str(), nullptr, false);
    if (document.is_discarded())
        return std::nullopt;
    return document;
}

} // namespace

std::filesystem::path directory()
{
    const char* dataHome = std::getenv("XDG_DATA_HOME");
    if (dataHome && *dataHome == '/')
        return std::filesystem::path(dataHome) / "Tarnel" / "Monitor";
    const char* home = std::getenv("HOME");
    return std::filesystem::path(home && *home ? home : "/tmp") / ".local" / "share" / "Tarnel" / "Monitor";
}

std::filesystem::path snapshotFileURL()
{
    return directory() / snapshotFileName;
}

std::filesystem::path settingsFileURL()
{
    return directory() / settingsFileName;
}

void replaceFile(const std::filesystem::path& file, const std::string& contents)
{
    std::error_code error;
    std::filesystem::create_directories(file.parent_path(), error);
    if (error)
        throw failure("Unable to create the folder of", file, error.value());
    TemporaryFile temporary(file);
    temporary.write(contents, file);
    temporary.renameTo(file);
}

void saveSnapshot(const MonitorConfigurationSnapshot& snapshot, quendal::Preferences& preferences)
{
    preferences.setJson(preferencesKey, snapshot.encode().dump());
}

std::optional<MonitorConfigurationSnapshot> loadSnapshot(quendal::Preferences& preferences)
{
    auto text = preferences.jsonValue(preferencesKey);
    if (!text)
        return std::nullopt;
    try {
        return MonitorConfigurationSnapshot::decode(Json::parse(*text));
    } catch (const std::exception& error) {
        quendal::AppLogger::error(std::string("Unable to decode the stored configuration snapshot: ") + error.what(),
                                  quendal::AppLogger::monitor);
        return std::nullopt;
    }
}

void saveSnapshot(const MonitorConfigurationSnapshot& snapshot, const std::filesystem::path& file)
{
    replaceFile(file, snapshot.encode().dump(2));
}

std::optional<MonitorConfigurationSnapshot> loadSnapshot(const std::filesystem::path& file)
{
    auto document = readDocument(file);
    if (!document)
        return std::nullopt;
    try {
        return MonitorConfigurationSnapshot::decode(*document);
    } catch (const std::exception& error) {
        quendal::AppLogger::error("Unable to decode " + file.string() + ": " + error.what(), quendal::AppLogger::monitor);
        return std::nullopt;
    }
}

void saveSettings(const MonitorSettings& settings, const std::filesystem::path& file)
{
    replaceFile(file, settings.encode().dump(2));
}

std::shared_ptr<MonitorSettings> loadSettings(const std::filesystem::path& file)
{
    auto document = readDocument(file);
    if (!document)
        return nullptr;
    try {
        return MonitorSettings::decode(*document);
    } catch (const std::exception& error) {
        quendal::AppLogger::error("Unable to decode " + file.string() + ": " + error.what(), quendal::AppLogger::monitor);
        return nullptr;
    }
}

} // namespace tarnel::ui::MonitorConfigurationStore
