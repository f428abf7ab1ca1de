// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#include "process/run_process.hpp"

#include "process/stop_signal.hpp"
#include "process/unique_fd.hpp"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zel {
namespace {

constexpr int kPollPeriodMs = 50;
constexpr std::size_t kReadChunk = 4096;
constexpr std::size_t kOutputLimit = 1048576;
constexpr char kExecFailure[] = "cannot execute fixed program\n";

// A pipe whose two ends are close-on-exec and numbered 3 or higher, so that
// the child's dup2 onto 0..2 can never overwrite one end with the other.
bool createPipe(int fds[2])
{
    if (::pipe2(fds, O_CLOEXEC) != 0) {
        return false;
    }
    for (int end = 0; end < 2; ++end) {
        if (fds[end] > 2) {
            continue;
        }
        const int moved = ::fcntl(fds[end], F_DUPFD_CLOEXEC, 3);
        if (moved < 0) {
            const int saved = errno;
            ::close(fds[0]);
            ::close(fds[1]);
            errno = saved;
            return false;
        }
        ::close(fds[end]);
        fds[end] = moved;
    }
    return true;
}

std::string pipeFailure(int savedErrno) { return std::string("pipe: ") + std::strerror(savedErrno) + "\n"; }

// Runs in the forked child: only async-signal-safe calls on data prepared
// before the fork, no allocation, no destructors.
[[noreturn]] void execChild(char* const argv[], char* const envp[], const int outPipe[2], const int errPipe[2])
{
    ::setpgid(0, 0);
    // Nothing of the caller's state reaches the program: not its directory,
    // nor a signal it ignored or blocked, nor the tool's own handlers.
    resetSignalsForProgram();
    const int devNull = ::open("/dev/null", O_RDONLY);
    if (::chdir("/") != 0 || devNull < 0 || ::dup2(devNull, 0) < 0 || ::dup2(outPipe[1], 1) < 0 ||
        ::dup2(errPipe[1], 2) < 0) {
        ::_exit(126);
    }
    if (devNull > 2) {
        ::close(devNull);
    }
    ::close(outPipe[0]);
    ::close(outPipe[1]);
    ::close(errPipe[0]);
    ::close(errPipe[1]);
    ::execve(argv[0], argv, envp);
    [[maybe_unused]] const ssize_t ignored = ::write(2, kExecFailure, sizeof kExecFailure - 1);
    ::_exit(127);
}

class ChildCollector {
public:
    ChildCollector(pid_t pid, int outRead, int errRead, CommandResult& result)
        : pid_(pid), ends_{UniqueFd(outRead), UniqueFd(errRead)}, sinks_{&result.output, &result.error}, result_(result)
    {
    }

    // Collects both streams until both reach end of file and the child is
    // reaped; returns false after an abort, with the reason in the result.
    bool collect(int timeoutMs)
    {
        using Clock = std::chrono::steady_clock;
        const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
        std::array<pollfd, 2> polls{{{ends_[0].get(), POLLIN, 0}, {ends_[1].get(), POLLIN, 0}}};
        for (;;) {
            if (deadline <= Clock::now()) {
                return abort("process timed out\n");
            }
            const int polled = ::poll(polls.data(), polls.size(), kPollPeriodMs);
            if (polled < 0 && errno != EINTR) {
                return abort("poll failed\n");
            }
            for (std::size_t entry = 0; polled >= 0 && entry < polls.size(); ++entry) {
                if (!readEntry(polls[entry], entry)) {
                    return false;
                }
            }
            // Also after a signal: signals arriving faster than the poll
            // period would otherwise keep a finished program from being
            // reaped until its deadline.
            if (!reaped_ && !pollChild()) {
                return false;
            }
            if (reaped_ && polls[0].fd < 0 && polls[1].fd < 0) {
                return true;
            }
        }
    }

