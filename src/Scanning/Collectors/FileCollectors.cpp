#include "Scanning/Collectors/FileCollectors.h"

namespace tarnel {

bool hasSuffix(std::string_view name, std::initializer_list<std::string_view> suffixes)
{
    for (auto suffix : suffixes)
        if (name.size() > suffix.size() && name.ends_with(suffix))
            return true;
    return false;
}

bool PackageCollector::isPackage(std::string_view name)
{
    return hasSuffix(name, {".deb", ".rpm", ".pkg.tar.zst", ".flatpakref", ".snap"});
}

bool DiskImageCollector::isDiskImage(std::string_view name) { return hasSuffix(name, {".iso", ".img", ".dmg"}); }

std::string_view rawValue(FileCollectorOptions option)
{
    switch (option) {
    case FileCollectorOptions::files:
        return "files";
    case FileCollectorOptions::filesIgnoringDsStore:
        return "filesIgnoringDsStore";
    case FileCollectorOptions::directories:
        return "directories";
    case FileCollectorOptions::filesAndDirectories:
        return "filesAndDirectories";
    case FileCollectorOptions::packages:
        return "packages";
    case FileCollectorOptions::diskImages:
        return "diskImages";
    case FileCollectorOptions::xcodeArchives:
        return "xcodeArchives";
    }
    return {};
}

std::optional<FileCollectorOptions> fileCollectorOptions(std::string_view value)
{
    for (auto option : allFileCollectorOptions)
        if (rawValue(option) == value)
            return option;
    return std::nullopt;
}

std::shared_ptr<FileCollector> makeCollector(FileCollectorOptions option)
{
    switch (option) {
    case FileCollectorOptions::files:
        return std::make_shared<NonDirectoryCollector>();
    case FileCollectorOptions::filesIgnoringDsStore:
        return std::make_shared<NonDSStoreFileCollector>();
    case FileCollectorOptions::directories:
        return std::make_shared<DirectoryCollector>();
    case FileCollectorOptions::filesAndDirectories:
        return std::make_shared<FileCollector>();
    case FileCollectorOptions::packages:
        return std::make_shared<PackageCollector>();
    case FileCollectorOptions::diskImages:
        return std::make_shared<DiskImageCollector>();
    case FileCollectorOptions::xcodeArchives:
        return std::make_shared<XcodeArchiveCollector>();
    }
    return nullptr;
}

} // namespace tarnel
