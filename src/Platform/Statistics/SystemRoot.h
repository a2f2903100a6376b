#pragma once

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel::platform {

// A file every reading depends on could not be read or made no sense.
class ReadError : public std::runtime_error {
public:
    ReadError(const std::filesystem::path& path, const std::string& reason);
    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

// The directory that plays the part of "/" for every reader, so recorded trees stand in for the machine.
class SystemRoot {
public:
    SystemRoot() : root_("/") {}
    explicit SystemRoot(std::filesystem::path root) : root_(std::move(root)) {}

    const std::filesystem::path& root() const { return root_; }
    // The place of an absolute system path below the root.
    std::filesystem::path resolve(std::string_view absolutePath) const;

    // The whole file; absent when it does not exist or cannot be read (a vanished process, a missing attribute).
    static std::optional<std::string> readText(const std::filesystem::path& path);
    // The whole file, or ReadError with the reason.
    static std::string readRequiredText(const std::filesystem::path& path);
    // The first line of a sysfs attribute without its line end; absent when empty or unreadable.
    static std::optional<std::string> readAttribute(const std::filesystem::path& path);
    // A symbolic link's target as written; absent when the path is no link or vanished.
    static std::optional<std::string> readLink(const std::filesystem::path& path);
    // Entry names of a directory, sorted; empty when the directory does not exist.
    static std::vector<std::string> listDirectory(const std::filesystem::path& path);
    static bool exists(const std::filesystem::path& path);

private:
    std::filesystem::path root_;
};

} // namespace tarnel::platform