    int waitStatus() const { return status_; }

private:
    bool readEntry(pollfd& poll, std::size_t entry)
    {
        if (poll.fd < 0 || (poll.revents & (POLLIN | POLLERR | POLLHUP)) == 0) {
            return true;
        }
        std::array<char, kReadChunk> chunk;
        const ssize_t count = ::read(poll.fd, chunk.data(), chunk.size());
        if (count > 0) {
            const auto length = static_cast<std::size_t>(count);
            if (result_.output.size() + result_.error.size() + length > kOutputLimit) {
                return abort("process output limit exceeded\n");
            }
            sinks_[entry]->append(chunk.data(), length);
        } else if (count == 0) {
            ends_[entry].reset();
            poll.fd = -1;
        } else if (errno != EINTR) {
            return abort("read process output failed\n");
        }
        return true;
    }

    bool pollChild()
    {
        const pid_t waited = ::waitpid(pid_, &status_, WNOHANG);
        if (waited == pid_) {
            reaped_ = true;
        } else if (waited < 0 && errno != EINTR) {
            return abort("waitpid failed\n");
        }
        return true;
    }

    bool abort(const char* reason)
    {
        result_.error += reason;
        ::kill(-pid_, SIGKILL);
        // Once reaped, the id may already name an unrelated process.
        if (!reaped_) {
            ::kill(pid_, SIGKILL);
        }
        for (UniqueFd& end : ends_) {
            end.reset();
        }
        if (!reaped_) {
            while (::waitpid(pid_, &status_, 0) < 0 && errno == EINTR) {
            }
        }
        return false;
    }

    pid_t pid_;
    std::array<UniqueFd, 2> ends_;
    std::array<std::string*, 2> sinks_;
    CommandResult& result_;
    bool reaped_ = false;
    int status_ = 0;
};

void decodeWaitStatus(int status, const std::string& program, CommandResult& result)
{
    if (WIFEXITED(status)) {
        result.exitCode = WEXITSTATUS(status);
        if (result.exitCode == 127) {
            result.error += "program: " + program + "\n";
        }
    } else if (WIFSIGNALED(status)) {
        result.exitCode = 128 + WTERMSIG(status);
    }
}

} // namespace

CommandResult runProcess(const std::string& program, const std::vector<std::string>& args, int timeoutMs)
{
    CommandResult result;
    if (program.empty() || program.front() != '/' || program.find('\0') != std::string::npos || timeoutMs <= 0) {
        result.error = "invalid process invocation\n";
        return result;
    }

    std::vector<char*> argv;
    argv.reserve(args.size() + 2);
    argv.push_back(const_cast<char*>(program.c_str()));
    for (const std::string& arg : args) {
        if (arg.find('\0') != std::string::npos) {
            result.error = "NUL in process argument\n";
            return result;
        }
        argv.push_back(const_cast<char*>(arg.c_str()));
    }
    argv.push_back(nullptr);

    char path[] = "PATH=/usr/sbin:/usr/bin:/sbin:/bin";
    char locale[] = "LC_ALL=C";
    std::array<char*, 3> envp{path, locale, nullptr};

    int outPipe[2];
    if (!createPipe(outPipe)) {
        result.error = pipeFailure(errno);
        return result;
    }
    int errPipe[2];
    if (!createPipe(errPipe)) {
        const int saved = errno;
        ::close(outPipe[0]);
        ::close(outPipe[1]);
        result.error = pipeFailure(saved);
        return result;
    }

    const pid_t pid = ::fork();
    if (pid == 0) {
        execChild(argv.data(), envp.data(), outPipe, errPipe);
    }
    const int forkErrno = errno;
    ::close(outPipe[1]);
    ::close(errPipe[1]);
    if (pid < 0) {
        ::close(outPipe[0]);
        ::close(errPipe[0]);
        result.error = std::string("fork: ") + std::strerror(forkErrno) + "\n";
        return result;
    }

    // Set the group from both sides so that a kill never races the child's own setpgid.
    ::setpgid(pid, pid);
    ChildCollector collector(pid, outPipe[0], errPipe[0], result);
    if (collector.collect(timeoutMs)) {
        decodeWaitStatus(collector.waitStatus(), program, result);
    }
    return result;
}

} // namespace zel
