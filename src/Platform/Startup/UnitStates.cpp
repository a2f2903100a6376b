#include "Platform/Startup/UnitStates.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace tarnel::platform {

namespace {

constexpr std::array knownWords{"enabled", "enabled-runtime", "linked",  "linked-runtime", "alias",
                                "masked",  "masked-runtime",  "static",  "indirect",       "disabled",
                                "generated", "transient",     "bad"};

std::vector<std::string> lines(const std::string& text)
{
    std::vector<std::string> out;
    std::size_t start = 0;
    while (start <= text.size()) {
        auto end = text.find('\n', start);
        if (end == std::string::npos)
            end = text.size();
        auto line = text.substr(start, end - start);
        while (!line.empty() && (line.back() == ' ' || line.back() == '\r'))
            line.pop_back();
        if (!line.empty())
            out.push_back(line);
        start = end + 1;
    }
    return out;
}

// Closes a descriptor when it goes out of scope.
struct Descriptor {
    int fd = -1;
    ~Descriptor()
    {
        if (fd >= 0)
            ::close(fd);
    }
    void reset()
    {
        if (fd >= 0)
            ::close(fd);
        fd = -1;
    }
};

} // namespace

std::optional<bool> UnitState::enabled() const
{
    if (word == "enabled" || word == "enabled-runtime" || word == "alias" || word == "generated" ||
        word == "static" || word == "transient")
        return true;
    if (word == "disabled" || word == "masked" || word == "masked-runtime" || word == "linked" ||
        word == "linked-runtime" || word == "indirect")
        return false;
    return std::nullopt;
}

ProgramResult runProgram(const std::vector<std::string>& command)
{
    ProgramResult result;
    if (command.empty())
        return result;
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0)
        return result;
    Descriptor readEnd{fds[0]};
    Descriptor writeEnd{fds[1]};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, writeEnd.fd, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, writeEnd.fd, STDERR_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    std::vector<std::string> copy = command;
    std::vector<char*> argv;
    for (auto& a : copy)
        argv.push_back(a.data());
    argv.push_back(nullptr);
    pid_t pid = -1;
    const int spawned = ::posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    writeEnd.reset();
    if (spawned != 0)
        return result;
    char buffer[4096];
    for (;;) {
        const auto n = ::read(readEnd.fd, buffer, sizeof buffer);
        if (n > 0) {
            if (result.output.size() < 1024 * 1024)
                result.output.append(buffer, static_cast<std::size_t>(n));
        } else if (n == 0 || errno != EINTR) {
            break;
        }
    }
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    result.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return result;
}

SystemctlUnitStates::SystemctlUnitStates(std::optional<std::filesystem::path> root, std::filesystem::path systemctl)
    : root_(std::move(root)), systemctl_(std::move(systemctl))
{
}

std::vector<std::string> SystemctlUnitStates::command(UnitScope scope, const std::string& unit) const
{
    std::vector<std::string> command{systemctl_.string()};
    if (root_)
        command.push_back("--root=" + root_->string());
    switch (scope) {
    case UnitScope::system:
        command.push_back("--system");
        break;
    case UnitScope::globalUser:
        // Without a root, the user's manager tells what it makes of the shared user units.
        command.push_back(root_ ? "--global" : "--user");
        break;
    case UnitScope::user:
        command.push_back("--user");
        break;
    }
    command.insert(command.end(), {"is-enabled", "--", unit});
    return command;
}

UnitState SystemctlUnitStates::parse(const ProgramResult& result)
{
    if (result.exitStatus < 0)
        return {{}, "systemctl could not be started"};
    const auto all = lines(result.output);
    // is-enabled exits 1 for a disabled unit too: its word, not its status, tells an error apart.
    for (const auto& line : all)
        for (const char* word : knownWords)
            if (line == word)
                return {line, {}};
    return {{}, all.empty() ? "systemctl gave no answer" : all.back()};
}

UnitState SystemctlUnitStates::state(UnitScope scope, const std::string& unit) const
{
    // systemctl cannot reach a user's own folder below a root: the file decides there.
    if (scope == UnitScope::user && root_)
        return {{}, "the user's manager is not reachable below a root folder"};
    return parse(runProgram(command(scope, unit)));
}

} // namespace tarnel::platform
