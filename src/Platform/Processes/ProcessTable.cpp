#include "Platform/Processes/ProcessTable.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace tarnel::platform {

namespace {

constexpr std::string_view deletedSuffix = " (deleted)";

std::optional<std::string> readFile(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    if (!stream)
        return std::nullopt;
    return std::string(std::istreambuf_iterator<char>(stream), {});
}

std::optional<std::filesystem::path> readLink(const std::filesystem::path& link)
{
    std::error_code error;
    auto target = std::filesystem::read_symlink(link, error);
    if (error)
        return std::nullopt;
    auto text = target.string();
    if (text.ends_with(deletedSuffix))
        text.resize(text.size() - deletedSuffix.size());
    return std::filesystem::path(text);
}

// The fields after the command name, which may itself hold spaces and parentheses.
std::vector<std::string> statFields(const std::string& stat)
{
    std::vector<std::string> fields;
    auto close = stat.rfind(')');
    if (close == std::string::npos)
        return fields;
    std::istringstream rest(stat.substr(close + 1));
    for (std::string field; rest >> field;)
        fields.push_back(field);
    return fields;
}

} // namespace

ProcessTable::ProcessTable(std::filesystem::path procRoot) : root_(std::move(procRoot)) {}

std::optional<std::chrono::system_clock::time_point> ProcessTable::startTime(pid_t pid) const
{
    auto stat = readFile(root_ / std::to_string(pid) / "stat");
    auto system = readFile(root_ / "stat");
    if (!stat || !system)
        return std::nullopt;
    // starttime is field 22 of the line, the 20th after the command name; it counts clock ticks since boot.
    auto fields = statFields(*stat);
    if (fields.size() < 20)
        return std::nullopt;
    auto bootLine = system->find("\nbtime ");
    if (bootLine == std::string::npos)
        return std::nullopt;
    const auto bootSeconds = std::strtoll(system->c_str() + bootLine + 7, nullptr, 10);
    const auto ticks = std::strtoull(fields[19].c_str(), nullptr, 10);
    const auto ticksPerSecond = static_cast<double>(::sysconf(_SC_CLK_TCK));
    const auto sinceBoot = std::chrono::duration<double>(static_cast<double>(ticks) / ticksPerSecond);
    return std::chrono::system_clock::time_point(std::chrono::seconds(bootSeconds)) +
           std::chrono::duration_cast<std::chrono::system_clock::duration>(sinceBoot);
}

std::optional<ProcessEntry> ProcessTable::process(pid_t pid) const
{
    const auto directory = root_ / std::to_string(pid);
    auto start = startTime(pid);
    if (!start)
        return std::nullopt;
    ProcessEntry entry;
    entry.pid = pid;
    entry.startTime = *start;
    entry.executable = readLink(directory / "exe");
    if (auto commandLine = readFile(directory / "cmdline"); commandLine && !commandLine->empty()) {
        std::filesystem::path first(commandLine->c_str());
        if (first.string().find('/') != std::string::npos) {
            if (first.is_relative())
                if (auto cwd = readLink(directory / "cwd"))
                    first = *cwd / first;
            entry.launchPath = first.lexically_normal();
        }
    }
    if (std::ifstream maps(directory / "maps"); maps) {
        for (std::string line; std::getline(maps, line);) {
            std::istringstream fields(line);
            std::string range, permissions, offset, device, inode, file;
            fields >> range >> permissions >> offset >> device >> inode;
            std::getline(fields >> std::ws, file);
            if (permissions.size() > 2 && permissions[2] == 'x' && file.starts_with('/')) {
                if (file.ends_with(deletedSuffix))
                    file.resize(file.size() - deletedSuffix.size());
                entry.codePath = file;
                break;
            }
        }
    }
    return entry;
}

std::vector<ProcessEntry> ProcessTable::processesNamed(const std::string& executableName) const
{
    std::vector<ProcessEntry> found;
    std::error_code error;
    const auto uid = ::getuid();
    for (const auto& item : std::filesystem::directory_iterator(root_, error)) {
        const auto name = item.path().filename().string();
        if (name.empty() || name.find_first_not_of("0123456789") != std::string::npos)
            continue;
        struct stat info {};
        if (::stat(item.path().c_str(), &info) != 0 || info.st_uid != uid)
            continue;
        auto executable = readLink(item.path() / "exe");
        if (!executable || executable->filename() != executableName)
            continue;
        const auto pid = static_cast<pid_t>(std::strtol(name.c_str(), nullptr, 10));
        if (!isAlive(pid))
            continue;
        if (auto entry = process(pid))
            found.push_back(std::move(*entry));
    }
    return found;
}

bool ProcessTable::isAlive(pid_t pid) const
{
    auto stat = readFile(root_ / std::to_string(pid) / "stat");
    if (!stat)
        return false;
    auto fields = statFields(*stat);
    return !fields.empty() && fields[0] != "Z" && fields[0] != "X";
}

} // namespace tarnel::platform
