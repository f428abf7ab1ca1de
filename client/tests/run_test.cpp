// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#include "stand_in.hpp"

#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <grp.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace zel {
namespace {

using test::StandIn;

// How each way a call can end reaches the caller. Groups are numbered in the
// whole batch; the message is the diagnostic's first line.
TEST(Run, TellsEachOutcomeWithItsGroupCommandAndFirstLine)
{
    const struct {
        std::string play;
        zel_kind kind;
        int status, signal, group, command;
        std::string message;
    } cases[] = {
        {"", ZEL_OK, 0, 0, 2, 0, ""},
        {"201 fail", ZEL_FAILED, 74, 0, 2, 201, "zel_exec: command[2] id=201 execution: write: Invalid argument"},
        {"201 exit 74 zel_exec: command[2] id=201 execution: busy\\npinctrl exit=70\\n", ZEL_FAILED, 74, 0, 2, 201,
         "zel_exec: command[2] id=201 execution: busy"},
        {"201 exit 64 zel_exec: expected -c\\n", ZEL_USAGE, 64, 0, 0, 0, "zel_exec: expected -c"},
        {"201 exit 65 zel_exec: command[2] unknown id=201\\n", ZEL_UNKNOWN_COMMAND, 65, 0, 2, 201,
         "zel_exec: command[2] unknown id=201"},
        {"201 exit 66 zel_exec: command[2] id=201 validation: x\\n", ZEL_BAD_PARAMETER, 66, 0, 2, 201,
         "zel_exec: command[2] id=201 validation: x"},
        {"201 exit 67 zel_exec: root permission required\\n", ZEL_NOT_ROOT, 67, 0, 0, 0,
         "zel_exec: root permission required"},
        {"201 exit 70 zel_exec: internal error: x\\n", ZEL_INTERNAL, 70, 0, 0, 0, "zel_exec: internal error: x"},
        {"201 exit 3 what\\n", ZEL_INTERNAL, 3, 0, 0, 0, ""},
        {"201 exit 1 sudo: a password is required\\n", ZEL_NOT_AUTHORIZED, 1, 0, 0, 0, "sudo: a password is required"},
        {"201 exit 1 sudo: /usr/bin/zel_exec: command not found\\n", ZEL_TOOL_MISSING, 1, 0, 0, 0,
         "sudo: /usr/bin/zel_exec: command not found"},
        {"201 exit 1 no sudo here\\n", ZEL_INTERNAL, 1, 0, 0, 0, ""},
        {"201 die 9", ZEL_KILLED, -1, 9, 0, 0, ""},
        {"201 exit 74 zel_exec: command[19] id=201 execution: x\\n", ZEL_FAILED, 74, 0, 0, 201,
         "zel_exec: command[19] id=201 execution: x"},
        {"201 die 15 zel_exec: command[2] id=201 execution: x\\n", ZEL_KILLED, -1, 15, 2, 201,
         "zel_exec: command[2] id=201 execution: x"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.play);
        StandIn standIn(c.play);
        const test::Outcome outcome = standIn.run({{101, {0}}, {201, {1}}});
        EXPECT_EQ(zel_outcome_kind(outcome.get()), c.kind);
        EXPECT_EQ(zel_outcome_status(outcome.get()), c.status);
        EXPECT_EQ(zel_outcome_signal(outcome.get()), c.signal);
        EXPECT_EQ(zel_outcome_group(outcome.get()), c.group);
        EXPECT_EQ(zel_outcome_command(outcome.get()), c.command);
        EXPECT_EQ(zel_outcome_message(outcome.get()), c.message);
        EXPECT_TRUE(zel_outcome_serialised(outcome.get()));
    }
}

// sudo refuses a user outside the group zel, a member whose process started
// before it joined, and a member that no rule lets through alike: the outcome
// tells them apart by the group database and this process's groups. Each row
// runs in a child with a group and user database of its own.
TEST(Run, SaysWhySudoRefused)
{
    constexpr int kNoNamespace = -77;
    if (::geteuid() != 0 || test::inChild([] { return ::unshare(CLONE_NEWNS) == 0 ? 0 : kNoNamespace; }) != 0) {
        GTEST_SKIP() << "needs root and a private mount namespace, to give a child its own /etc/group";
    }
    const struct {
        std::string groupFile;
        gid_t primary;
        std::vector<gid_t> groups;
        gid_t effective;
        zel_reason reason;
    } cases[] = {
        {"", 0, {}, 0, ZEL_REASON_NOT_IN_GROUP},
        {"zel:x:990:\n", 0, {}, 0, ZEL_REASON_NOT_IN_GROUP},
        {"zel:x:990:daemon\n", 0, {}, 0, ZEL_REASON_NOT_IN_GROUP},
        {"zel:x:990:daemon,root\n", 0, {4}, 0, ZEL_REASON_MEMBERSHIP_NOT_EFFECTIVE},
        {"zel:x:990:\n", 990, {}, 0, ZEL_REASON_MEMBERSHIP_NOT_EFFECTIVE},
        {"zel:x:990:root\n", 0, {4, 990}, 0, ZEL_REASON_NO_RULE},
        {"zel:x:990:\n", 0, {}, 990, ZEL_REASON_NO_RULE},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.groupFile);
        StandIn standIn("101 exit 1 sudo: a password is required\\n");
        ASSERT_TRUE(test::writeFile(standIn.path("group"), "root:x:0:\n" + c.groupFile));
        ASSERT_TRUE(
            test::writeFile(standIn.path("passwd"), "root:x:0:" + std::to_string(c.primary) + ":root:/root:/bin/sh\n"));
        EXPECT_EQ(
            test::inChild([&] {
                return ::unshare(CLONE_NEWNS) == 0 &&
                               ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                               ::mount(standIn.path("group").c_str(), "/etc/group", nullptr, MS_BIND, nullptr) == 0 &&
                               ::mount(standIn.path("passwd").c_str(), "/etc/passwd", nullptr, MS_BIND, nullptr) == 0 &&
                               ::setgroups(c.groups.size(), c.groups.data()) == 0 && ::setegid(c.effective) == 0
                           ? static_cast<int>(zel_outcome_reason(standIn.run({{101, {0}}}).get()))
                           : -1;
            }),
            c.reason);
    }
    EXPECT_EQ(zel_outcome_reason(StandIn().run({{101, {0}}}).get()), ZEL_REASON_NONE);
}

