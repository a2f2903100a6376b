#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel {

// Reads files from a squashfs 4.0 file system stored inside a file, without mounting or running
// anything: the way to see an application image's desktop entry. Blocks stored plain or with
// gzip are read; another compressor gives a clear error. Every size and position read from the
// image is checked against the file, so a damaged image fails instead of misleading.
class SquashfsImage {
public:
    // Fails with `error` set when the file can't be read or holds no squashfs at `offset`.
    static std::optional<SquashfsImage> open(const std::string& path, std::uint64_t offset, std::string* error);
    ~SquashfsImage();
    SquashfsImage(SquashfsImage&& other) noexcept;
    SquashfsImage& operator=(SquashfsImage&& other) noexcept;
    SquashfsImage(const SquashfsImage&) = delete;
    SquashfsImage& operator=(const SquashfsImage&) = delete;

    // The contents of the first regular file (or link to one anywhere in the image) of the root
    // folder whose name `wanted` accepts, in listing order; at most `limit` bytes. `foundName`
    // receives the entry's name.
    std::optional<std::string> readRootFile(const std::function<bool(std::string_view)>& wanted, std::string* error,
                                            std::string* foundName = nullptr, std::size_t limit = 1 << 20) const;

private:
    struct Inode;
    class MetadataStream;
    struct DirectoryEntry {
        std::string name;
        std::uint64_t reference;
    };

    SquashfsImage(int descriptor, std::uint64_t offset, std::uint64_t fileSize);
    bool readSuperblock(std::string* error);
    bool readAt(std::uint64_t position, void* buffer, std::size_t length) const;
    std::optional<std::string> readBlock(std::uint64_t position, std::uint32_t sizeOnDisk, bool compressed,
                                         std::size_t expected, std::string* error) const;
    std::optional<Inode> readInode(std::uint64_t reference, std::string* error) const;
    std::optional<std::string> readFileData(const Inode& inode, std::size_t limit, std::string* error) const;
    std::optional<std::vector<DirectoryEntry>> list(const Inode& folder, std::string* error) const;
    // The inode at `path` below the root, links followed within the image.
    std::optional<Inode> resolve(std::string_view path, std::string* error) const;

    int descriptor_ = -1;
    std::uint64_t offset_ = 0;
    std::uint64_t fileSize_ = 0;
    std::uint32_t blockSize_ = 0;
    std::uint16_t compression_ = 0;
    std::uint64_t rootInode_ = 0;
    std::uint64_t bytesUsed_ = 0;
    std::uint64_t inodeTable_ = 0;
    std::uint64_t directoryTable_ = 0;
    std::uint64_t fragmentTable_ = 0;
    std::uint32_t fragmentCount_ = 0;
};

// Where an application image's file system starts: after the ELF runtime of a type 2 image.
// Fails for a type 1 (ISO 9660) image and for a file that is no image.
std::optional<std::uint64_t> appImageFileSystemOffset(const std::string& path, std::string* error);

// The desktop entry at the root of an application image, as text, and its file name.
std::optional<std::string> appImageDesktopEntry(const std::string& path, std::string* error,
                                                std::string* name = nullptr);

} // namespace tarnel
