// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#include "process/run_process.hpp"

#include "base/posix_io.hpp"
#include "base/unique_fd.hpp"

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
            ignoreResult(::close(fds[0]));
            ignoreResult(::close(fds[1]));
            errno = saved;
            return false;
        }
        ignoreResult(::close(fds[end]));
        fds[end] = moved;
    }
    return true;
}

// Both ends of one pipe, each closed when its owner goes. Where the order of
// the closes is part of the run, they are closed by hand.
struct Pipe {
    UniqueFd readEnd;
    UniqueFd writeEnd;
};

bool openPipe(Pipe& pipe, std::string& error)
{
    int fds[2];
    if (!createPipe(fds)) {
        error = std::string("pipe: ") + std::strerror(errno) + "\n";
        return false;
    }
    pipe.readEnd = UniqueFd(fds[0]);
    pipe.writeEnd = UniqueFd(fds[1]);
    return true;
}

// In the forked child before it executes the program: every disposition back
// to the default and nothing blocked, whatever the tool or its caller set.
void resetSignalsForProgram()
{
    struct sigaction fallback {};
    fallback.sa_handler = SIG_DFL;
    // SIGKILL, SIGSTOP and the C library's own signals refuse; they are default anyway.
    for (int signal = 1; signal < NSIG; ++signal) {
        ignoreResult(::sigaction(signal, &fallback, nullptr));
    }
    sigset_t none;
    ignoreResult(sigemptyset(&none));
    ignoreResult(::sigprocmask(SIG_SETMASK, &none, nullptr));
}

// Runs in the forked child: only async-signal-safe calls on data prepared
// before the fork, no allocation, no destructors.
[[noreturn]] void execChild(char* const argv[], char* const envp[], const Pipe& output, const Pipe& errors)
{
    ignoreResult(::setpgid(0, 0));
    // Nothing of the caller's state reaches the program: not its directory,
    // nor a signal it ignored or blocked, nor the tool's own handlers.
    resetSignalsForProgram();
    const int devNull = ::open("/dev/null", O_RDONLY);
    if (::chdir("/") != 0 || devNull < 0 || ::dup2(devNull, 0) < 0 || ::dup2(output.writeEnd.get(), 1) < 0 ||
        ::dup2(errors.writeEnd.get(), 2) < 0) {
        ::_exit(126);
    }
    if (devNull > 2) {
        ignoreResult(::close(devNull));
    }
    ignoreResult(::close(output.readEnd.get()));
    ignoreResult(::close(output.writeEnd.get()));
    ignoreResult(::close(errors.readEnd.get()));
    ignoreResult(::close(errors.writeEnd.get()));
    ignoreResult(::execve(argv[0], argv, envp));
    ignoreResult(::write(2, kExecFailure, sizeof kExecFailure - 1));
    ::_exit(127);
}

// A started child, leader of its own process group. Unless it has been
// reaped, its owner kills the group and reaps the child when it goes, so no
// way out of the runner, an exception included, leaves a program running.
class Child {
public:
    explicit Child(pid_t pid) : pid_(pid) {}
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    ~Child()
    {
        if (!reaped_) {
            kill();
            reap();
        }
    }

    bool reaped() const { return reaped_; }
    int waitStatus() const { return status_; }

    // Looks once, without waiting, whether the child has ended; false when
    // waitpid fails for another reason than a signal.
    bool look()
    {
        const pid_t waited = ::waitpid(pid_, &status_, WNOHANG);
        if (waited == pid_) {
            reaped_ = true;
        }
        return waited >= 0 || errno == EINTR;
    }

    void kill() const
    {
        ignoreResult(::kill(-pid_, SIGKILL));
        // Once reaped, the id may already name an unrelated process.
        if (!reaped_) {
            ignoreResult(::kill(pid_, SIGKILL));
        }
    }

    // Waits for the killed child; gives up on any failure but EINTR.
    void reap()
    {
        if (!reaped_) {
            while (::waitpid(pid_, &status_, 0) < 0 && errno == EINTR) {
            }
            reaped_ = true;
        }
    }

private:
    pid_t pid_;
    bool reaped_ = false;
    int status_ = 0;
};

class ChildCollector {
public:
    ChildCollector(Child& child, UniqueFd outRead, UniqueFd errRead, CommandResult& result)
        : child_(child), ends_{std::move(outRead), std::move(errRead)}, sinks_{&result.output, &result.error},
          result_(result)
    {
    }

