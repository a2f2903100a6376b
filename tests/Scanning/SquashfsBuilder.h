#pragma once

#include <zlib.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace tarnel::testing {

// Writes a small squashfs 4.0 file system with files and symbolic links in its root folder,
// blocks stored plain or gzip-compressed, the tails of files packed into one fragment: the
// layout mksquashfs writes, so the reader meets the same structures.
class SquashfsBuilder {
public:
    struct Entry {
        std::string name;
        std::string contents; // the link target for a link
        bool link = false;
    };

    bool compress = true;
    std::uint16_t compressor = 1; // gzip
    std::vector<Entry> entries;   // sorted by name, as the format wants

    std::string build() const
    {
        constexpr std::uint32_t blockSize = 4096;
        std::string image(96, '\0');
        std::string fragment;
        struct Placed {
            std::uint64_t blocksStart = 0;
            std::vector<std::uint32_t> sizes;
            std::uint32_t fragmentOffset = 0;
            bool hasTail = false;
        };
        std::vector<Placed> placed(entries.size());
        for (std::size_t i = 0; i < entries.size(); ++i) {
            if (entries[i].link)
                continue;
            const auto& data = entries[i].contents;
            placed[i].blocksStart = image.size();
            std::size_t full = data.size() / blockSize;
            for (std::size_t b = 0; b < full; ++b) {
                auto stored = pack(data.substr(b * blockSize, blockSize));
                placed[i].sizes.push_back(compress ? static_cast<std::uint32_t>(stored.size())
                                                   : static_cast<std::uint32_t>(stored.size()) | (1u << 24));
                image += stored;
            }
            if (data.size() % blockSize != 0) {
                placed[i].hasTail = true;
                placed[i].fragmentOffset = static_cast<std::uint32_t>(fragment.size());
                fragment += data.substr(full * blockSize);
            }
        }
        std::uint64_t fragmentStart = image.size();
        std::uint32_t fragmentSize = 0;
        if (!fragment.empty()) {
            auto stored = pack(fragment);
            fragmentSize = compress ? static_cast<std::uint32_t>(stored.size())
                                    : static_cast<std::uint32_t>(stored.size()) | (1u << 24);
            image += stored;
        }

        // Inodes: the entries first, numbered from 1, then the root.
        std::string inodes;
        std::vector<std::uint16_t> inodeOffsets;
        for (std::size_t i = 0; i < entries.size(); ++i) {
            inodeOffsets.push_back(static_cast<std::uint16_t>(inodes.size()));
            auto number = static_cast<std::uint32_t>(i + 1);
            if (entries[i].link) {
                header(inodes, 3, number);
                put32(inodes, 1);
                put32(inodes, static_cast<std::uint32_t>(entries[i].contents.size()));
                inodes += entries[i].contents;
                continue;
            }
            header(inodes, 2, number);
            put32(inodes, static_cast<std::uint32_t>(placed[i].blocksStart));
            put32(inodes, placed[i].hasTail ? 0 : 0xFFFFFFFF);
            put32(inodes, placed[i].fragmentOffset);
            put32(inodes, static_cast<std::uint32_t>(entries[i].contents.size()));
            for (auto size : placed[i].sizes)
                put32(inodes, size);
        }
        std::string listing;
        put32(listing, static_cast<std::uint32_t>(entries.size() - 1));
        put32(listing, 0);
        put32(listing, 1);
        for (std::size_t i = 0; i < entries.size(); ++i) {
            put16(listing, inodeOffsets[i]);
            put16(listing, static_cast<std::uint16_t>(i));
            put16(listing, entries[i].link ? 3 : 2);
            put16(listing, static_cast<std::uint16_t>(entries[i].name.size() - 1));
            listing += entries[i].name;
        }
        auto rootOffset = static_cast<std::uint16_t>(inodes.size());
        header(inodes, 1, static_cast<std::uint32_t>(entries.size() + 1));
        put32(inodes, 0);
        put32(inodes, 2);
        put16(inodes, static_cast<std::uint16_t>(listing.size() + 3));
        put16(inodes, 0);
        put32(inodes, static_cast<std::uint32_t>(entries.size() + 2));
        if (inodes.size() > 8192 || listing.size() > 8192)
            throw std::logic_error("one metadata block each is all this builder writes");

        std::uint64_t inodeTable = image.size();
        image += metadata(inodes);
        std::uint64_t directoryTable = image.size();
        image += metadata(listing);
        std::uint64_t fragmentEntries = image.size();
        std::string entry;
        put64(entry, fragmentStart);
        put32(entry, fragmentSize);
        put32(entry, 0);
        image += metadata(entry);
        std::uint64_t fragmentTable = image.size();
        put64(image, fragmentEntries);

        std::string super;
        put32(super, 0x73717368);
        put32(super, static_cast<std::uint32_t>(entries.size() + 1));
        put32(super, 0);
        put32(super, blockSize);
        put32(super, fragment.empty() ? 0 : 1);
        put16(super, compressor);
        put16(super, 12);
        put16(super, 0);
        put16(super, 1);
        put16(super, 4);
        put16(super, 0);
        put64(super, rootOffset);
        put64(super, image.size());
        put64(super, image.size()); // id table: not read
        put64(super, ~std::uint64_t{0});
        put64(super, inodeTable);
        put64(super, directoryTable);
        put64(super, fragmentTable);
        put64(super, ~std::uint64_t{0});
        image.replace(0, 96, super);
        return image;
    }

    // A type 2 application image: an ELF header whose section headers end at 128, then `fs`.
    static std::string appImage(const std::string& fileSystem)
    {
        std::string elf(128, '\0');
        elf.replace(0, 4, "\x7f" "ELF");
        elf[4] = 2;
        elf[5] = 1;
        elf[6] = 1;
        elf[8] = 'A';
        elf[9] = 'I';
        elf[10] = 2;
        elf[0x28] = 64;
        elf[0x3A] = 64;
        elf[0x3C] = 1;
        return elf + fileSystem;
    }

private:
    std::string pack(const std::string& data) const
    {
        if (!compress)
            return data;
        uLongf length = compressBound(data.size());
        std::string out(length, '\0');
        if (compress2(reinterpret_cast<Bytef*>(out.data()), &length, reinterpret_cast<const Bytef*>(data.data()),
                      data.size(), 9) != Z_OK)
            throw std::runtime_error("compress2 failed");
        out.resize(length);
        return out;
    }
    std::string metadata(const std::string& data) const
    {
        auto stored = pack(data);
        std::string out;
        put16(out, static_cast<std::uint16_t>(stored.size() | (compress ? 0 : 0x8000)));
        return out + stored;
    }
    static void header(std::string& out, std::uint16_t type, std::uint32_t number)
    {
        put16(out, type);
        put16(out, 0644);
        put16(out, 0);
        put16(out, 0);
        put32(out, 0);
        put32(out, number);
    }
    static void put16(std::string& out, std::uint16_t value)
    {
        for (int i = 0; i < 2; ++i)
            out += static_cast<char>((value >> (8 * i)) & 0xFF);
    }
    static void put32(std::string& out, std::uint32_t value)
    {
        for (int i = 0; i < 4; ++i)
            out += static_cast<char>((value >> (8 * i)) & 0xFF);
    }
    static void put64(std::string& out, std::uint64_t value)
    {
        for (int i = 0; i < 8; ++i)
            out += static_cast<char>((value >> (8 * i)) & 0xFF);
    }
};

} // namespace tarnel::testing
