#include "QuendalFoundation/Preferences/Preferences.h"

#include "QuendalFoundation/Logging/AppLogger.h"

#include <nlohmann/json.hpp>

#include <fmt/format.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <set>
#include <sstream>
#include <stdexcept>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quendal {

namespace {

// What tells one version of the file from another: a replacement by rename is a new inode.
struct FileIdentity {
    ino_t inode = 0;
    std::int64_t modifiedNanoseconds = 0;
    off_t size = 0;
    bool operator==(const FileIdentity&) const = default;
};

std::optional<FileIdentity> identityOf(const std::filesystem::path& file)
{
    struct stat info {};
    if (::stat(file.c_str(), &info) != 0)
        return std::nullopt;
    return FileIdentity{info.st_ino, std::int64_t{info.st_mtim.tv_sec} * 1'000'000'000 + info.st_mtim.tv_nsec, info.st_size};
}

// An exclusive lock on a file beside the document, held while a write reads, changes and
// replaces it.
class FileLock {
public:
    explicit FileLock(const std::filesystem::path& path)
    {
        fd_ = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        if (fd_ < 0)
            throw std::system_error(errno, std::generic_category(), "cannot open " + path.string());
        while (::flock(fd_, LOCK_EX) != 0) {
            if (errno != EINTR) {
                const int error = errno;
                ::close(fd_);
                throw std::system_error(error, std::generic_category(), "cannot lock " + path.string());
            }
        }
    }
    ~FileLock() { ::close(fd_); }
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

private:
    int fd_ = -1;
};

// The document on disk; a missing file is empty, an unreadable one is set aside with a
// logged reason so the user's values are not lost silently.
nlohmann::json load(const std::filesystem::path& file)
{
    std::ifstream in(file);
    if (!in)
        return nlohmann::json::object();
    std::stringstream text;
    text << in.rdbuf();
    std::string reason;
    try {
        auto json = nlohmann::json::parse(text.str());
        if (json.is_object())
            return json;
        reason = "the document is not a JSON object";
    } catch (const nlohmann::json::parse_error& e) {
        reason = e.what();
    }
    auto aside = file;
    aside += fmt::format(".unreadable-{}", std::chrono::system_clock::now().time_since_epoch().count());
    std::error_code ec;
    std::filesystem::rename(file, aside, ec);
    if (ec)
        AppLogger::error(fmt::format("Preferences at {} could not be read ({}), and could not be set aside: {}",
                                     file.string(), reason, ec.message()));
    else
        AppLogger::error(fmt::format("Preferences at {} could not be read ({}); kept as {}, starting from defaults",
                                     file.string(), reason, aside.string()));
    return nlohmann::json::object();
}

std::vector<std::string> changedKeys(const nlohmann::json& before, const nlohmann::json& after)
{
    std::set<std::string> keys;
    for (const auto& [key, value] : before.items())
        keys.insert(key);
    for (const auto& [key, value] : after.items())
        keys.insert(key);
    std::vector<std::string> changed;
    for (const auto& key : keys) {
        auto a = before.find(key);
        auto b = after.find(key);
        if ((a == before.end()) != (b == after.end()) || (a != before.end() && *a != *b))
            changed.push_back(key);
    }
    return changed;
}

nlohmann::json toJson(const PreferenceValue& value)
{
    return std::visit([](const auto& v) { return nlohmann::json(v); }, value);
}

} // namespace

struct Preferences::Document {
    nlohmann::json values = nlohmann::json::object();
    nlohmann::json defaults = nlohmann::json::object();
    std::optional<FileIdentity> loaded;

