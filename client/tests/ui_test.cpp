// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#include "stand_in.hpp"

#include <poll.h>

#include <gtest/gtest.h>

namespace zel {
namespace {

using test::StandIn;

bool readableWithin(int fd, int ms)
{
    pollfd ready{fd, POLLIN, 0};
    return ::poll(&ready, 1, ms) == 1;
}

// An event loop polls the call's descriptor and never blocks; a program the
// front-end starts meanwhile inherits none of the call's; a cancel stops the
// call as its deadline would.
TEST(Call, ReportsThroughItsDescriptorAndStopsWhenCancelled)
{
    StandIn standIn("401 pulse 3000\n");
    const long descriptors = test::openDescriptorCount();
    const std::string inherited = test::descriptorsOfAProgram();
    zel_call* call = nullptr;
    ASSERT_EQ(zel_client_start(standIn.client(), test::makeBatch({{401, {3000}}, {201, {1}}}).get(), 10000, &call), 0);
    EXPECT_FALSE(readableWithin(zel_call_fd(call), 200));
    EXPECT_EQ(test::descriptorsOfAProgram(), inherited);
    for (int i = 0; i < 70000; ++i) { // more than a pipe holds: a UI's cancels never block it
        zel_call_cancel(call);
    }
    EXPECT_TRUE(readableWithin(zel_call_fd(call), 1000));
    zel_outcome* outcome = nullptr;
    ASSERT_EQ(zel_call_finish(call, &outcome), 0);
    const test::Outcome finished(outcome);
    EXPECT_EQ(zel_outcome_kind(outcome), ZEL_TIMED_OUT);
    EXPECT_EQ(zel_outcome_group(outcome), 1);
    EXPECT_EQ(standIn.shown("ran"), "401 on\n401 off\n");
    EXPECT_EQ(test::openDescriptorCount(), descriptors);
}

// A cancel reaches a call that waits for the board, or between two tries of a
// locked settings file: it ends at once, and runs nothing more.
TEST(Call, CancelEndsAWaitForALock)
{
    StandIn standIn("201 lock 1000\n");
    const test::HeldLock other(standIn.lockPath(), LOCK_EX);
    for (const char* lock : {"board", "settings file"}) {
        SCOPED_TRACE(lock);
        const bool board = std::string(lock) == "board";
        zel_call* call = nullptr;
        const auto batch = test::makeBatch({{101, {0}}, {201, {1}}});
        ASSERT_EQ(zel_client_start(standIn.client(), batch.get(), 10000, &call), 0);
        EXPECT_FALSE(readableWithin(zel_call_fd(call), 300));
        zel_call_cancel(call);
        EXPECT_TRUE(readableWithin(zel_call_fd(call), 200));
        zel_outcome* outcome = nullptr;
        ASSERT_EQ(zel_call_finish(call, &outcome), 0);
        const test::Outcome cancelled(outcome);
        EXPECT_EQ(zel_outcome_kind(cancelled.get()), ZEL_TIMED_OUT);
        // Waiting for the board, nothing started; between the tries of the
        // settings file, or in one, the group before it had run.
        EXPECT_EQ(zel_outcome_group(cancelled.get()), board ? 0 : 1);
        if (board) {
            EXPECT_EQ(zel_outcome_signal(cancelled.get()), 0) << "a tool started";
            EXPECT_EQ(zel_outcome_status(cancelled.get()), -1) << "a tool ended";
        }
        const std::string state = standIn.path("");
        const char* argv[] = {ZEL_STAND_IN_PATH, state.c_str(), nullptr};
        ASSERT_EQ(zel_client_set_command(standIn.client(), argv), 0);
        ASSERT_EQ(zel_client_set_root(standIn.client(), "/nonexistent"), 0);
    }
    const std::string calls = standIn.shown("calls");
    EXPECT_EQ(calls.substr(0, 12), "101 0|201 1\n");
    EXPECT_EQ(calls.find("101", 1), std::string::npos);
}

// A slider sends its positions one call at a time and the last one always
// lands; a button pressed during its own pulse is dropped, not queued.
TEST(Submitter, LatestValueWinsAndPulsesAreDropped)
{
    StandIn standIn("302 pulse 100\n402 pulse 300\n");
    zel_submitter* slider = nullptr;
    ASSERT_EQ(zel_submitter_new(standIn.client(), 302, ZEL_POLICY_LATEST, 5000, &slider), 0);
    const int first[] = {0, 0};
    ASSERT_EQ(zel_submitter_submit(slider, first, 2), 1);
    while (standIn.shown("ran") == "(none)") {
        ::usleep(1000);
    }
    for (int brightness = 5; brightness <= 255; brightness += 5) {
        const int args[] = {brightness * 1000, brightness};
        ASSERT_EQ(zel_submitter_submit(slider, args, 2), 1);
    }
    const int outside[] = {255001, 0};
    EXPECT_EQ(zel_submitter_submit(slider, outside, 2), -ERANGE);
    zel_outcome* outcome = nullptr;
    EXPECT_EQ(zel_submitter_wait(slider, &outcome), 0);
    EXPECT_EQ(zel_outcome_kind(test::Outcome(outcome).get()), ZEL_OK);
    const std::string calls = standIn.shown("calls");
    EXPECT_EQ(calls.substr(calls.rfind('\n', calls.size() - 2) + 1), "302 255000 255\n");
    EXPECT_LT(std::count(calls.begin(), calls.end(), '\n'), 10);
    const std::string sent = standIn.shown("ran");
    EXPECT_EQ(sent.substr(sent.size() - 8), "302 off\n"); // waited for the last call to end
    zel_submitter_free(slider);

    zel_submitter* button = nullptr;
    ASSERT_EQ(zel_submitter_new(standIn.client(), 402, ZEL_POLICY_DROP, 5000, &button), 0);
    const int pulse = 300;
    EXPECT_EQ(zel_submitter_submit(button, &pulse, 1), 1);
    EXPECT_EQ(zel_submitter_submit(button, &pulse, 1), 0);
    zel_submitter_free(button);
    const std::string ran = standIn.shown("ran");
    EXPECT_EQ(ran.substr(ran.find("402")), "402 on\n402 off\n");
}

} // namespace
} // namespace zel
