#pragma once

#include "Platform/Processes/ProcessTable.h"
#include "TarnelUI/Export/MonitorPlatform.h"

namespace tarnel {

// Monitor processes found through /proc, signalled with kill(2), started detached.
class LinuxMonitorApps final : public ui::MonitorAppsPlatform {
public:
    static constexpr const char* executableName = "tarnel-monitor";

    explicit LinuxMonitorApps(platform::ProcessTable table = platform::ProcessTable());

    std::vector<ui::RunningMonitor> runningMonitorApps() override;
    bool terminate(pid_t pid) override;
    void forceTerminate(pid_t pid) override;
    bool isTerminated(pid_t pid) override;
    std::optional<ui::MonitorBundleInfo> bundleInfo(const std::filesystem::path& executable) override;
    std::optional<std::chrono::system_clock::time_point> modificationDate(const std::filesystem::path& file) override;
    std::filesystem::path resolved(const std::filesystem::path& path) override;
    bool exists(const std::filesystem::path& file) override;
    std::optional<std::filesystem::path> installedMonitor() override;
    void launch(const std::filesystem::path& executable) override;

    // TARNEL_MONITOR_PATH, else tarnel-monitor beside the running executable.
    static std::filesystem::path expectedExecutable();

private:
    platform::ProcessTable table_;
};

} // namespace tarnel
