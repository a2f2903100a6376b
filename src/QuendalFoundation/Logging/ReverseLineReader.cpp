#include "QuendalFoundation/Logging/ReverseLineReader.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace quendal {

ReverseLineReader::ReverseLineReader(const std::filesystem::path& path, std::size_t blockSize) : blockSize_(blockSize)
{
    fd_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat info {};
    if (fd_ >= 0 && ::fstat(fd_, &info) == 0)
        position_ = static_cast<std::size_t>(info.st_size);
}

ReverseLineReader::~ReverseLineReader()
{
    if (fd_ >= 0)
        ::close(fd_);
}

bool ReverseLineReader::readBlock()
{
    if (fd_ < 0 || position_ == 0)
        return false;
    const std::size_t length = std::min(blockSize_, position_);
    std::string block(length, '\0');
    std::size_t done = 0;
    while (done < length) {
        auto n = ::pread(fd_, block.data() + done, length - done, static_cast<off_t>(position_ - length + done));
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            throw std::system_error(errno, std::generic_category(), "reading the log");
        if (n == 0)
            break; // the file shrank under us: what was read stands
        done += static_cast<std::size_t>(n);
    }
    block.resize(done);
    position_ -= length;
    pending_.insert(0, block);
    return true;
}

std::optional<std::string> ReverseLineReader::previous()
{
    for (;;) {
        while (!pending_.empty() && pending_.back() == '\n')
            pending_.pop_back();
        auto feed = pending_.rfind('\n');
        if (feed != std::string::npos) {
            std::string line = pending_.substr(feed + 1);
            pending_.resize(feed);
            return line;
        }
        if (!readBlock()) {
            if (pending_.empty())
                return std::nullopt;
            return std::exchange(pending_, {});
        }
    }
}

} // namespace quendal
