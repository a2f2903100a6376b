#include "App/Monitor/LinuxMonitorApps.h"

#include "TarnelUI/Export/MonitorBundleMarker.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <sys/stat.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace tarnel {

LinuxMonitorApps::LinuxMonitorApps(platform::ProcessTable table) : table_(std::move(table)) {}

std::vector<ui::RunningMonitor> LinuxMonitorApps::runningMonitorApps()
{
    std::vector<ui::RunningMonitor> apps;
    for (auto& entry : table_.processesNamed(executableName))
        apps.push_back({entry.pid, entry.executable, entry.launchPath, entry.codePath, entry.startTime});
    return apps;
}

bool LinuxMonitorApps::terminate(pid_t pid) { return ::kill(pid, SIGTERM) == 0; }

void LinuxMonitorApps::forceTerminate(pid_t pid) { ::kill(pid, SIGKILL); }

bool LinuxMonitorApps::isTerminated(pid_t pid) { return !table_.isAlive(pid); }

std::optional<ui::MonitorBundleInfo> LinuxMonitorApps::bundleInfo(const std::filesystem::path& executable)
{
    std::ifstream stream(executable, std::ios::binary);
    if (!stream)
        return std::nullopt;
    const std::string contents(std::istreambuf_iterator<char>(stream), {});
    return ui::parseMonitorBundleInfo(contents);
}

std::optional<std::chrono::system_clock::time_point> LinuxMonitorApps::modificationDate(const std::filesystem::path& file)
{
    struct stat info {};
    if (::stat(file.c_str(), &info) != 0)
        return std::nullopt;
    return std::chrono::system_clock::time_point(std::chrono::seconds(info.st_mtim.tv_sec) +
                                                 std::chrono::duration_cast<std::chrono::system_clock::duration>(
                                                     std::chrono::nanoseconds(info.st_mtim.tv_nsec)));
}

std::filesystem::path LinuxMonitorApps::resolved(const std::filesystem::path& path)
{
    std::error_code error;
    // Normalised first, so a ".." through a folder that does not exist still reaches the link.
    const auto normal = std::filesystem::absolute(path, error).lexically_normal();
    auto canonical = std::filesystem::weakly_canonical(normal, error);
    return error ? normal : canonical;
}

bool LinuxMonitorApps::exists(const std::filesystem::path& file)
{
    return ::access(file.c_str(), X_OK) == 0;
}

std::optional<std::filesystem::path> LinuxMonitorApps::installedMonitor()
{
    const char* search = std::getenv("PATH");
    std::string_view paths = search ? search : "/usr/local/bin:/usr/bin";
    while (!paths.empty()) {
        auto end = paths.find(':');
        auto folder = paths.substr(0, end);
        if (!folder.empty() && exists(std::filesystem::path(folder) / executableName))
            return std::filesystem::path(folder) / executableName;
        paths = end == std::string_view::npos ? std::string_view() : paths.substr(end + 1);
    }
    return std::nullopt;
}

void LinuxMonitorApps::launch(const std::filesystem::path& executable)
{
    // The grandchild reports a failed exec through the pipe; a successful exec closes it.
    int report[2];
    if (::pipe2(report, O_CLOEXEC) != 0)
        throw std::system_error(errno, std::generic_category(), "Unable to launch " + executable.string());
    const std::string path = executable.string();
    const pid_t middle = ::fork();
    if (middle < 0) {
        const int error = errno;
        ::close(report[0]);
        ::close(report[1]);
        throw std::system_error(error, std::generic_category(), "Unable to launch " + path);
    }
    if (middle == 0) {
        ::setsid();
        const pid_t child = ::fork();
        if (child == 0) {
            char* const argv[] = {const_cast<char*>(path.c_str()), nullptr};
            ::execv(path.c_str(), argv);
            const int error = errno;
            [[maybe_unused]] auto written = ::write(report[1], &error, sizeof error);
            ::_exit(127);
        }
        ::_exit(child < 0 ? 1 : 0);
    }
    ::close(report[1]);
    int status = 0;
    while (::waitpid(middle, &status, 0) < 0 && errno == EINTR) {
    }
    int error = 0;
    ssize_t got;
    while ((got = ::read(report[0], &error, sizeof error)) < 0 && errno == EINTR) {
    }
    ::close(report[0]);
    if (got == static_cast<ssize_t>(sizeof error))
        throw std::system_error(error, std::generic_category(), "Unable to launch " + path);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
        throw std::system_error(ECHILD, std::generic_category(), "Unable to launch " + path);
}

std::filesystem::path LinuxMonitorApps::expectedExecutable()
{
    if (const char* configured = std::getenv("TARNEL_MONITOR_PATH"); configured && *configured)
        return configured;
    std::error_code error;
    auto self = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error)
        return std::filesystem::path("/usr/bin") / executableName;
    return self.parent_path() / executableName;
}

} // namespace tarnel
