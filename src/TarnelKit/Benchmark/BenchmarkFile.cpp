#include "TarnelKit/Benchmark/BenchmarkFile.h"

#include "TarnelKit/Benchmark/DiskBenchmarkError.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace tarnel {

namespace {

std::error_code lastError()
{
    return {errno, std::generic_category()};
}

} // namespace

BenchmarkFile BenchmarkFile::open(const std::filesystem::path& path)
{
    const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (fd < 0)
        throw DiskBenchmarkError(DiskBenchmarkError::Code::invalidFileDescriptor, lastError());
    BenchmarkFile file(fd);
    // Sequential access: the kernel reads ahead as it would for any streaming reader.
    if (const int rc = ::posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL); rc != 0)
        throw DiskBenchmarkError(DiskBenchmarkError::Code::unableToConfigureFileDescriptor,
                                 std::error_code(rc, std::generic_category()));
    return file;
}

BenchmarkFile::~BenchmarkFile() { close(); }

BenchmarkFile::BenchmarkFile(BenchmarkFile&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}

BenchmarkFile& BenchmarkFile::operator=(BenchmarkFile&& other) noexcept
{
    if (this != &other) {
        close();
        fd_ = std::exchange(other.fd_, -1);
    }
    return *this;
}

void BenchmarkFile::close()
{
    if (fd_ >= 0)
        ::close(std::exchange(fd_, -1));
}

void BenchmarkFile::rewind()
{
    if (fd_ < 0)
        throw DiskBenchmarkError(DiskBenchmarkError::Code::invalidFileDescriptor);
    if (::lseek(fd_, 0, SEEK_SET) < 0)
        throw DiskBenchmarkError(DiskBenchmarkError::Code::invalidFileDescriptor, lastError());
}

void BenchmarkFile::evictPages()
{
    if (fd_ < 0)
        throw DiskBenchmarkError(DiskBenchmarkError::Code::invalidFileDescriptor);
    // Dirty pages are not dropped, so they are written first.
    if (::fdatasync(fd_) != 0)
        throw DiskBenchmarkError(DiskBenchmarkError::Code::unableToConfigureFileDescriptor, lastError());
    if (const int rc = ::posix_fadvise(fd_, 0, 0, POSIX_FADV_DONTNEED); rc != 0)
        throw DiskBenchmarkError(DiskBenchmarkError::Code::unableToConfigureFileDescriptor,
                                 std::error_code(rc, std::generic_category()));
}

void BenchmarkFile::writePass(std::span<const std::vector<std::byte>> chunks, std::size_t count,
                              const std::atomic<bool>& abort)
{
    rewind();
    if (chunks.empty())
        throw DiskBenchmarkError(DiskBenchmarkError::Code::unableToWriteData);
    for (std::size_t i = 0; i < count; ++i) {
        if (abort.load(std::memory_order_relaxed))
            throw BenchmarkAborted{};
        const auto& chunk = chunks[i % chunks.size()];
        ssize_t written;
        do
            written = ::write(fd_, chunk.data(), chunk.size());
        while (written < 0 && errno == EINTR);
        // A short write is neither retried nor counted; only nothing written is a failure.
        if (written < 1)
            throw DiskBenchmarkError(DiskBenchmarkError::Code::unableToWriteData, written < 0 ? lastError() : std::error_code());
    }
    if (abort.load(std::memory_order_relaxed))
        throw BenchmarkAborted{};
    // The flush belongs to the measured time: the data must reach the device.
    if (::fsync(fd_) != 0)
        throw DiskBenchmarkError(DiskBenchmarkError::Code::unableToWriteData, lastError());
}

void BenchmarkFile::readPass(std::span<std::byte> buffer, std::size_t count, const std::atomic<bool>& abort)
{
    rewind();
    for (std::size_t i = 0; i < count; ++i) {
        if (abort.load(std::memory_order_relaxed))
            throw BenchmarkAborted{};
        ssize_t got;
        do
            got = ::read(fd_, buffer.data(), buffer.size());
        while (got < 0 && errno == EINTR);
        if (got < 1)
            throw DiskBenchmarkError(DiskBenchmarkError::Code::unableToReadData, got < 0 ? lastError() : std::error_code());
    }
}

} // namespace tarnel
