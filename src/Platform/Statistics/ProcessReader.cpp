#include "Platform/Statistics/ProcessReader.h"

#include "Platform/Statistics/ApplicationPathResolver.h"
#include "Platform/Statistics/TextParsing.h"

#include <fmt/format.h>

#include <algorithm>
#include <unistd.h>

namespace tarnel::platform {

namespace {

constexpr std::uint64_t kernelThreadFlag = 0x00200000; // PF_KTHREAD
constexpr size_t commandNameLimit = 15;

std::optional<pid_t> parsePid(std::string_view text)
{
    auto value = text::parseUnsigned(text);
    if (!value || *value == 0 || *value > 0x3fffffff)
        return std::nullopt;
    return static_cast<pid_t>(*value);
}

std::string baseName(std::string_view path)
{
    auto slash = path.rfind('/');
    return std::string(slash == std::string_view::npos ? path : path.substr(slash + 1));
}

} // namespace

std::string ProcessSample::identifier() const
{
    return fmt::format("{}-{}", pid, startTicks);
}

ProcessReader::ProcessReader(SystemRoot root, std::uint64_t pageSize) : root_(std::move(root)), pageSize_(pageSize) {}

std::uint64_t ProcessReader::systemPageSize()
{
    long size = ::sysconf(_SC_PAGESIZE);
    return size > 0 ? static_cast<std::uint64_t>(size) : 4096;
}

std::uint64_t ProcessReader::clockTicksPerSecond()
{
    long ticks = ::sysconf(_SC_CLK_TCK);
    return ticks > 0 ? static_cast<std::uint64_t>(ticks) : 100;
}

std::vector<ProcessSample> ProcessReader::readAll() const
{
    std::vector<ProcessSample> processes;
    for (const auto& entry : SystemRoot::listDirectory(root_.resolve("/proc"))) {
        if (auto pid = parsePid(entry)) {
            if (auto sample = read(*pid))
                processes.push_back(std::move(*sample));
        }
    }
    std::sort(processes.begin(), processes.end(),
        [](const ProcessSample& a, const ProcessSample& b) { return a.pid < b.pid; });
    return processes;
}

std::optional<ProcessSample> ProcessReader::read(pid_t pid) const
{
    auto directory = root_.resolve(fmt::format("/proc/{}", pid));
    auto stat = SystemRoot::readText(directory / "stat");
    if (!stat)
        return std::nullopt;
    auto statm = SystemRoot::readText(directory / "statm");
    if (!statm)
        return std::nullopt;
    return parse(*stat, *statm, pageSize_);
}

std::optional<ProcessSample> ProcessReader::parse(std::string_view stat, std::string_view statm, std::uint64_t pageSize)
{
    // "pid (comm) state ppid ..."; the command name may hold spaces and parentheses, so it ends at the last ')'.
    auto open = stat.find('(');
    auto close = stat.rfind(')');
    if (open == std::string_view::npos || close == std::string_view::npos || close < open)
        return std::nullopt;
    auto pid = parsePid(stat.substr(0, open));
    auto rest = text::fields(stat.substr(close + 1));
    // Fields from the state on: state(0) ppid(1) ... flags(6) ... utime(11) stime(12) ... starttime(19).
    if (!pid || rest.size() < 20 || rest[0].size() != 1)
        return std::nullopt;
    auto parent = text::parseSigned(rest[1]);
    auto flags = text::parseUnsigned(rest[6]);
    auto user = text::parseUnsigned(rest[11]);
    auto system = text::parseUnsigned(rest[12]);
    auto start = text::parseUnsigned(rest[19]);
    auto pages = text::fields(statm);
    if (!parent || !flags || !user || !system || !start || pages.size() < 3)
        return std::nullopt;
    auto resident = text::parseUnsigned(pages[1]);
    auto shared = text::parseUnsigned(pages[2]);
    if (!resident || !shared)
        return std::nullopt;

    ProcessSample sample;
    sample.pid = *pid;
    sample.parentPid = static_cast<pid_t>(*parent);
    sample.name = std::string(stat.substr(open + 1, close - open - 1));
    sample.state = rest[0][0];
    sample.isKernelThread = (*flags & kernelThreadFlag) != 0;
    sample.cpuTicks = *user + *system;
    sample.startTicks = *start;
    sample.residentBytes = *resident * pageSize;
    sample.sharedBytes = *shared * pageSize;
    return sample;
}

ProcessDetails ProcessReader::details(const ProcessSample& process) const
{
    auto directory = root_.resolve(fmt::format("/proc/{}", process.pid));
    ProcessDetails details;
    details.displayName = process.name;
    if (process.isKernelThread)
        return details;
    if (auto target = SystemRoot::readLink(directory / "exe")) {
        // An executable replaced on disk since the process started (an upgrade) keeps its old path.
        constexpr std::string_view deleted = " (deleted)";
        if (target->ends_with(deleted))
            target->resize(target->size() - deleted.size());
        details.executablePath = std::move(*target);
    }
    if (auto commandLine = SystemRoot::readText(directory / "cmdline")) {
        size_t start = 0;
        while (start < commandLine->size()) {
            auto end = commandLine->find('\0', start);
            if (end == std::string::npos)
                end = commandLine->size();
            details.commandLine.push_back(commandLine->substr(start, end - start));
            start = end + 1;
        }
    }
    if (details.executablePath && process.name.size() >= commandNameLimit) {
        auto full = baseName(*details.executablePath);
        if (full.starts_with(process.name))
            details.displayName = full;
    }
    if (details.executablePath)
        details.applicationPath = ApplicationPathResolver(root_).resolve(process.pid, *details.executablePath);
    return details;
}

} // namespace tarnel::platform
