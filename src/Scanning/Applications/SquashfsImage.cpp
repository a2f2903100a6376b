#include "Scanning/Applications/SquashfsImage.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

namespace tarnel {

namespace {

constexpr std::uint32_t squashfsMagic = 0x73717368;
constexpr std::size_t metadataBlockSize = 8192;
constexpr std::uint32_t noFragment = 0xFFFFFFFF;
constexpr std::uint32_t uncompressedDataBit = 1u << 24;

enum InodeType : std::uint16_t {
    basicDirectory = 1,
    basicFile = 2,
    basicSymlink = 3,
    extendedDirectory = 8,
    extendedFile = 9,
    extendedSymlink = 10,
};

template <class T>
T little(const unsigned char* bytes)
{
    T value = 0;
    for (std::size_t i = 0; i < sizeof(T); ++i)
        value |= static_cast<T>(static_cast<T>(bytes[i]) << (8 * i));
    return value;
}

void fail(std::string* error, std::string text)
{
    if (error)
        *error = std::move(text);
}

} // namespace

struct SquashfsImage::Inode {
    std::uint16_t type = 0;
    // Folders.
    std::uint32_t listingBlock = 0;
    std::uint16_t listingOffset = 0;
    std::uint32_t listingSize = 0;
    // Files.
    std::uint64_t blocksStart = 0;
    std::uint64_t fileSize = 0;
    std::uint32_t fragment = noFragment;
    std::uint32_t fragmentOffset = 0;
    std::vector<std::uint32_t> blockSizes;
    // Symbolic links.
    std::string target;

    bool isDirectory() const { return type == basicDirectory || type == extendedDirectory; }
    bool isFile() const { return type == basicFile || type == extendedFile; }
    bool isSymlink() const { return type == basicSymlink || type == extendedSymlink; }
};

// Reads a run of bytes from a metadata table, block after block.
class SquashfsImage::MetadataStream {
public:
    MetadataStream(const SquashfsImage& image, std::uint64_t blockPosition, std::uint16_t offset)
        : image_(image), next_(blockPosition), offset_(offset)
    {
    }

    bool read(void* destination, std::size_t length, std::string* error)
    {
        auto* out = static_cast<unsigned char*>(destination);
        while (length > 0) {
            if (!loaded_ || offset_ >= block_.size()) {
                if (loaded_)
                    offset_ -= static_cast<std::uint16_t>(std::min<std::size_t>(offset_, block_.size()));
                if (!load(error))
                    return false;
                if (offset_ >= block_.size()) {
                    fail(error, "metadata offset past its block");
                    return false;
                }
            }
            auto take = std::min(length, block_.size() - offset_);
            std::memcpy(out, block_.data() + offset_, take);
            out += take;
            length -= take;
            offset_ += static_cast<std::uint16_t>(take);
        }
        return true;
    }

private:
    bool load(std::string* error)
    {
        unsigned char header[2];
        if (!image_.readAt(next_, header, 2)) {
            fail(error, "metadata block outside the image");
            return false;
        }
        auto word = little<std::uint16_t>(header);
        std::uint32_t size = word & 0x7FFF;
        auto block = image_.readBlock(next_ + 2, size, (word & 0x8000) == 0, metadataBlockSize, error);
        if (!block)
            return false;
        block_ = std::move(*block);
        next_ += 2 + size;
        loaded_ = true;
        return true;
    }

    const SquashfsImage& image_;
    std::uint64_t next_;
    std::uint16_t offset_;
    std::string block_;
    bool loaded_ = false;
};

SquashfsImage::SquashfsImage(int descriptor, std::uint64_t offset, std::uint64_t fileSize)
    : descriptor_(descriptor), offset_(offset), fileSize_(fileSize)
{
}

SquashfsImage::~SquashfsImage()
{
    if (descriptor_ >= 0)
        ::close(descriptor_);
}

SquashfsImage::SquashfsImage(SquashfsImage&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)), offset_(other.offset_), fileSize_(other.fileSize_),
      blockSize_(other.blockSize_), compression_(other.compression_), rootInode_(other.rootInode_),
      bytesUsed_(other.bytesUsed_), inodeTable_(other.inodeTable_), directoryTable_(other.directoryTable_),
      fragmentTable_(other.fragmentTable_), fragmentCount_(other.fragmentCount_)
{
}