    // The stored value, or the registered default; nullptr when neither.
    const nlohmann::json* find(const std::string& key, bool (nlohmann::json::*hasType)() const noexcept) const
    {
        if (auto it = values.find(key); it != values.end() && ((*it).*hasType)())
            return &*it;
        if (auto it = defaults.find(key); it != defaults.end() && ((*it).*hasType)())
            return &*it;
        return nullptr;
    }
};

struct Preferences::Observers {
    std::mutex mutex;
    std::uint64_t nextId = 0;
    std::map<std::uint64_t, std::function<void(const std::string&)>> receivers;
};

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

Preferences::Preferences(std::filesystem::path file)
    : file_(std::move(file)), document_(std::make_unique<Document>()), observers_(std::make_shared<Observers>())
{
}

Preferences::~Preferences() = default;

std::vector<std::string> Preferences::reloadIfChanged()
{
    auto identity = identityOf(file_);
    if (identity == document_->loaded)
        return {};
    auto values = identity ? load(file_) : nlohmann::json::object();
    auto changed = changedKeys(document_->values, values);
    document_->values = std::move(values);
    // A file set aside as unreadable is gone: look again next time.
    document_->loaded = identityOf(file_);
    return changed;
}

template <class Read>
auto Preferences::withDocument(Read read)
{
    std::unique_lock lock(mutex_);
    auto changed = reloadIfChanged();
    auto result = read(*document_);
    lock.unlock();
    notify(changed);
    return result;
}

void Preferences::notify(const std::vector<std::string>& keys)
{
    if (keys.empty())
        return;
    std::vector<std::function<void(const std::string&)>> receivers;
    {
        std::lock_guard lock(observers_->mutex);
        for (const auto& [id, receiver] : observers_->receivers)
            receivers.push_back(receiver);
    }
    for (const auto& key : keys)
        for (const auto& receiver : receivers)
            receiver(key);
}

Cancellable Preferences::observe(std::function<void(const std::string& key)> onChange)
{
    std::lock_guard lock(observers_->mutex);
    const auto id = observers_->nextId++;
    observers_->receivers.emplace(id, std::move(onChange));
    std::weak_ptr<Observers> weak = observers_;
    return Cancellable([weak, id] {
        if (auto observers = weak.lock()) {
            std::lock_guard guard(observers->mutex);
            observers->receivers.erase(id);
        }
    });
}

void Preferences::refresh()
{
    withDocument([](Document&) { return 0; });
}

void Preferences::registerDefault(const std::string& key, const PreferenceValue& value)
{
    std::lock_guard lock(mutex_);
    if (!document_->defaults.contains(key))
        document_->defaults[key] = toJson(value);
}

void Preferences::update(const std::string& key, const std::function<void(Document&)>& change)
{
    std::vector<std::string> changed;
    {
        std::lock_guard lock(mutex_);
        std::error_code ec;
        std::filesystem::create_directories(file_.parent_path(), ec);
        auto lockPath = file_;
        lockPath += ".lock";
        FileLock fileLock(lockPath);
        // Another process may have written since our last read: start from what is on disk.
        changed = reloadIfChanged();
        const auto before = document_->values;
        change(*document_);
        if (document_->values == before)
            return notify(changed);
        auto temporary = file_;
        temporary += fmt::format(".{}.tmp", ::getpid());
        {
            std::ofstream out(temporary, std::ios::trunc);
            out << document_->values.dump(2) << '\n';
            out.flush();
            if (!out) {
                document_->values = before;
                std::filesystem::remove(temporary, ec);
                throw std::system_error(std::make_error_code(std::errc::io_error),
                                        "cannot write the preferences to " + temporary.string());
            }
        }
        std::filesystem::rename(temporary, file_, ec);
        if (ec) {
            document_->values = before;
            std::filesystem::remove(temporary, ec);
            throw std::system_error(ec, "cannot replace " + file_.string());
        }
        document_->loaded = identityOf(file_);
        changed.push_back(key);
    }
    notify(changed);
}

bool Preferences::boolValue(const std::string& key, bool fallback)
{
    return withDocument([&](Document& d) {
        auto* v = d.find(key, &nlohmann::json::is_boolean);
        return v ? v->get<bool>() : fallback;
    });
}

std::int64_t Preferences::integerValue(const std::string& key, std::int64_t fallback)
{
    return withDocument([&](Document& d) {
        auto* v = d.find(key, &nlohmann::json::is_number_integer);
        return v ? v->get<std::int64_t>() : fallback;
    });
}

double Preferences::doubleValue(const std::string& key, double fallback)
{
    return withDocument([&](Document& d) {
        auto* v = d.find(key, &nlohmann::json::is_number);
        return v ? v->get<double>() : fallback;
    });
}

std::string Preferences::stringValue(const std::string& key, const std::string& fallback)
{
    return withDocument([&](Document& d) {
        auto* v = d.find(key, &nlohmann::json::is_string);
        return v ? v->get<std::string>() : fallback;
    });
}

std::optional<std::string> Preferences::jsonValue(const std::string& key)
{
    return withDocument([&](Document& d) -> std::optional<std::string> {
        if (auto it = d.values.find(key); it != d.values.end())
            return it->dump();
        if (auto it = d.defaults.find(key); it != d.defaults.end())
            return it->dump();
        return std::nullopt;
    });
}

bool Preferences::contains(const std::string& key)
{
    return withDocument([&](Document& d) { return d.values.contains(key); });
}

void Preferences::set(const std::string& key, const PreferenceValue& value)
{
    auto json = toJson(value);
    update(key, [&](Document& d) { d.values[key] = json; });
}

void Preferences::setJson(const std::string& key, const std::string& jsonText)
{
    auto json = nlohmann::json::parse(jsonText, nullptr, false);
    if (json.is_discarded())
        throw std::invalid_argument("not a JSON document for the preference " + key);
    update(key, [&](Document& d) { d.values[key] = json; });
}

void Preferences::remove(const std::string& key)
{
    update(key, [&](Document& d) { d.values.erase(key); });
}

namespace {
template <class T>
const PreferenceKey<T>& registered(Preferences& p, const PreferenceKey<T>& key)
{
    p.registerDefault(key.name, key.defaultValue);
    return key;
}
} // namespace

bool read(Preferences& p, const PreferenceKey<bool>& key) { return p.boolValue(registered(p, key).name, key.defaultValue); }
std::int64_t read(Preferences& p, const PreferenceKey<std::int64_t>& key) { return p.integerValue(registered(p, key).name, key.defaultValue); }
double read(Preferences& p, const PreferenceKey<double>& key) { return p.doubleValue(registered(p, key).name, key.defaultValue); }
std::string read(Preferences& p, const PreferenceKey<std::string>& key) { return p.stringValue(registered(p, key).name, key.defaultValue); }
void write(Preferences& p, const PreferenceKey<bool>& key, bool value) { p.set(registered(p, key).name, value); }
void write(Preferences& p, const PreferenceKey<std::int64_t>& key, std::int64_t value) { p.set(registered(p, key).name, value); }
void write(Preferences& p, const PreferenceKey<double>& key, double value) { p.set(registered(p, key).name, value); }
void write(Preferences& p, const PreferenceKey<std::string>& key, const std::string& value) { p.set(registered(p, key).name, value); }

} // namespace quendal
