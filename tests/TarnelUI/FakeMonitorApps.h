#pragma once

#include "TarnelUI/Export/MonitorPlatform.h"

#include <map>
#include <set>
#include <stdexcept>
#include <system_error>

namespace tarnel::testing {

// The process table and launcher of a test: processes are records, launching adds one.
class FakeMonitorApps final : public ui::MonitorAppsPlatform {
public:
    using Time = std::chrono::system_clock::time_point;

    std::vector<ui::RunningMonitor> running;
    std::set<pid_t> terminated;
    std::map<std::filesystem::path, ui::MonitorBundleInfo> infos;
    std::map<std::filesystem::path, Time> modified;
    std::set<std::filesystem::path> existing;
    std::optional<std::filesystem::path> installed;
    std::vector<std::filesystem::path> launches;
    std::vector<pid_t> terminateCalls;
    std::vector<pid_t> forceCalls;
    bool terminateDelivers = true;
    bool exitsOnTerminate = true;
    bool launchFails = false;
    Time launchTime{std::chrono::seconds(1'800'000'000)};
    pid_t nextPid = 500;

    ui::RunningMonitor& add(pid_t pid, const std::filesystem::path& executable, Time launched)
    {
        running.push_back({pid, executable, executable, executable, launched});
        return running.back();
    }

    std::vector<ui::RunningMonitor> runningMonitorApps() override
    {
        std::vector<ui::RunningMonitor> alive;
        for (const auto& app : running)
            if (!terminated.contains(app.pid))
                alive.push_back(app);
        return alive;
    }
    bool terminate(pid_t pid) override
    {
        terminateCalls.push_back(pid);
        if (!terminateDelivers)
            return false;
        if (exitsOnTerminate)
            terminated.insert(pid);
        return true;
    }
    void forceTerminate(pid_t pid) override
    {
        forceCalls.push_back(pid);
        terminated.insert(pid);
    }
    bool isTerminated(pid_t pid) override { return terminated.contains(pid); }
    std::optional<ui::MonitorBundleInfo> bundleInfo(const std::filesystem::path& executable) override
    {
        auto found = infos.find(executable);
        return found == infos.end() ? std::nullopt : std::optional(found->second);
    }
    std::optional<Time> modificationDate(const std::filesystem::path& file) override
    {
        auto found = modified.find(file);
        return found == modified.end() ? std::nullopt : std::optional(found->second);
    }
    std::filesystem::path resolved(const std::filesystem::path& path) override { return path.lexically_normal(); }
    bool exists(const std::filesystem::path& file) override { return existing.contains(file); }
    std::optional<std::filesystem::path> installedMonitor() override { return installed; }
    void launch(const std::filesystem::path& executable) override
    {
        if (launchFails)
            throw std::system_error(std::make_error_code(std::errc::permission_denied), "Unable to launch " + executable.string());
        launches.push_back(executable);
        add(nextPid++, executable, launchTime);
    }
};

// The signals the application sent, in order.
class RecordingSignals final : public ui::MonitorSignals {
public:
    std::vector<ui::MonitorSignal> sent;
    bool fails = false;
    void post(ui::MonitorSignal signal) override
    {
        if (fails)
            throw std::runtime_error("no session bus");
        sent.push_back(signal);
    }
};

} // namespace tarnel::testing