SquashfsImage& SquashfsImage::operator=(SquashfsImage&& other) noexcept
{
    if (this != &other) {
        if (descriptor_ >= 0)
            ::close(descriptor_);
        descriptor_ = std::exchange(other.descriptor_, -1);
        offset_ = other.offset_;
        fileSize_ = other.fileSize_;
        blockSize_ = other.blockSize_;
        compression_ = other.compression_;
        rootInode_ = other.rootInode_;
        bytesUsed_ = other.bytesUsed_;
        inodeTable_ = other.inodeTable_;
        directoryTable_ = other.directoryTable_;
        fragmentTable_ = other.fragmentTable_;
        fragmentCount_ = other.fragmentCount_;
    }
    return *this;
}

std::optional<SquashfsImage> SquashfsImage::open(const std::string& path, std::uint64_t offset, std::string* error)
{
    int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        fail(error, "cannot open " + path + ": " + std::strerror(errno));
        return std::nullopt;
    }
    struct stat info {};
    if (::fstat(descriptor, &info) != 0) {
        ::close(descriptor);
        fail(error, "cannot read " + path);
        return std::nullopt;
    }
    SquashfsImage image(descriptor, offset, static_cast<std::uint64_t>(info.st_size));
    if (!image.readSuperblock(error)) {
        if (error)
            *error = path + ": " + *error;
        return std::nullopt;
    }
    return image;
}

bool SquashfsImage::readAt(std::uint64_t position, void* buffer, std::size_t length) const
{
    if (offset_ > fileSize_)
        return false;
    auto available = fileSize_ - offset_;
    if (position > available || length > available - position)
        return false;
    auto* out = static_cast<char*>(buffer);
    auto at = static_cast<off_t>(offset_ + position);
    while (length > 0) {
        auto got = ::pread(descriptor_, out, length, at);
        if (got <= 0)
            return false;
        out += got;
        at += got;
        length -= static_cast<std::size_t>(got);
    }
    return true;
}

bool SquashfsImage::readSuperblock(std::string* error)
{
    unsigned char bytes[96];
    if (!readAt(0, bytes, sizeof bytes) || little<std::uint32_t>(bytes) != squashfsMagic) {
        fail(error, "no squashfs file system");
        return false;
    }
    blockSize_ = little<std::uint32_t>(bytes + 12);
    fragmentCount_ = little<std::uint32_t>(bytes + 16);
    compression_ = little<std::uint16_t>(bytes + 20);
    auto major = little<std::uint16_t>(bytes + 28);
    rootInode_ = little<std::uint64_t>(bytes + 32);
    bytesUsed_ = little<std::uint64_t>(bytes + 40);
    inodeTable_ = little<std::uint64_t>(bytes + 64);
    directoryTable_ = little<std::uint64_t>(bytes + 72);
    fragmentTable_ = little<std::uint64_t>(bytes + 80);
    if (major != 4) {
        fail(error, "squashfs version " + std::to_string(major) + " is not read");
        return false;
    }
    if (blockSize_ < 4096 || blockSize_ > (1u << 20) || (blockSize_ & (blockSize_ - 1)) != 0) {
        fail(error, "implausible block size " + std::to_string(blockSize_));
        return false;
    }
    return true;
}