TEST(Run, ToolMissingWhenTheCommandCannotStart)
{
    StandIn standIn;
    const char* argv[] = {"/nonexistent/sudo", nullptr};
    ASSERT_EQ(zel_client_set_command(standIn.client(), argv), 0);
    EXPECT_EQ(zel_outcome_kind(standIn.run({{101, {0}}}).get()), ZEL_TOOL_MISSING);
}

// A settings group refused for its file's lock ran nothing: only it and the
// groups after it run again, so the pulse before it is given once.
TEST(Run, ResumesALockRefusalAtItsGroupWithoutRepeatingWhatRan)
{
    StandIn standIn("201 lock 2\n402 pulse 20\n");
    const test::Outcome outcome = standIn.run({{402, {20}}, {201, {1}}, {202, {3}}});
    EXPECT_EQ(zel_outcome_kind(outcome.get()), ZEL_OK);
    EXPECT_EQ(zel_outcome_group(outcome.get()), 3);
    EXPECT_EQ(standIn.shown("calls"), "402 20|201 1|202 3\n201 1|202 3\n201 1|202 3\n");
    EXPECT_EQ(standIn.shown("ran"), "402 on\n402 off\n201 1\n202 3\n");
}

// Busy whether the deadline falls between two tries or stops one before the
// refused group ran again: the outcome is the last refusal, never a time-out.
TEST(Run, RetriesOnlyTheLocksOwnRefusalAndEndsBusyAtTheDeadline)
{
    const struct {
        const char* play;
        const char* refusal; // numbered in the try that was refused
    } cases[] = {
        {"202 lock 1000\n", "command[1]"},
        {"202 lock 1000 400\n", "command[2]"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.play);
        StandIn locked(c.play);
        const auto start = std::chrono::steady_clock::now();
        const test::Outcome busy = locked.run({{101, {0}}, {202, {3}}}, 300);
        EXPECT_LT(test::secondsSince(start), 1.5); // the deadline and a retry it stopped, not the next tries
        EXPECT_EQ(zel_outcome_kind(busy.get()), ZEL_BUSY);
        EXPECT_EQ(zel_outcome_group(busy.get()), 2);
        EXPECT_EQ(zel_outcome_command(busy.get()), 202);
        EXPECT_EQ(zel_outcome_status(busy.get()), 74);
        EXPECT_EQ(std::string(zel_outcome_message(busy.get())),
                  "zel_exec: " + std::string(c.refusal) +
                      " id=202 execution: lock/truncate fanLevel.config: Resource temporarily unavailable");
        EXPECT_EQ(locked.shown("ran"), "101 0\n");
    }

    // The same text for a command that saves nothing is a failure like any other.
    StandIn other("101 exit 74 zel_exec: command[1] id=101 execution: lock/truncate fanMode.config: "
                  "Resource temporarily unavailable\\n");
    EXPECT_EQ(zel_outcome_kind(other.run({{101, {0}}}).get()), ZEL_FAILED);
    EXPECT_EQ(other.shown("calls"), "101 0\n");
}

