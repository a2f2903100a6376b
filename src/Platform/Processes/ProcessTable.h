#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace tarnel::platform {

// One process as /proc shows it. A field the kernel did not let us read is absent.
struct ProcessEntry {
    pid_t pid = 0;
    // /proc/<pid>/exe, without the " (deleted)" the kernel adds once the file was replaced.
    std::optional<std::filesystem::path> executable;
    // The first argument when it names a path, made absolute against the process's directory.
    std::optional<std::filesystem::path> launchPath;
    // The file of the first executable mapping in /proc/<pid>/maps.
    std::optional<std::filesystem::path> codePath;
    std::chrono::system_clock::time_point startTime;
};

// Reads processes of this user from a /proc tree (a fixture tree in tests).
class ProcessTable {
public:
    explicit ProcessTable(std::filesystem::path procRoot = "/proc");

    // The live processes of this user whose executable file is named `executableName`.
    std::vector<ProcessEntry> processesNamed(const std::string& executableName) const;
    std::optional<ProcessEntry> process(pid_t pid) const;
    // False for a process that is gone or a zombie.
    bool isAlive(pid_t pid) const;

private:
    std::optional<std::chrono::system_clock::time_point> startTime(pid_t pid) const;

    std::filesystem::path root_;
};

} // namespace tarnel::platform