std::optional<std::string> SquashfsImage::readBlock(std::uint64_t position, std::uint32_t sizeOnDisk, bool compressed,
                                                    std::size_t expected, std::string* error) const
{
    std::string stored(sizeOnDisk, '\0');
    if (!readAt(position, stored.data(), stored.size())) {
        fail(error, "block outside the image");
        return std::nullopt;
    }
    if (!compressed)
        return stored;
    // Plain blocks of any compressor are readable; a compressed one needs gzip.
    if (compression_ != 1) {
        fail(error, "compressor " + std::to_string(compression_) + " is not read, only gzip");
        return std::nullopt;
    }
    std::string plain(expected, '\0');
    uLongf length = plain.size();
    if (::uncompress(reinterpret_cast<Bytef*>(plain.data()), &length, reinterpret_cast<const Bytef*>(stored.data()),
                     stored.size()) != Z_OK) {
        fail(error, "damaged gzip block");
        return std::nullopt;
    }
    plain.resize(length);
    return plain;
}

std::optional<SquashfsImage::Inode> SquashfsImage::readInode(std::uint64_t reference, std::string* error) const
{
    MetadataStream stream(*this, inodeTable_ + (reference >> 16), static_cast<std::uint16_t>(reference & 0xFFFF));
    unsigned char header[16];
    if (!stream.read(header, sizeof header, error))
        return std::nullopt;
    Inode inode;
    inode.type = little<std::uint16_t>(header);
    unsigned char body[40];
    switch (inode.type) {
    case basicDirectory:
        if (!stream.read(body, 16, error))
            return std::nullopt;
        inode.listingBlock = little<std::uint32_t>(body);
        inode.listingSize = little<std::uint16_t>(body + 8);
        inode.listingOffset = little<std::uint16_t>(body + 10);
        return inode;
    case extendedDirectory:
        if (!stream.read(body, 24, error))
            return std::nullopt;
        inode.listingSize = little<std::uint32_t>(body + 4);
        inode.listingBlock = little<std::uint32_t>(body + 8);
        inode.listingOffset = little<std::uint16_t>(body + 18);
        return inode;
    case basicFile:
    case extendedFile: {
        if (inode.type == basicFile) {
            if (!stream.read(body, 16, error))
                return std::nullopt;
            inode.blocksStart = little<std::uint32_t>(body);
            inode.fragment = little<std::uint32_t>(body + 4);
            inode.fragmentOffset = little<std::uint32_t>(body + 8);
            inode.fileSize = little<std::uint32_t>(body + 12);
        } else {
            if (!stream.read(body, 40, error))
                return std::nullopt;
            inode.blocksStart = little<std::uint64_t>(body);
            inode.fileSize = little<std::uint64_t>(body + 8);
            inode.fragment = little<std::uint32_t>(body + 28);
            inode.fragmentOffset = little<std::uint32_t>(body + 32);
        }
        if (inode.fileSize > bytesUsed_ * 64 + (1u << 20)) {
            fail(error, "implausible file size");
            return std::nullopt;
        }
        auto blocks = inode.fragment == noFragment ? (inode.fileSize + blockSize_ - 1) / blockSize_
                                                   : inode.fileSize / blockSize_;
        inode.blockSizes.resize(blocks);
        for (auto& size : inode.blockSizes) {
            unsigned char word[4];
            if (!stream.read(word, 4, error))
                return std::nullopt;
            size = little<std::uint32_t>(word);
        }
        return inode;
    }
    case basicSymlink:
    case extendedSymlink: {
        if (!stream.read(body, 8, error))
            return std::nullopt;
        auto length = little<std::uint32_t>(body + 4);
        if (length > 4096) {
            fail(error, "implausible link target");
            return std::nullopt;
        }
        inode.target.resize(length);
        if (!stream.read(inode.target.data(), length, error))
            return std::nullopt;
        return inode;
    }
    default:
        return inode; // devices, pipes and sockets carry nothing to read
    }
}