// At the deadline the running command completes and no later one runs: one
// SIGTERM, nothing more, and the outcome names the last group that ran.
TEST(Run, StopsAtTheDeadlineWithOneTerm)
{
    StandIn standIn("401 pulse 5000\n");
    const auto start = std::chrono::steady_clock::now();
    const test::Outcome outcome = standIn.run({{101, {0}}, {401, {5000}}, {201, {1}}}, 300);
    EXPECT_LT(test::secondsSince(start), 2.0); // not the 5 s pulse
    EXPECT_EQ(zel_outcome_kind(outcome.get()), ZEL_TIMED_OUT);
    EXPECT_EQ(zel_outcome_signal(outcome.get()), SIGTERM);
    EXPECT_EQ(zel_outcome_group(outcome.get()), 2);
    EXPECT_EQ(standIn.shown("signals"), "15\n");
    EXPECT_EQ(standIn.shown("ran"), "101 0\n401 on\n401 off\n");
}

// A command that outlasts its worst case after the SIGTERM gets SIGKILL, and a
// process still holding the streams is not waited for.
TEST(Run, KillsAfterTheWorstCaseAndNeverWaitsForTheStreams)
{
    StandIn standIn("104 hang\n");
    const long descriptors = test::openDescriptorCount();
    const auto start = std::chrono::steady_clock::now();
    const test::Outcome outcome = standIn.run({{104, {0}}}, 200);
    const double seconds = test::secondsSince(start);
    EXPECT_GT(seconds, 0.2 + 0.8 + 0.4); // the deadline, 104's two exports and the margin
    EXPECT_LT(seconds, 3.0);             // not the 10 s that the streams stay held
    EXPECT_EQ(zel_outcome_kind(outcome.get()), ZEL_TIMED_OUT);
    EXPECT_EQ(zel_outcome_signal(outcome.get()), SIGKILL);
    EXPECT_EQ(test::openDescriptorCount(), descriptors) << "the streams still held are closed all the same";
}

