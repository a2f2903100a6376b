#include "Privileged/CommandRunner.h"

#include <cerrno>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace tarnel::daemon {

CommandResult CommandRunner::run(const std::vector<std::string>& command)
{
    CommandResult result;
    if (command.empty())
        return result;
    int pipeFds[2];
    if (::pipe2(pipeFds, O_CLOEXEC) != 0)
        return result;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipeFds[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, pipeFds[1], STDERR_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    std::vector<std::string> copy = command;
    std::vector<char*> argv;
    for (auto& a : copy)
        argv.push_back(a.data());
    argv.push_back(nullptr);
    pid_t pid = -1;
    const int spawned = ::posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(pipeFds[1]);
    if (spawned != 0) {
        ::close(pipeFds[0]);
        return result;
    }
    char buffer[4096];
    for (;;) {
        auto n = ::read(pipeFds[0], buffer, sizeof buffer);
        if (n > 0) {
            if (result.output.size() < 1024 * 1024)
                result.output.append(buffer, static_cast<std::size_t>(n));
        } else if (n == 0 || errno != EINTR) {
            break;
        }
    }
    ::close(pipeFds[0]);
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    result.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return result;
}

} // namespace tarnel::daemon