std::optional<std::string> SquashfsImage::readFileData(const Inode& inode, std::size_t limit, std::string* error) const
{
    if (inode.fileSize > limit) {
        fail(error, "file larger than " + std::to_string(limit) + " bytes");
        return std::nullopt;
    }
    std::string data;
    data.reserve(inode.fileSize);
    auto position = inode.blocksStart;
    for (auto size : inode.blockSizes) {
        auto expected = std::min<std::uint64_t>(blockSize_, inode.fileSize - data.size());
        auto onDisk = size & ~uncompressedDataBit;
        if (onDisk == 0) {
            data.append(expected, '\0'); // a sparse block
            continue;
        }
        auto block = readBlock(position, onDisk, (size & uncompressedDataBit) == 0, blockSize_, error);
        if (!block)
            return std::nullopt;
        data.append(block->substr(0, expected));
        position += onDisk;
    }
    if (inode.fragment != noFragment) {
        if (inode.fragment >= fragmentCount_) {
            fail(error, "fragment outside the fragment table");
            return std::nullopt;
        }
        unsigned char pointer[8];
        if (!readAt(fragmentTable_ + 8 * (inode.fragment / 512), pointer, 8)) {
            fail(error, "fragment table outside the image");
            return std::nullopt;
        }
        MetadataStream stream(*this, little<std::uint64_t>(pointer), static_cast<std::uint16_t>(16 * (inode.fragment % 512)));
        unsigned char entry[16];
        if (!stream.read(entry, 16, error))
            return std::nullopt;
        auto size = little<std::uint32_t>(entry + 8);
        auto block = readBlock(little<std::uint64_t>(entry), size & ~uncompressedDataBit,
                               (size & uncompressedDataBit) == 0, blockSize_, error);
        if (!block)
            return std::nullopt;
        auto tail = inode.fileSize - data.size();
        if (inode.fragmentOffset > block->size() || tail > block->size() - inode.fragmentOffset) {
            fail(error, "file tail outside its fragment");
            return std::nullopt;
        }
        data.append(block->substr(inode.fragmentOffset, tail));
    }
    if (data.size() != inode.fileSize) {
        fail(error, "file shorter than its size");
        return std::nullopt;
    }
    return data;
}

std::optional<std::vector<SquashfsImage::DirectoryEntry>> SquashfsImage::list(const Inode& folder,
                                                                              std::string* error) const
{
    if (!folder.isDirectory() || folder.listingSize < 3) {
        fail(error, "not a folder");
        return std::nullopt;
    }
    std::vector<DirectoryEntry> entries;
    MetadataStream stream(*this, directoryTable_ + folder.listingBlock, folder.listingOffset);
    std::int64_t remaining = static_cast<std::int64_t>(folder.listingSize) - 3;
    while (remaining >= 12) {
        unsigned char header[12];
        if (!stream.read(header, 12, error))
            return std::nullopt;
        remaining -= 12;
        auto count = little<std::uint32_t>(header) + 1;
        auto start = little<std::uint32_t>(header + 4);
        if (count > 256) {
            fail(error, "damaged folder listing");
            return std::nullopt;
        }
        for (std::uint32_t i = 0; i < count; ++i) {
            unsigned char fields[8];
            if (!stream.read(fields, 8, error))
                return std::nullopt;
            auto offset = little<std::uint16_t>(fields);
            auto nameSize = static_cast<std::size_t>(little<std::uint16_t>(fields + 6)) + 1;
            if (nameSize > 256) {
                fail(error, "damaged folder listing");
                return std::nullopt;
            }
            std::string name(nameSize, '\0');
            if (!stream.read(name.data(), nameSize, error))
                return std::nullopt;
            remaining -= static_cast<std::int64_t>(8 + nameSize);
            entries.push_back({std::move(name), (static_cast<std::uint64_t>(start) << 16) | offset});
        }
    }
    return entries;
}