// What a daemon started with its standard streams closed gets, in a child of
// its own: a read and two calls, each giving back every descriptor it took.
bool readsAndCallsWithItsStreamsClosed(StandIn& standIn, const zel_batch* batch, bool serialised)
{
    const int writer = ::open(standIn.lockPath().c_str(), O_RDONLY | O_CLOEXEC);
    ::close(STDIN_FILENO);
    ::close(STDOUT_FILENO);
    ::close(STDERR_FILENO);
    const long descriptors = test::openDescriptorCount();
    int mode = -1;
    // The board's lock taken through descriptor 0 keeps a read out all the same.
    if (writer >= 0 && (::flock(writer, LOCK_EX) != 0 ||
                        zel_client_read_setting(standIn.client(), ZEL_SETTING_FAN_MODE, 100, &mode) != -ETIMEDOUT ||
                        ::flock(writer, LOCK_UN) != 0)) {
        return false;
    }
    zel_outcome* run = nullptr;
    zel_outcome* finished = nullptr;
    zel_call* call = nullptr;
    if (zel_client_read_setting(standIn.client(), ZEL_SETTING_FAN_MODE, 1000, &mode) != 1 || mode != 1 ||
        zel_client_run(standIn.client(), batch, 10000, &run) != 0 ||
        zel_client_start(standIn.client(), batch, 10000, &call) != 0 || zel_call_finish(call, &finished) != 0) {
        return false;
    }
    bool kept = test::openDescriptorCount() == descriptors;
    const test::Outcome outcomes[] = {test::Outcome(run), test::Outcome(finished)};
    for (const test::Outcome& outcome : outcomes) {
        kept = kept && zel_outcome_serialised(outcome.get()) == serialised &&
               test::outStream(outcome.get()) == "hi\n" &&
               std::string(zel_outcome_message(outcome.get())) ==
                   "zel_exec: command[2] id=201 execution: write: Invalid argument";
    }
    return kept;
}

// The call's own descriptors (the board's lock, its pipes, a settings file)
// then get the lowest numbers, 0 included; the command's streams must still
// be its pipes.
TEST(Run, KeepsTheCommandsStreamsWhenTheCallersAreClosed)
{
    StandIn standIn("101 print hi\\n\n201 fail\n");
    ASSERT_TRUE(test::writeFile(standIn.path("etc/zel/fanMode.config"), "1\n"));
    const auto batch = test::makeBatch({{101, {0}}, {201, {1}}});
    for (const bool serialised : {true, false}) {
        SCOPED_TRACE(serialised ? "with the board's lock" : "without it");
        if (!serialised) {
            ASSERT_EQ(::unlink(standIn.lockPath().c_str()), 0);
        }
        EXPECT_EQ(
            test::inChild([&] { return readsAndCallsWithItsStreamsClosed(standIn, batch.get(), serialised) ? 1 : 0; }),
            1);
    }
}

TEST(Run, StartsTheCommandAloneInASessionWithoutTheCallersState)
{
    StandIn standIn;
    sigset_t term, before;
    sigemptyset(&term);
    sigaddset(&term, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &term, &before);
    const auto previous = std::signal(SIGPIPE, SIG_IGN);
    const long descriptors = test::openDescriptorCount();
    standIn.run({{101, {0}}});
    EXPECT_EQ(test::openDescriptorCount(), descriptors);
    std::signal(SIGPIPE, previous);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    EXPECT_EQ(standIn.shown("start"), "session leader 1, terminal 0, LC_ALL C, TERM blocked 0, PIPE ignored 0, "
                                      "input /dev/null, descriptors 3\n");
}

// Every call holds the board's lock: a second caller waits, and gives up busy
// at its deadline without running anything; without the file, calls still run.
TEST(Run, OneCallAtATimePerBoard)
{
    StandIn standIn;
    {
        const test::HeldLock held(standIn.lockPath(), LOCK_SH);
        const test::Outcome busy = standIn.run({{101, {0}}}, 100);
        EXPECT_EQ(zel_outcome_kind(busy.get()), ZEL_BUSY);
        EXPECT_EQ(zel_outcome_group(busy.get()), 0);
    }
    EXPECT_EQ(standIn.shown("calls"), "(none)");
    StandIn unlocked("", false);
    const test::Outcome outcome = unlocked.run({{101, {0}}});
    EXPECT_EQ(zel_outcome_kind(outcome.get()), ZEL_OK);
    EXPECT_FALSE(zel_outcome_serialised(outcome.get()));
}

} // namespace
} // namespace zel
