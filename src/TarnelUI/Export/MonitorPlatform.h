#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace tarnel::ui {

// The two signals the application sends the Monitor app on the session bus.
enum class MonitorSignal { configurationChanged, quit };

class MonitorSignals {
public:
    virtual ~MonitorSignals() = default;
    // Throws std::runtime_error when the bus cannot take the signal.
    virtual void post(MonitorSignal signal) = 0;
};

// What a Monitor executable says it is; a running copy also carries why it is out of date.
struct MonitorBundleInfo {
    std::string bundleIdentifier;
    std::string version;
    std::string build;
    std::optional<std::string> staleReason;

    // "<identifier> <version> (<build>)", then " [stale: <reason>]" when stale.
    std::string description() const;
    friend bool operator==(const MonitorBundleInfo&, const MonitorBundleInfo&) = default;
};

// One running Monitor process as the process table shows it. A path the table cannot read is
// absent rather than guessed.
struct RunningMonitor {
    pid_t pid = 0;
    // The file the process runs from.
    std::optional<std::filesystem::path> bundleURL;
    // The path it was started as.
    std::optional<std::filesystem::path> executableURL;
    // The file mapped as its code.
    std::optional<std::filesystem::path> codePath;
    std::chrono::system_clock::time_point launchDate;
};

// The view of and control over Monitor processes and files that the controller needs.
class MonitorAppsPlatform {
public:
    virtual ~MonitorAppsPlatform() = default;

    // The running Monitor processes of this user.
    virtual std::vector<RunningMonitor> runningMonitorApps() = 0;
    // False when the request could not be delivered.
    virtual bool terminate(pid_t pid) = 0;
    virtual void forceTerminate(pid_t pid) = 0;
    virtual bool isTerminated(pid_t pid) = 0;

    // The identity written into a Monitor executable; none when the file has none.
    virtual std::optional<MonitorBundleInfo> bundleInfo(const std::filesystem::path& executable) = 0;
    virtual std::optional<std::chrono::system_clock::time_point> modificationDate(const std::filesystem::path& file) = 0;
    // The path made absolute, with symbolic links resolved where they exist.
    virtual std::filesystem::path resolved(const std::filesystem::path& path) = 0;
    virtual bool exists(const std::filesystem::path& file) = 0;
    // An installed Monitor found on the search path.
    virtual std::optional<std::filesystem::path> installedMonitor() = 0;
    // Starts the program detached from this process; throws std::system_error on failure.
    virtual void launch(const std::filesystem::path& executable) = 0;
};

} // namespace tarnel::ui
