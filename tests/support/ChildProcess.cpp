#include "ChildProcess.h"

#include <fstream>
#include <sstream>

#include <csignal>
#include <stdexcept>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace tarnel::testing {

ChildProcess::ChildProcess(const std::filesystem::path& program, const std::vector<std::string>& arguments)
{
    std::vector<std::string> all{program.string()};
    all.insert(all.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (auto& a : all)
        argv.push_back(a.data());
    argv.push_back(nullptr);
    pid_ = ::fork();
    if (pid_ < 0)
        throw std::runtime_error("fork failed");
    if (pid_ == 0) {
        ::execv(argv[0], argv.data());
        ::_exit(127);
    }
}

ChildProcess::~ChildProcess()
{
    if (!reaped_ && pid_ > 0) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
}

void ChildProcess::signal(int number) const { ::kill(pid_, number); }

bool ChildProcess::isRunning()
{
    if (reaped_)
        return false;
    int status = 0;
    if (::waitpid(pid_, &status, WNOHANG) == pid_) {
        reaped_ = true;
        return false;
    }
    return true;
}

int ChildProcess::wait(std::chrono::milliseconds timeout)
{
    int status = 0;
    bool exited = waitUntil(
        [&] {
            if (reaped_)
                return true;
            if (::waitpid(pid_, &status, WNOHANG) == pid_)
                reaped_ = true;
            return reaped_;
        },
        timeout);
    if (!exited)
        return -1000;
    if (WIFEXITED(status))
        return WEXITSTATUS(status);
    if (WIFSIGNALED(status))
        return -WTERMSIG(status);
    return -1001;
}

bool waitUntil(const std::function<bool()>& ready, std::chrono::milliseconds timeout)
{
    const auto end = std::chrono::steady_clock::now() + timeout;
    while (!ready()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

std::vector<pid_t> zombieChildren()
{
    std::vector<pid_t> zombies;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/proc", error)) {
        std::ifstream stat(entry.path() / "stat");
        std::string line;
        if (!std::getline(stat, line))
            continue;
        // "pid (name) state ppid …": the name may hold spaces and parentheses.
        const auto close = line.rfind(')');
        if (close == std::string::npos)
            continue;
        std::istringstream rest(line.substr(close + 1));
        char state = 0;
        long parent = 0;
        rest >> state >> parent;
        if (state == 'Z' && parent == ::getpid())
            zombies.push_back(static_cast<pid_t>(std::stol(line)));
    }
    return zombies;
}

} // namespace tarnel::testing
