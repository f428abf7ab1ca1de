// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#include "app/descriptor_buffer.hpp"
#include "process/run_process.hpp"
#include "support/private_mounts.hpp"

#include <gtest/gtest.h>

#include <ostream>

#include <csignal>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zel {
namespace {

using test::Private;

// A buffer holds text until it is full, flushed or gone, and never lets a later write overtake an earlier
// one; one without space passes every insertion straight on.
TEST(DescriptorBuffer, HoldsTextUntilFullOrFlushedAndKeepsItsOrder)
{
    int fds[2];
    ASSERT_EQ(::pipe2(fds, O_NONBLOCK | O_CLOEXEC), 0);
    const auto arrived = [&fds](const char* want) { // what has reached the pipe since the last call
        char buffer[256];
        const ssize_t count = ::read(fds[0], buffer, sizeof buffer);
        EXPECT_EQ(std::string(buffer, count > 0 ? static_cast<std::size_t>(count) : 0), want);
    };
    {
        char space[4];
        DescriptorBuffer buffer(fds[1], space, sizeof space);
        std::ostream out(&buffer);
        out << "ab"
            << "cd";
        arrived("");
        out.put('e');
        arrived("abcd");
        out << "fghij"; // more than the buffer holds: what it held goes first
        arrived("efghij");
        out << "v"
            << "wxyz"; // exactly the buffer's size: held once "v" has gone
        arrived("v");
        out.flush();
        arrived("wxyz");
        out << "q";
        arrived("");
    }
    arrived("q");
    DescriptorBuffer unbuffered(fds[1], nullptr, 0);
    std::ostream err(&unbuffered);
    err.put('k');
    arrived("k");
    err << "line\n";
    arrived("line\n");
    DescriptorBuffer closed(-1, nullptr, 0); // a write error ends the write; taken for progress, it never would
    std::ostream(&closed) << "lost";
    ::close(fds[0]);
    ::close(fds[1]);
}

// What a program printed reaches standard output before the diagnostic that follows it, even when both streams
// of the whole tool share one pipe.
TEST_F(Private, WholeToolKeepsOutputBeforeTheDiagnosticThatFollowsIt)
{
    ASSERT_TRUE(test::installProgram("/usr/bin/pinctrl", "echo \"line $2\"; [ $2 = 7 ]"));
    const CommandResult result = runProcess("/bin/sh", {"-c", "exec " ZEL_EXEC_PATH " -c 502 2>&1"}, 5000);
    EXPECT_EQ(std::to_string(result.exitCode) + "|" + result.output,
              "74|line 7\nline 21\nzel_exec: command[1] id=502 execution: pinctrl exit=1\n");
}

// A stop signal ends the tool even while it writes to a full pipe that nobody reads: a root process must not
// stay behind waiting for a reader that is gone.
TEST(WholeTool, EndsByItsStopSignalWhileItsOutputWaitsForAReader)
{
    int fds[2];
    ASSERT_EQ(::pipe2(fds, O_CLOEXEC | O_NONBLOCK), 0);
    while (::write(fds[1], "full", 4) > 0) {
    }
    ASSERT_EQ(::fcntl(fds[1], F_SETFL, 0), 0);
    const pid_t tool = ::fork();
    if (tool == 0) {
        ::dup2(fds[1], 1);
        ::execl(ZEL_EXEC_PATH, ZEL_EXEC_PATH, "-h", static_cast<char*>(nullptr));
        ::_exit(127);
    }
    ::usleep(300000); // long enough to be blocked in its write; earlier, the stop decides before it
    ::kill(tool, SIGTERM);
    int status = 0;
    for (int waited = 0; waited < 200 && ::waitpid(tool, &status, WNOHANG) == 0; ++waited) {
        ::usleep(10000);
    }
    if (::kill(tool, SIGKILL) == 0) {
        ::waitpid(tool, &status, 0);
        ADD_FAILURE() << "still running 2 s after SIGTERM";
    }
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM) << "wait status " << status;
    ::close(fds[0]);
    ::close(fds[1]);
}

} // namespace
} // namespace zel
