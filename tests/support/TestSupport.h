#pragma once

#include <filesystem>
#include <string>

namespace tarnel::testing {

// A fresh directory under the system's temporary folder, removed with everything in it on destruction.
class TemporaryDirectory {
public:
    explicit TemporaryDirectory(const std::string& prefix = "tarnel-test");
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

// The source tree's root, for fixtures.
std::filesystem::path sourceDirectory();
// The build tree's root, for the programs under test.
std::filesystem::path binaryDirectory();

void writeFile(const std::filesystem::path& path, const std::string& contents);
std::string readFile(const std::filesystem::path& path);

} // namespace tarnel::testing
