#pragma once

#include "Scanning/Collectors/FileCollector.h"

#include <array>
#include <atomic>
#include <initializer_list>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace tarnel {

// Whether `name` ends in one of `suffixes`, each given with its dot; case-sensitive, whole
// suffix, so "pkg" and "a.PKG" match no ".pkg".
bool hasSuffix(std::string_view name, std::initializer_list<std::string_view> suffixes);

class NonDirectoryCollector : public FileCollector {
public:
    std::string name() const override { return "files"; }

protected:
    bool evaluator(const FileNode& node) override { return !node.isDirectory(); }
};

class NonDSStoreFileCollector : public FileCollector {
public:
    std::string name() const override { return "filesIgnoringDsStore"; }

protected:
    bool evaluator(const FileNode& node) override { return !node.isDirectory() && node.name() != ".DS_Store"; }
};

class DirectoryCollector : public FileCollector {
public:
    std::string name() const override { return "directories"; }

protected:
    bool evaluator(const FileNode& node) override { return node.isDirectory(); }
};

// Installer packages of the Linux packaging systems; a package that is a folder counts too.
class PackageCollector : public FileCollector {
public:
    std::string name() const override { return "packages"; }
    static bool isPackage(std::string_view name);

protected:
    bool evaluator(const FileNode& node) override { return isPackage(node.name()); }
};

class DiskImageCollector : public FileCollector {
public:
    std::string name() const override { return "diskImages"; }
    static bool isDiskImage(std::string_view name);

protected:
    bool evaluator(const FileNode& node) override { return isDiskImage(node.name()); }
};

class XcodeArchiveCollector : public FileCollector {
public:
    std::string name() const override { return "xcodeArchives"; }

protected:
    bool evaluator(const FileNode& node) override { return node.fileExtension() == "xcarchive"; }
};

// Self-contained application images and application folders.
class ApplicationCollector : public FileCollector {
public:
    std::string name() const override { return "applications"; }

protected:
    bool evaluator(const FileNode& node) override { return hasSuffix(node.name(), {".AppImage", ".app"}); }
};

// Keeps nothing: adds up the sizes of what it is shown. In collector mode a folder's size is
// 0, so the total is the logical size of the files below the walk's root.
class SizeCollector : public FileCollector {
public:
    std::string name() const override { return "size"; }
    std::int64_t totalSize() const { return totalSize_.load(); }

protected:
    bool evaluator(const FileNode& node) override
    {
        totalSize_.fetch_add(node.size(), std::memory_order_relaxed);
        return false;
    }

private:
    std::atomic<std::int64_t> totalSize_{0};
};

// The collectors a caller may ask for by name; each raw value is its collector's name, so a
// result dictionary is read with the raw value as key.
enum class FileCollectorOptions {
    files,
    filesIgnoringDsStore,
    directories,
    filesAndDirectories,
    packages,
    diskImages,
    xcodeArchives,
};

inline constexpr std::array allFileCollectorOptions{
    FileCollectorOptions::files,           FileCollectorOptions::filesIgnoringDsStore,
    FileCollectorOptions::directories,     FileCollectorOptions::filesAndDirectories,
    FileCollectorOptions::packages,        FileCollectorOptions::diskImages,
    FileCollectorOptions::xcodeArchives,
};

std::string_view rawValue(FileCollectorOptions option);
std::optional<FileCollectorOptions> fileCollectorOptions(std::string_view rawValue);
std::shared_ptr<FileCollector> makeCollector(FileCollectorOptions option);

} // namespace tarnel
