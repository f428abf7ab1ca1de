// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#include "support/private_mounts.hpp"
#include "support/recording_sysfs_io.hpp"

#include <gtest/gtest.h>

#include <chrono>

namespace zel {
namespace {

using test::Private;
using test::RecordingSysfsIo;

// A motor must never be left running: the switch-off follows even a failed switch-on, and only a good one is
// followed by the wait. 401 writes sysfs GPIO 131 (calls numbered in `failing` fail); 402 runs the pin-control
// program for line 10 with dh, then dl; 403 asks the line-lookup program where PQ.06 is before it opens that chip.
TEST_F(Private, MotorPulseSwitchesOffWhateverHappensAndReportsEveryFailureExactly)
{
    const std::string gpio = "/sys/class/gpio/gpio131/", runs = "set 10 op dh\nset 10 op dl\n";
    const std::string pulse = gpio + "direction=out\n" + gpio + "value=1\n" + gpio + "value=0\n";
    const struct {
        int id, ms;
        const char* answer; // the fake program's shell commands
        bool pulsed;
        std::string calls, out, err; // calls: the sysfs writes, then the program runs
        std::set<int> failing = {};
    } cases[] = {
        {401, 1000, "", true, pulse, "", "-"},
        {401, 0, "", false, gpio + "direction=out\n", "", "fail 1", {1}},
        {401, 0, "", false, pulse, "", "fail 2", {2}},
        {401, 60, "", false, pulse, "", "- reset: fail 3", {3}},
        {401, 0, "", false, pulse, "", "fail 2 reset: fail 3", {2, 3}},
        {501, 0, "", false, "", "", "unknown motor backend"}, // no backend: refused, never a silent success
        {402, 300, "echo $4", true, runs, "dh\ndl\n", "-"},   // longer than two runs take on a busy machine
        {402, 100, "[ $4 = dh ] || echo warn >&2", true, runs, "", "- reset: warn\n"},
        {402, 0, "echo $4; [ $4 = dl ] || { echo on >&2; exit 2; }", false, runs, "dh\ndl\n", "-on\npinctrl exit=2"},
        {402, 100, "[ $4 = dh ] || exit 1", false, runs, "", "- reset: pinctrl exit=1"},
        {403, 0, "echo 'no line' >&2; exit 1", false, "PQ.06\n", "", "gpiofind PQ.06 failed: no line\n"},
        {403, 0, "echo gpiochipA 1", false, "PQ.06\n", "", "invalid GPIO chip"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.id) + " for " + std::to_string(c.ms) + " ms answering " + c.answer);
        ASSERT_TRUE(test::installProgram(c.id == 403 ? "/usr/bin/gpiofind" : "/usr/bin/pinctrl", c.answer));
        RecordingSysfsIo io(c.failing);
        std::string output, error = "-";
        const auto start = std::chrono::steady_clock::now();
        const bool pulsed = io.motorPulse(static_cast<CommandId>(c.id), c.ms, output, error);
        const auto took = std::chrono::steady_clock::now() - start;
        EXPECT_EQ(pulsed, c.pulsed);
        EXPECT_EQ(io.writes + test::readFile("/mnt/log"), c.calls);
        EXPECT_EQ(output, c.out);
        EXPECT_EQ(error, c.err);
        EXPECT_TRUE(took >= std::chrono::milliseconds(c.ms) && took < std::chrono::milliseconds(c.ms + 500));
    }
}

} // namespace
} // namespace zel
