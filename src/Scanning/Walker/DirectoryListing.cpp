#include "Scanning/Walker/DirectoryListing.h"

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <new>

namespace tarnel {

namespace {

// Each walker thread keeps the buffer of its last closed listing for the next one: the walk
// still holds one buffer per open directory, without touching fresh pages for every folder.
thread_local std::unique_ptr<char[]> spareBuffer;

std::unique_ptr<char[]> takeBuffer()
{
    if (spareBuffer)
        return std::move(spareBuffer);
    return std::unique_ptr<char[]>(new (std::nothrow) char[DirectoryListing::bufferSize]);
}

} // namespace

int DirectoryListing::openDirectory(const std::string& path, int flags)
{
    if (path.size() < PATH_MAX)
        return ::open(path.c_str(), flags);
    // The kernel refuses a path of PATH_MAX bytes or more: take it in pieces that fit, each
    // opened relative to the ancestor before it, which is closed as soon as the next is open.
    int anchor = AT_FDCWD;
    std::size_t start = 0;
    auto release = [&anchor] {
        if (anchor != AT_FDCWD)
            ::close(anchor);
    };
    while (path.size() - start >= PATH_MAX) {
        auto cut = path.rfind('/', start + PATH_MAX - 1);
        if (cut == std::string::npos || cut <= start) {
            release();
            errno = ENAMETOOLONG;
            return -1;
        }
        const std::string piece = path.substr(start, cut - start);
        int next = ::openat(anchor, piece.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
        release();
        if (next < 0)
            return -1;
        anchor = next;
        start = cut + 1;
    }
    int fd = ::openat(anchor, path.c_str() + start, flags);
    int saved = errno;
    release();
    errno = saved;
    return fd;
}

std::unique_ptr<DirectoryListing> DirectoryListing::open(const std::string& path, bool followSymbolicLink)
{
    auto buffer = takeBuffer();
    if (!buffer)
        return nullptr;
    int flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | (followSymbolicLink ? 0 : O_NOFOLLOW);
    int fd = openDirectory(path, flags);
    if (fd < 0) {
        spareBuffer = std::move(buffer);
        return nullptr;
    }
    return std::unique_ptr<DirectoryListing>(new DirectoryListing(fd, std::move(buffer)));
}

DirectoryListing::~DirectoryListing()
{
    ::close(fd_);
    if (!spareBuffer)
        spareBuffer = std::move(buffer_);
}

bool DirectoryListing::readBatch()
{
    auto read = ::getdents64(fd_, buffer_.get(), bufferSize);
    filled_ = read > 0 ? static_cast<std::size_t>(read) : 0;
    return read > 0;
}

std::size_t DirectoryListing::entryCount() const
{
    std::size_t count = 0;
    forEachEntry([&count](const Entry&) { ++count; });
    return count;
}

DirectoryListing::Entry DirectoryListing::entryAt(std::size_t offset) const
{
    auto record = buffer_.get() + offset;
    unsigned char type = 0;
    std::memcpy(&type, record + offsetof(struct dirent64, d_type), sizeof type);
    return {std::string_view(record + offsetof(struct dirent64, d_name)), type};
}

std::size_t DirectoryListing::recordLength(std::size_t offset) const
{
    unsigned short length = 0;
    std::memcpy(&length, buffer_.get() + offset + offsetof(struct dirent64, d_reclen), sizeof length);
    return length;
}

} // namespace tarnel
