#include "Scanning/Walker/EntryAttributes.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

namespace tarnel {

namespace {

bool needsAttributes(unsigned char type) { return type == DT_REG || type == DT_LNK || type == DT_UNKNOWN; }

} // namespace

EntryAttributes::EntryAttributes(int directory, std::vector<DirectoryListing::Entry> entries)
    : directory_(directory), entries_(std::move(entries)), attributes_(entries_.size())
{
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        attributes_[i] = Attributes{entries_[i].type, false, false, 0};
        pending_ += needsAttributes(entries_[i].type);
    }
}

void EntryAttributes::readSlices()
{
    // A reader is counted before it takes a slice, so finish() can't miss one that took the last.
    readers_.fetch_add(1);
    for (;;) {
        auto first = nextSlice_.fetch_add(sliceSize);
        if (first >= entries_.size())
            break;
        auto end = std::min(first + sliceSize, entries_.size());
        for (auto i = first; i < end; ++i) {
            auto& result = attributes_[i];
            if (!needsAttributes(result.type))
                continue;
            struct statx facts;
            unsigned mask = result.type == DT_UNKNOWN ? STATX_TYPE | STATX_SIZE : STATX_SIZE;
            if (::statx(directory_, entries_[i].name.data(), AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT | AT_STATX_DONT_SYNC,
                        mask, &facts) != 0) {
                // A folder that may be listed but not searched still shows its entries; their
                // sizes are unknown, not vanished.
                if (errno == ENOENT || errno == ENOTDIR)
                    result.gone = true;
                else
                    result.unreadable = true;
                continue;
            }
            if (result.type == DT_UNKNOWN)
                result.type = IFTODT(facts.stx_mode);
            if (result.type == DT_REG || result.type == DT_LNK)
                result.size = static_cast<std::int64_t>(facts.stx_size);
        }
    }
    if (readers_.fetch_sub(1) == 1)
        readers_.notify_all();
}

void EntryAttributes::finish()
{
    readSlices();
    for (int readers = readers_.load(); readers != 0; readers = readers_.load())
        readers_.wait(readers);
}

} // namespace tarnel
