#pragma once

#include "Scanning/Walker/DirectoryListing.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace tarnel {

// What a batch of directory entries doesn't tell by itself: the size of files and symbolic
// links, and the type where the listing gives none. Read with one statx relative to the
// directory per entry that needs it, in slices that several threads may take in turn, so that
// a huge directory isn't read by one thread while the others have nothing to do.
class EntryAttributes {
public:
    struct Attributes {
        unsigned char type; // DT_*
        bool gone;          // vanished since it was listed
        bool unreadable;    // listed, but its attributes can't be read: size 0, type as listed
        std::int64_t size;  // files and symbolic links
    };
    static constexpr std::size_t sliceSize = 64;

    // `directory` stays open, and the names valid, until finish() has returned.
    EntryAttributes(int directory, std::vector<DirectoryListing::Entry> entries);

    std::size_t size() const { return entries_.size(); }
    const DirectoryListing::Entry& entry(std::size_t index) const { return entries_[index]; }
    const Attributes& attributes(std::size_t index) const { return attributes_[index]; }
    // Entries whose attributes need a system call.
    std::size_t pending() const { return pending_; }

    // Reads slices until none is left; any number of threads may help.
    void readSlices();
    // Reads what is left, then waits until slices other threads took are read.
    void finish();

private:
    int directory_;
    std::vector<DirectoryListing::Entry> entries_;
    std::vector<Attributes> attributes_;
    std::size_t pending_ = 0;
    std::atomic<std::size_t> nextSlice_{0};
    std::atomic<int> readers_{0};
};

} // namespace tarnel
