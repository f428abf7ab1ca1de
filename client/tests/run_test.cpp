// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#include "stand_in.hpp"

#include <csignal>

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

TEST(Run, SaysWhySudoRefused)
{
    StandIn standIn("101 exit 1 sudo: a password is required\\n");
    const test::Outcome outcome = standIn.run({{101, {0}}});
    // This process is not in the group zel unless the machine put it there.
    EXPECT_NE(zel_outcome_reason(outcome.get()), ZEL_REASON_NONE);
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

TEST(Run, RetriesOnlyTheLocksOwnRefusalAndEndsBusyAtTheDeadline)
{
    StandIn locked("202 lock 1000\n");
    const auto start = std::chrono::steady_clock::now();
    const test::Outcome busy = locked.run({{101, {0}}, {202, {3}}}, 300);
    EXPECT_LT(test::secondsSince(start), 0.45);
    EXPECT_EQ(zel_outcome_kind(busy.get()), ZEL_BUSY);
    EXPECT_EQ(zel_outcome_group(busy.get()), 2);
    EXPECT_EQ(zel_outcome_command(busy.get()), 202);
    EXPECT_EQ(zel_outcome_status(busy.get()), 74);
    EXPECT_EQ(locked.shown("ran"), "101 0\n");

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
    EXPECT_LT(test::secondsSince(start), 1.0);
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
    const auto start = std::chrono::steady_clock::now();
    const test::Outcome outcome = standIn.run({{104, {0}}}, 200);
    const double seconds = test::secondsSince(start);
    EXPECT_GT(seconds, 0.2 + 0.8 + 0.4); // the deadline, 104's two exports and the margin
    EXPECT_LT(seconds, 2.0);
    EXPECT_EQ(zel_outcome_kind(outcome.get()), ZEL_TIMED_OUT);
    EXPECT_EQ(zel_outcome_signal(outcome.get()), SIGKILL);
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
