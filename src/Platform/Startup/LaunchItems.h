#pragma once

#include "Platform/Startup/UnitStates.h"

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::platform {

// The keys of a unit file by section; a key given twice keeps every value in order.
struct UnitFile {
    std::map<std::string, std::map<std::string, std::vector<std::string>>> sections;

    static UnitFile parse(const std::string& text);
    const std::vector<std::string>* values(const std::string& section, const std::string& key) const;
    // The last value of a key, as systemd takes it for single-valued keys.
    std::optional<std::string> value(const std::string& section, const std::string& key) const;
};

// The folder a unit file lies in.
enum class JobType {
    agent,     // /etc/systemd/user
    userAgent, // $XDG_CONFIG_HOME/systemd/user
    daemon,    // /etc/systemd/system
};

// What a launch item runs. The executable is never required to exist.
struct LaunchProgram {
    std::filesystem::path path; // empty when no ExecStart could be found
    std::string displayName;
    friend bool operator==(const LaunchProgram&, const LaunchProgram&) = default;
};

struct LaunchItem {
    bool isEnabled = false;
    bool fileDisabled = false; // masked: the unit file is a link to /dev/null or empty
    LaunchProgram program;
    std::string label; // the unit's file name
    bool startsAutomatically = false;
    JobType type = JobType::daemon;
    std::filesystem::path url; // the unit file, as it lies in its folder (not its link target)
    UnitState state;

    friend bool operator==(const LaunchItem& a, const LaunchItem& b) { return a.url == b.url; }
};

// The three unit folders, each with the scope systemctl reads it in. `root` prefixes the
// absolute targets of links inside the folders, as systemctl --root does.
struct UnitFolders {
    std::filesystem::path root = "/";
    std::filesystem::path globalUser;
    std::filesystem::path user;
    std::filesystem::path system;

    // /etc/systemd/user, $XDG_CONFIG_HOME/systemd/user and /etc/systemd/system below root.
    static UnitFolders live(const std::filesystem::path& root = "/");
};

// Reads the units of the three folders that start by themselves or are masked.
class LaunchItemReader {
public:
    LaunchItemReader(UnitFolders folders, const UnitStateSource& states,
                     std::vector<std::string> ownLabels = defaultOwnLabels());

    // The user's folder, then the shared user folder, then the system folder, each in file name order.
    std::vector<LaunchItem> read() const;
    // One unit file, or nothing when it makes no item (not a unit, outside the folders).
    std::optional<LaunchItem> item(const std::filesystem::path& unitFile) const;

    static std::vector<std::string> defaultOwnLabels();
    // "com.example.agent" shows as "agent"; "my.tool" stays whole.
    static std::string cleanName(const std::string& name);
    // The program of an ExecStart line: its prefixes ("-", "@", "+", "!", ":") and arguments dropped.
    static std::filesystem::path programOf(const std::string& execStart);

private:
    std::filesystem::path resolved(const std::filesystem::path& file) const;
    std::optional<std::filesystem::path> programFor(const std::filesystem::path& folder, const std::string& unit,
                                                    const UnitFile& file) const;
    std::vector<LaunchItem> readFolder(const std::filesystem::path& folder, JobType type) const;

    UnitFolders folders_;
    const UnitStateSource& states_;
    std::vector<std::string> ownLabels_;
};

} // namespace tarnel::platform
