#include "Privileged/SecureRemover.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace tarnel::daemon {

namespace {

class Descriptor {
public:
    explicit Descriptor(int fd = -1) : fd_(fd) {}
    Descriptor(Descriptor&& o) noexcept : fd_(std::exchange(o.fd_, -1)) {}
    Descriptor& operator=(Descriptor&& o) noexcept
    {
        if (this != &o) {
            reset();
            fd_ = std::exchange(o.fd_, -1);
        }
        return *this;
    }
    ~Descriptor() { reset(); }
    int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }

private:
    void reset()
    {
        if (fd_ >= 0)
            ::close(fd_);
        fd_ = -1;
    }
    int fd_;
};

struct Failure {
    std::string cause;
};

std::string errnoText(const char* what, const std::string& name)
{
    return fmt::format("{} {}: {}", what, name, std::strerror(errno));
}

bool isMountRoot(int parent, const char* name, const struct stat& parentStat, const struct stat& entry)
{
    if (entry.st_dev != parentStat.st_dev)
        return true;
#ifdef STATX_ATTR_MOUNT_ROOT
    struct statx sx {};
    if (::statx(parent, name, AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS, &sx) == 0 &&
        (sx.stx_attributes_mask & STATX_ATTR_MOUNT_ROOT) && (sx.stx_attributes & STATX_ATTR_MOUNT_ROOT))
        return true;
#endif
    return false;
}

// Empties and removes the folder `name` inside `parent`.
std::optional<Failure> removeTree(int parent, const std::string& name, const struct stat& parentStat, int depth)
{
    if (depth > 4096)
        return Failure{"the tree is too deep"};
    struct stat self {};
    if (::fstatat(parent, name.c_str(), &self, AT_SYMLINK_NOFOLLOW) != 0)
        return Failure{errnoText("cannot inspect", name)};
    if (!S_ISDIR(self.st_mode)) {
        if (::unlinkat(parent, name.c_str(), 0) != 0)
            return Failure{errnoText("cannot remove", name)};
        return std::nullopt;
    }
    if (isMountRoot(parent, name.c_str(), parentStat, self))
        return Failure{fmt::format("{} is a mount point", name)};
    Descriptor dir(::openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!dir)
        return Failure{errnoText("cannot open", name)};
    struct stat opened {};
    if (::fstat(dir.get(), &opened) != 0 || opened.st_ino != self.st_ino || opened.st_dev != self.st_dev)
        return Failure{fmt::format("{} changed while it was being removed", name)};

    // Read all names first: removing while iterating would skip entries.
    std::vector<std::string> names;
    {
        int listing = ::dup(dir.get());
        if (listing < 0)
            return Failure{errnoText("cannot list", name)};
        DIR* stream = ::fdopendir(listing);
        if (!stream) {
            ::close(listing);
            return Failure{errnoText("cannot list", name)};
        }
        errno = 0;
        while (auto* entry = ::readdir(stream)) {
            std::string_view n(entry->d_name);
            if (n != "." && n != "..")
                names.emplace_back(n);
        }
        const int readError = errno;
        ::closedir(stream);
        if (readError != 0) {
            errno = readError;
            return Failure{errnoText("cannot list", name)};
        }
    }
    for (const auto& child : names) {
        if (auto failure = removeTree(dir.get(), child, opened, depth + 1))
            return failure;
    }
    if (::unlinkat(parent, name.c_str(), AT_REMOVEDIR) != 0)
        return Failure{errnoText("cannot remove", name)};
    return std::nullopt;
}

RemovalResult removeHere(const std::string& absolutePath, const std::vector<std::string>& crossable)
{
    std::filesystem::path path(absolutePath);
    if (!path.has_filename())
        path = path.parent_path();
    Descriptor current(::open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!current)
        return {false, errnoText("cannot open", "/")};
    std::vector<std::string> parts;
    for (const auto& part : path.relative_path())
        parts.push_back(part.string());
    if (parts.empty())
        return {false, "nothing to remove"};
    struct stat parentStat {};
    if (::fstat(current.get(), &parentStat) != 0)
        return {false, errnoText("cannot inspect", "/")};
    std::string walked;
    // Walk to the parent, refusing a symbolic link and a mount point at every step: the path
    // must lie on the file system of the root folder all the way.
    for (std::size_t i = 0; i + 1 < parts.size(); ++i) {
        Descriptor next(::openat(current.get(), parts[i].c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (!next)
            return {false, errno == ELOOP || errno == ENOTDIR
                               ? fmt::format("{} is not a plain folder (a symbolic link is never followed)", parts[i])
                               : errnoText("cannot open", parts[i])};
        struct stat nextStat {};
        if (::fstat(next.get(), &nextStat) != 0)
            return {false, errnoText("cannot inspect", parts[i])};
        walked += "/" + parts[i];
        if (isMountRoot(current.get(), parts[i].c_str(), parentStat, nextStat) &&
            std::find(crossable.begin(), crossable.end(), walked) == crossable.end())
            return {false, fmt::format("{} is a mount point, which is never entered", walked)};
        current = std::move(next);
        parentStat = nextStat;
    }
    if (auto failure = removeTree(current.get(), parts.back(), parentStat, 0))
        return {false, failure->cause};
    return {true, {}};
}

} // namespace

std::optional<std::string> SecureRemover::runAs(const FileSystemIdentity& identity, const std::function<void()>& work)
{
    std::optional<std::string> refusal;
    // Credentials are per thread in the kernel; this thread takes the caller's and then ends.
    std::thread worker([&] {
        if (!identity.daemonRights && ::geteuid() == 0) {
            if (::syscall(SYS_setgroups, identity.groups.size(), identity.groups.data()) != 0 ||
                ::syscall(SYS_setfsgid, identity.gid) < 0 || ::syscall(SYS_setfsuid, identity.uid) < 0 ||
                static_cast<uid_t>(::syscall(SYS_setfsuid, -1)) != identity.uid) {
                refusal = errnoText("cannot take the identity of uid", std::to_string(identity.uid));
                return;
            }
        } else if (!identity.daemonRights && ::geteuid() != identity.uid) {
            // A daemon without root cannot act for anyone else.
            refusal = fmt::format("the daemon runs as uid {} and cannot act for uid {}", ::geteuid(), identity.uid);
            return;
        }
        work();
    });
    worker.join();
    return refusal;
}

RemovalResult SecureRemover::remove(const std::string& absolutePath, const FileSystemIdentity& identity,
                                    const std::vector<std::string>& crossable)
{
    RemovalResult result;
    if (auto refusal = runAs(identity, [&] { result = removeHere(absolutePath, crossable); }))
        return {false, *refusal};
    return result;
}

} // namespace tarnel::daemon
