#pragma once

#include <atomic>
#include <cstddef>
#include <filesystem>
#include <span>
#include <vector>

namespace tarnel {

// Thrown inside a pass when stop() asked the run to end.
struct BenchmarkAborted {};

// The run's test file. Chunk sizes of 10,000,000 bytes are no multiple of a block, so O_DIRECT
// cannot take them; the file's pages are evicted around each pass instead (flush, then
// POSIX_FADV_DONTNEED), which keeps reads on the device and the flush in the write time.
class BenchmarkFile {
public:
    // Opens or creates the file (0644, no truncation); throws DiskBenchmarkError.
    static BenchmarkFile open(const std::filesystem::path& path);

    BenchmarkFile() = default;
    ~BenchmarkFile();
    BenchmarkFile(BenchmarkFile&& other) noexcept;
    BenchmarkFile& operator=(BenchmarkFile&& other) noexcept;
    BenchmarkFile(const BenchmarkFile&) = delete;
    BenchmarkFile& operator=(const BenchmarkFile&) = delete;

    bool isOpen() const { return fd_ >= 0; }
    void close();

    // Drops the file's pages from the page cache; throws unableToConfigureFileDescriptor.
    void evictPages();
    // From offset 0: `count` writes cycling through `chunks`, then a flush to the device.
    void writePass(std::span<const std::vector<std::byte>> chunks, std::size_t count, const std::atomic<bool>& abort);
    // From offset 0: `count` reads into `buffer`. A read of nothing (end of file) fails too.
    void readPass(std::span<std::byte> buffer, std::size_t count, const std::atomic<bool>& abort);

private:
    explicit BenchmarkFile(int fd) : fd_(fd) {}
    void rewind();

    int fd_ = -1;
};

} // namespace tarnel
