#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>

namespace quendal {

// Reads a text file's lines from the last to the first, a block at a time, so the newest lines
// of a large append-only file are reached without reading the rest.
class ReverseLineReader {
public:
    // A file that cannot be opened reads as empty.
    explicit ReverseLineReader(const std::filesystem::path& path, std::size_t blockSize = 64 * 1024);
    ~ReverseLineReader();
    ReverseLineReader(const ReverseLineReader&) = delete;
    ReverseLineReader& operator=(const ReverseLineReader&) = delete;

    // The previous line without its line feed; nullopt at the start of the file. Empty lines
    // are skipped.
    std::optional<std::string> previous();

private:
    bool readBlock();

    int fd_ = -1;
    std::size_t blockSize_;
    std::size_t position_ = 0; // offset of the first byte not yet read
    std::string pending_;      // bytes read but not yet returned, at the file's `position_`
};

} // namespace quendal
