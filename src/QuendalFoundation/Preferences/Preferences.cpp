#include "QuendalFoundation/Preferences/Preferences.h"

#include "QuendalFoundation/Logging/AppLogger.h"

#include <nlohmann/json.hpp>

#include <fmt/format.h>

#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <sys/file.h>
#include <unistd.h>

namespace quendal {

struct Preferences::Document {
    nlohmann::json values = nlohmann::json::object();
};

namespace {

// An exclusive lock on a file beside the document, held while a write reads, changes and
// replaces it.
class FileLock {
public:
    explicit FileLock(const std::filesystem::path& path)
    {
        fd_ = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        if (fd_ >= 0)
            ::flock(fd_, LOCK_EX);
    }
    ~FileLock()
    {
        if (fd_ >= 0)
            ::close(fd_);
    }
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

private:
    int fd_ = -1;
};

nlohmann::json load(const std::filesystem::path& file)
{
    std::ifstream in(file);
    if (!in)
        return nlohmann::json::object();
    std::stringstream text;
    text << in.rdbuf();
    auto json = nlohmann::json::parse(text.str(), nullptr, false);
    if (json.is_discarded() || !json.is_object()) {
        // Keep the unreadable document for the user rather than overwriting it silently.
        auto aside = file;
        aside += fmt::format(".unreadable-{}", std::chrono::system_clock::now().time_since_epoch().count());
        std::error_code ec;
        std::filesystem::rename(file, aside, ec);
        AppLogger::error(fmt::format("Preferences at {} could not be read; kept as {} and starting from defaults",
                                     file.string(), aside.string()));
        return nlohmann::json::object();
    }
    return json;
}

} // namespace

Preferences& Preferences::shared()
{
    static Preferences preferences(defaultFile());
    return preferences;
}

std::filesystem::path Preferences::defaultFile()
{
    if (const char* config = std::getenv("XDG_CONFIG_HOME"); config && *config)
        return std::filesystem::path(config) / "tarnel" / "preferences.json";
    const char* home = std::getenv("HOME");
    return std::filesystem::path(home && *home ? home : "/tmp") / ".config" / "tarnel" / "preferences.json";
}

Preferences::Preferences(std::filesystem::path file) : file_(std::move(file)), document_(std::make_shared<Document>()) {}

void Preferences::reloadIfChanged()
{
    std::error_code ec;
    auto time = std::filesystem::last_write_time(file_, ec);
    auto size = ec ? 0 : std::filesystem::file_size(file_, ec);
    if (ec) {
        if (loadedTime_) {
            document_->values = nlohmann::json::object();
            loadedTime_.reset();
        }
        return;
    }
    if (loadedTime_ && *loadedTime_ == time && loadedSize_ == size)
        return;
    document_->values = load(file_);
    loadedTime_ = time;
    loadedSize_ = size;
}

void Preferences::update(const std::function<void(Document&)>& change)
{
    std::lock_guard lock(mutex_);
    std::error_code ec;
    std::filesystem::create_directories(file_.parent_path(), ec);
    auto lockPath = file_;
    lockPath += ".lock";
    FileLock fileLock(lockPath);
    // Another process may have written since our last read: start from what is on disk.
    document_->values = load(file_);
    change(*document_);
    auto temporary = file_;
    temporary += fmt::format(".{}.tmp", ::getpid());
    {
        std::ofstream out(temporary, std::ios::trunc);
        out << document_->values.dump(2);
        out.flush();
        if (!out) {
            AppLogger::error(fmt::format("Preferences could not be written to {}", temporary.string()));
            std::filesystem::remove(temporary, ec);
            return;
        }
    }
    std::filesystem::rename(temporary, file_, ec);
    if (ec) {
        AppLogger::error(fmt::format("Preferences could not replace {}: {}", file_.string(), ec.message()));
        return;
    }
    loadedTime_ = std::filesystem::last_write_time(file_, ec);
    loadedSize_ = std::filesystem::file_size(file_, ec);
}

bool Preferences::boolValue(const std::string& key, bool fallback)
{
    std::lock_guard lock(mutex_);
    reloadIfChanged();
    auto it = document_->values.find(key);
    return it != document_->values.end() && it->is_boolean() ? it->get<bool>() : fallback;
}

std::int64_t Preferences::integerValue(const std::string& key, std::int64_t fallback)
{
    std::lock_guard lock(mutex_);
    reloadIfChanged();
    auto it = document_->values.find(key);
    return it != document_->values.end() && it->is_number_integer() ? it->get<std::int64_t>() : fallback;
}

double Preferences::doubleValue(const std::string& key, double fallback)
{
    std::lock_guard lock(mutex_);
    reloadIfChanged();
    auto it = document_->values.find(key);
    return it != document_->values.end() && it->is_number() ? it->get<double>() : fallback;
}

std::string Preferences::stringValue(const std::string& key, const std::string& fallback)
{
    std::lock_guard lock(mutex_);
    reloadIfChanged();
    auto it = document_->values.find(key);
    return it != document_->values.end() && it->is_string() ? it->get<std::string>() : fallback;
}

std::optional<std::string> Preferences::jsonValue(const std::string& key)
{
    std::lock_guard lock(mutex_);
    reloadIfChanged();
    auto it = document_->values.find(key);
    if (it == document_->values.end())
        return std::nullopt;
    return it->dump();
}

bool Preferences::contains(const std::string& key)
{
    std::lock_guard lock(mutex_);
    reloadIfChanged();
    return document_->values.contains(key);
}

void Preferences::set(const std::string& key, const PreferenceValue& value)
{
    update([&](Document& d) { std::visit([&](const auto& v) { d.values[key] = v; }, value); });
}

void Preferences::setJson(const std::string& key, const std::string& jsonText)
{
    auto json = nlohmann::json::parse(jsonText, nullptr, false);
    if (json.is_discarded())
        throw std::invalid_argument("not a JSON document: " + key);
    update([&](Document& d) { d.values[key] = json; });
}

void Preferences::remove(const std::string& key)
{
    update([&](Document& d) { d.values.erase(key); });
}

bool read(Preferences& p, const PreferenceKey<bool>& key) { return p.boolValue(key.name, key.defaultValue); }
std::int64_t read(Preferences& p, const PreferenceKey<std::int64_t>& key) { return p.integerValue(key.name, key.defaultValue); }
double read(Preferences& p, const PreferenceKey<double>& key) { return p.doubleValue(key.name, key.defaultValue); }
std::string read(Preferences& p, const PreferenceKey<std::string>& key) { return p.stringValue(key.name, key.defaultValue); }
void write(Preferences& p, const PreferenceKey<bool>& key, bool value) { p.set(key.name, value); }
void write(Preferences& p, const PreferenceKey<std::int64_t>& key, std::int64_t value) { p.set(key.name, value); }
void write(Preferences& p, const PreferenceKey<double>& key, double value) { p.set(key.name, value); }
void write(Preferences& p, const PreferenceKey<std::string>& key, const std::string& value) { p.set(key.name, value); }

} // namespace quendal
