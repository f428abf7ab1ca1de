// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#pragma once

#include "support/files.hpp"
#include "zel_client.h"

#include <chrono>
#include <cstdio>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

// A client whose command is the stand-in tool, with the board's lock and the
// settings files under a directory of its own.
namespace zel::test {

struct OutcomeDeleter {
    void operator()(zel_outcome* outcome) const { zel_outcome_free(outcome); }
};
using Outcome = std::unique_ptr<zel_outcome, OutcomeDeleter>;

struct Group {
    int id;
    std::vector<int> args;
};

inline std::unique_ptr<zel_batch, void (*)(zel_batch*)> makeBatch(std::initializer_list<Group> groups)
{
    std::unique_ptr<zel_batch, void (*)(zel_batch*)> batch(zel_batch_new(), zel_batch_free);
    for (const Group& group : groups) {
        EXPECT_EQ(zel_batch_add(batch.get(), group.id, group.args.data(), group.args.size()), 0) << group.id;
    }
    return batch;
}

inline std::string outStream(const zel_outcome* outcome) { return zel_outcome_stdout(outcome, nullptr); }
inline std::string errStream(const zel_outcome* outcome) { return zel_outcome_stderr(outcome, nullptr); }

inline double secondsSince(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

class StandIn {
public:
    // `play`: the stand-in's DIR/play; `lock`: whether the board's lock file is installed.
    explicit StandIn(const std::string& play = "", bool lock = true) : client_(zel_client_new(), zel_client_free)
    {
        writeFile(dir_.path + "/play", play);
        const char* argv[] = {ZEL_STAND_IN_PATH, dir_.path.c_str(), nullptr};
        EXPECT_EQ(zel_client_set_command(client_.get(), argv), 0);
        EXPECT_EQ(zel_client_set_root(client_.get(), dir_.path.c_str()), 0);
        for (const char* sub : {"/var", "/var/lib", "/var/lib/zel-exec", "/etc", "/etc/zel", "/etc/device"}) {
            ::mkdir((dir_.path + sub).c_str(), 0755);
        }
        if (lock) {
            writeFile(lockPath(), "", 0640);
        }
    }

    zel_client* client() const { return client_.get(); }
    std::string path(const std::string& name) const { return dir_.path + "/" + name; }
    std::string lockPath() const { return path("var/lib/zel-exec/lock"); }
    std::string shown(const std::string& name) const { return shownFile(path(name)); }

    Outcome run(std::initializer_list<Group> groups, unsigned timeoutMs = 5000) const
    {
        zel_outcome* outcome = nullptr;
        EXPECT_EQ(zel_client_run(client_.get(), makeBatch(groups).get(), timeoutMs, &outcome), 0);
        return Outcome(outcome);
    }

private:
    TempDirectory dir_;
    std::unique_ptr<zel_client, void (*)(zel_client*)> client_;
};

// Runs `body` in a forked child, whose changes (mounts, groups, closed
// descriptors) stay there, and returns what it returned: -1000 when it said nothing.
template <typename Body> int inChild(Body body)
{
    int fds[2];
    if (::pipe(fds) != 0) {
        return -1000;
    }
    const pid_t pid = ::fork();
    if (pid == 0) {
        const int result = body();
        ::_exit(::write(fds[1], &result, sizeof result) == sizeof result ? 0 : 1);
    }
    ::close(fds[1]);
    int result = -1000;
    if (::read(fds[0], &result, sizeof result) != sizeof result) {
        result = -1000;
    }
    ::close(fds[0]);
    ::waitpid(pid, nullptr, 0);
    return result;
}

// Holds flock `operation` on `path` until it goes.
class HeldLock {
public:
    HeldLock(const std::string& path, int operation) : fd_(::open(path.c_str(), O_RDONLY | O_CLOEXEC))
    {
        EXPECT_EQ(::flock(fd_, operation), 0) << path;
    }
    ~HeldLock() { ::close(fd_); }

private:
    int fd_;
};

// The descriptors that a program the front-end starts gets: its own, and what
// the front-end left open without close-on-exec.
inline std::string descriptorsOfAProgram()
{
    std::string seen;
    FILE* program = ::popen("ls /proc/self/fd", "r");
    char line[64];
    while (program != nullptr && std::fgets(line, sizeof line, program) != nullptr) {
        seen += line;
    }
    if (program != nullptr) {
        ::pclose(program);
    }
    return seen;
}

} // namespace zel::test
