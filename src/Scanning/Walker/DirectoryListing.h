#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace tarnel {

// One open directory and the one buffer its entries are read into, batch by batch, with
// getdents64. Both are released together when the listing is destroyed.
class DirectoryListing {
public:
    static constexpr std::size_t bufferSize = 104'704;

    struct Entry {
        std::string_view name;
        unsigned char type; // DT_* of the directory entry
    };

    // Null when the directory can't be opened or the buffer can't be had. Only the root of a
    // walk is opened through a symbolic link.
    static std::unique_ptr<DirectoryListing> open(const std::string& path, bool followSymbolicLink);

    // open(2) for a path of any length; a long one is opened through its ancestors.
    static int openDirectory(const std::string& path, int flags);

    ~DirectoryListing();
    DirectoryListing(const DirectoryListing&) = delete;
    DirectoryListing& operator=(const DirectoryListing&) = delete;

    int descriptor() const { return fd_; }

    // Reads the next batch; false at the end of the directory or on an error.
    bool readBatch();
    // Entries of the present batch other than "." and "..".
    std::size_t entryCount() const;

    template <class F>
    void forEachEntry(F&& visit) const
    {
        for (std::size_t offset = 0; offset < filled_;) {
            auto entry = entryAt(offset);
            offset += recordLength(offset);
            if (entry.name == "." || entry.name == "..")
                continue;
            visit(entry);
        }
    }

private:
    DirectoryListing(int fd, std::unique_ptr<char[]> buffer) : fd_(fd), buffer_(std::move(buffer)) {}
    Entry entryAt(std::size_t offset) const;
    std::size_t recordLength(std::size_t offset) const;

    int fd_;
    std::unique_ptr<char[]> buffer_;
    std::size_t filled_ = 0;
};

} // namespace tarnel
