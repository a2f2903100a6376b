#include "Platform/Statistics/SystemRoot.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace tarnel::platform {

namespace {

// RAII for one descriptor.
class Descriptor {
public:
    explicit Descriptor(int fd) : fd_(fd) {}
    ~Descriptor()
    {
        if (fd_ >= 0)
            ::close(fd_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return fd_; }

private:
    int fd_;
};

// Reads to the end; /proc files report a size of 0, so the size is never trusted.
std::optional<std::string> readAll(const std::filesystem::path& path, int& error)
{
    Descriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (fd.get() < 0) {
        error = errno;
        return std::nullopt;
    }
    std::string text;
    char buffer[8192];
    for (;;) {
        ssize_t count = ::read(fd.get(), buffer, sizeof buffer);
        if (count < 0) {
            if (errno == EINTR)
                continue;
            error = errno;
            return std::nullopt;
        }
        if (count == 0)
            break;
        text.append(buffer, static_cast<size_t>(count));
    }
    return text;
}

} // namespace

ReadError::ReadError(const std::filesystem::path& path, const std::string& reason)
    : std::runtime_error(path.string() + ": " + reason), path_(path)
{
}

std::filesystem::path SystemRoot::resolve(std::string_view absolutePath) const
{
    while (!absolutePath.empty() && absolutePath.front() == '/')
        absolutePath.remove_prefix(1);
    return absolutePath.empty() ? root_ : root_ / absolutePath;
}

std::optional<std::string> SystemRoot::readText(const std::filesystem::path& path)
{
    int error = 0;
    return readAll(path, error);
}

std::string SystemRoot::readRequiredText(const std::filesystem::path& path)
{
    int error = 0;
    auto text = readAll(path, error);
    if (!text)
        throw ReadError(path, std::strerror(error));
    return std::move(*text);
}

std::optional<std::string> SystemRoot::readAttribute(const std::filesystem::path& path)
{
    auto text = readText(path);
    if (!text)
        return std::nullopt;
    auto end = text->find('\n');
    if (end != std::string::npos)
        text->resize(end);
    while (!text->empty() && (text->back() == ' ' || text->back() == '\t' || text->back() == '\r'))
        text->pop_back();
    if (text->empty())
        return std::nullopt;
    return text;
}

std::optional<std::string> SystemRoot::readLink(const std::filesystem::path& path)
{
    std::error_code error;
    auto target = std::filesystem::read_symlink(path, error);
    if (error)
        return std::nullopt;
    return target.string();
}

std::vector<std::string> SystemRoot::listDirectory(const std::filesystem::path& path)
{
    std::vector<std::string> names;
    std::error_code error;
    for (std::filesystem::directory_iterator it(path, error), end; !error && it != end; it.increment(error))
        names.push_back(it->path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

bool SystemRoot::exists(const std::filesystem::path& path)
{
    std::error_code error;
    return std::filesystem::exists(std::filesystem::symlink_status(path, error));
}

} // namespace tarnel::platform