    // Collects both streams until both reach end of file and the child is
    // reaped; returns false after giving up, with the reason in the result.
    bool collect(int timeoutMs)
    {
        using Clock = std::chrono::steady_clock;
        const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
        std::array<pollfd, 2> polls{{{ends_[0].get(), POLLIN, 0}, {ends_[1].get(), POLLIN, 0}}};
        for (;;) {
            if (deadline <= Clock::now()) {
                return giveUp("process timed out\n");
            }
            const int polled = ::poll(polls.data(), polls.size(), kPollPeriodMs);
            if (polled < 0 && errno != EINTR) {
                return giveUp("poll failed\n");
            }
            for (std::size_t entry = 0; polled >= 0 && entry < polls.size(); ++entry) {
                if (!readEntry(polls[entry], entry)) {
                    return false;
                }
            }
            // Also after a signal: signals arriving faster than the poll
            // period would otherwise keep a finished program from being
            // reaped until its deadline.
            if (!child_.reaped() && !child_.look()) {
                return giveUp("waitpid failed\n");
            }
            if (child_.reaped() && polls[0].fd < 0 && polls[1].fd < 0) {
                return true;
            }
        }
    }

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
                return giveUp("process output limit exceeded\n");
            }
            sinks_[entry]->append(chunk.data(), length);
        } else if (count == 0) {
            ends_[entry].reset();
            poll.fd = -1;
        } else if (errno != EINTR) {
            return giveUp("read process output failed\n");
        }
        return true;
    }

    // Kills the child with its whole group, so that a descendant holding the
    // pipes goes too, and reaps it.
    bool giveUp(const char* reason)
    {
        result_.error += reason;
        child_.kill();
        for (UniqueFd& end : ends_) {
            end.reset();
        }
        child_.reap();
        return false;
    }

    Child& child_;
    std::array<UniqueFd, 2> ends_;
    std::array<std::string*, 2> sinks_;
    CommandResult& result_;
};

// The argument array, ending in a null entry; false for a call no caller may make.
bool prepareArguments(const std::string& program, const std::vector<std::string>& args, int timeoutMs,
                      std::vector<char*>& argv, std::string& error)
{
    if (program.empty() || program.front() != '/' || program.find('\0') != std::string::npos || timeoutMs <= 0) {
        error = "invalid process invocation\n";
        return false;
    }
    argv.reserve(args.size() + 2);
    argv.push_back(const_cast<char*>(program.c_str()));
    for (const std::string& arg : args) {
        if (arg.find('\0') != std::string::npos) {
            error = "NUL in process argument\n";
            return false;
        }
        argv.push_back(const_cast<char*>(arg.c_str()));
    }
    argv.push_back(nullptr);
    return true;
}

// Forks the child, which executes the program; returns its id, or -1 with
// the reason in `error`. The parent keeps only the pipes' read ends.
pid_t spawn(char* const argv[], char* const envp[], Pipe& output, Pipe& errors, std::string& error)
{
    const pid_t pid = ::fork();
    if (pid == 0) {
        execChild(argv, envp, output, errors);
    }
    const int forkErrno = errno;
    output.writeEnd.reset();
    errors.writeEnd.reset();
    if (pid < 0) {
        output.readEnd.reset();
        errors.readEnd.reset();
        error = std::string("fork: ") + std::strerror(forkErrno) + "\n";
        return -1;
    }
    // Set the group from both sides so that a kill never races the child's own setpgid.
    ignoreResult(::setpgid(pid, pid));
    return pid;
}

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
    std::vector<char*> argv;
    if (!prepareArguments(program, args, timeoutMs, argv, result.error)) {
        return result;
    }
    char path[] = "PATH=/usr/sbin:/usr/bin:/sbin:/bin";
    char locale[] = "LC_ALL=C";
    const std::array<char*, 3> envp{path, locale, nullptr};

    Pipe output;
    Pipe errors;
    if (!openPipe(output, result.error)) {
        return result;
    }
    if (!openPipe(errors, result.error)) {
        output.readEnd.reset();
        output.writeEnd.reset();
        return result;
    }
    const pid_t pid = spawn(argv.data(), envp.data(), output, errors, result.error);
    if (pid < 0) {
        return result;
    }
    Child child(pid);
    ChildCollector collector(child, std::move(output.readEnd), std::move(errors.readEnd), result);
    if (collector.collect(timeoutMs)) {
        decodeWaitStatus(child.waitStatus(), program, result);
    }
    return result;
}

} // namespace zel