std::optional<SquashfsImage::Inode> SquashfsImage::resolve(std::string_view path, std::string* error) const
{
    auto inode = readInode(rootInode_, error);
    std::string current(path);
    std::string next;
    // Each link followed restarts the walk at the root; a loop of links ends here.
    for (int hops = 0; inode && hops < 8; ++hops) {
        std::string_view whole = current;
        std::string_view rest = whole;
        bool linked = false;
        while (inode && !rest.empty()) {
            auto slash = rest.find('/');
            auto component = rest.substr(0, slash);
            rest = slash == std::string_view::npos ? std::string_view() : rest.substr(slash + 1);
            if (component.empty() || component == ".")
                continue;
            if (component == "..") {
                fail(error, "a link leaves the image's root");
                return std::nullopt;
            }
            auto entries = list(*inode, error);
            if (!entries)
                return std::nullopt;
            auto found = std::find_if(entries->begin(), entries->end(),
                                      [component](const DirectoryEntry& entry) { return entry.name == component; });
            if (found == entries->end()) {
                fail(error, "no such file: " + std::string(component));
                return std::nullopt;
            }
            inode = readInode(found->reference, error);
            if (inode && inode->isSymlink()) {
                if (inode->target.starts_with("/")) {
                    fail(error, "a link leaves the image's root");
                    return std::nullopt;
                }
                // Relative to the link's folder, which for the links this reads is the root.
                auto folder = whole.substr(0, whole.size() - rest.size() - component.size() - (rest.empty() ? 0 : 1));
                next = std::string(folder) + inode->target + (rest.empty() ? "" : "/" + std::string(rest));
                linked = true;
                break;
            }
        }
        if (!linked)
            return inode;
        current = next;
        inode = readInode(rootInode_, error);
    }
    if (inode)
        fail(error, "too many links");
    return std::nullopt;
}

std::optional<std::string> SquashfsImage::readRootFile(const std::function<bool(std::string_view)>& wanted,
                                                       std::string* error, std::string* foundName,
                                                       std::size_t limit) const
{
    auto root = readInode(rootInode_, error);
    if (!root)
        return std::nullopt;
    auto entries = list(*root, error);
    if (!entries)
        return std::nullopt;
    for (const auto& entry : *entries) {
        if (!wanted(entry.name))
            continue;
        auto inode = resolve(entry.name, error);
        if (!inode)
            return std::nullopt;
        if (!inode->isFile()) {
            fail(error, entry.name + " is no regular file");
            return std::nullopt;
        }
        if (foundName)
            *foundName = entry.name;
        return readFileData(*inode, limit, error);
    }
    fail(error, "no such file in the root folder");
    return std::nullopt;
}

std::optional<std::uint64_t> appImageFileSystemOffset(const std::string& path, std::string* error)
{
    int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        fail(error, "cannot open " + path + ": " + std::strerror(errno));
        return std::nullopt;
    }
    unsigned char header[64] = {};
    auto got = ::pread(descriptor, header, sizeof header, 0);
    ::close(descriptor);
    if (got != static_cast<ssize_t>(sizeof header) || std::memcmp(header, "\x7f" "ELF", 4) != 0 || header[5] != 1) {
        fail(error, path + ": not an executable image");
        return std::nullopt;
    }
    if (header[8] == 'A' && header[9] == 'I' && header[10] == 1) {
        fail(error, path + ": a type 1 image (ISO 9660) is not read");
        return std::nullopt;
    }
    // The file system follows the runtime, whose end is the end of its section headers.
    if (header[4] == 2)
        return little<std::uint64_t>(header + 0x28) +
               std::uint64_t{little<std::uint16_t>(header + 0x3A)} * little<std::uint16_t>(header + 0x3C);
    if (header[4] == 1)
        return std::uint64_t{little<std::uint32_t>(header + 0x20)} +
               std::uint64_t{little<std::uint16_t>(header + 0x2E)} * little<std::uint16_t>(header + 0x30);
    fail(error, path + ": unknown executable class");
    return std::nullopt;
}

std::optional<std::string> appImageDesktopEntry(const std::string& path, std::string* error, std::string* name)
{
    auto offset = appImageFileSystemOffset(path, error);
    if (!offset)
        return std::nullopt;
    auto image = SquashfsImage::open(path, *offset, error);
    if (!image)
        return std::nullopt;
    auto text = image->readRootFile([](std::string_view entry) { return entry.ends_with(".desktop"); }, error, name);
    if (!text && error)
        *error = path + ": " + *error;
    return text;
}

} // namespace tarnel
