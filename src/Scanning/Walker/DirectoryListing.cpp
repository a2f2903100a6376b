#include "Scanning/Walker/DirectoryListing.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <new>

namespace tarnel {

std::unique_ptr<DirectoryListing> DirectoryListing::open(const std::string& path, bool followSymbolicLink)
{
    std::unique_ptr<char[]> buffer(new (std::nothrow) char[bufferSize]);
    if (!buffer)
        return nullptr;
    int flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | (followSymbolicLink ? 0 : O_NOFOLLOW);
    int fd = ::open(path.c_str(), flags);
    if (fd < 0)
        return nullptr;
    return std::unique_ptr<DirectoryListing>(new DirectoryListing(fd, std::move(buffer)));
}

DirectoryListing::~DirectoryListing() { ::close(fd_); }

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
