// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#include "stand_in.hpp"

#include <cerrno>
#include <thread>

#include <gtest/gtest.h>

namespace zel {
namespace {

using test::StandIn;

// Only what the tool writes is a value: a missing or empty file (a first save
// refused by a reader's lock) and anything else are "unknown", never 0.
TEST(ReadSetting, ReadsOnlyWhatTheToolWrites)
{
    const struct {
        zel_setting setting;
        const char* file;
        std::string content;
        int result, value;
    } cases[] = {
        {ZEL_SETTING_FAN_MODE, "etc/zel/fanMode.config", "1\n", 1, 1},
        {ZEL_SETTING_FAN_MODE, "etc/zel/fanMode.config", "", 0, -1},
        {ZEL_SETTING_FAN_MODE, "etc/zel/fanMode.config", "2\n", 0, -1},
        {ZEL_SETTING_FAN_LEVEL, "etc/zel/fanLevel.config", "6\n", 1, 6},
        {ZEL_SETTING_FAN_LEVEL, "etc/zel/fanLevel.config", "06\n", 0, -1},
        {ZEL_SETTING_FAN_LEVEL, "etc/zel/fanLevel.config", "0\n", 1, 0},
        {ZEL_SETTING_FAN_LEVEL, "etc/zel/fanLevel.config", "3", 0, -1},
        {ZEL_SETTING_BLACK, "etc/device/black.config", "BRIGHTNESS=255\n", 1, 255},
        {ZEL_SETTING_BLACK, "etc/device/black.config", "BRIGHTNESS=256\n", 0, -1},
        {ZEL_SETTING_BLACK, "etc/device/black.config", "BRIGHTNESS=\n", 0, -1},
        {ZEL_SETTING_BLACK, "etc/device/black.config", "255\n", 0, -1},
        {ZEL_SETTING_BLACK, "etc/device/black.config", "BRIGHTNESS=2555\n", 0, -1},
        {ZEL_SETTING_BLACK, "etc/device/black.config", "BRIGHTNESS=2x\n", 0, -1},
        {ZEL_SETTING_FAN_LEVEL, "etc/zel/fanLevel.config", "16\n", 0, -1},
        {ZEL_SETTING_FAN_LEVEL, "etc/zel/fanLevel.config", "7\n", 0, -1},
        {ZEL_SETTING_BLACK, "etc/device/black.config", "BRIGHTNESX=255\n", 0, -1},
        {ZEL_SETTING_BLACK, "etc/device/black.config", "BRIGHTNESS=199\n", 1, 199},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.file) + ": " + c.content);
        StandIn standIn;
        ASSERT_TRUE(test::writeFile(standIn.path(c.file), c.content));
        int value = -1;
        EXPECT_EQ(zel_client_read_setting(standIn.client(), c.setting, 1000, &value), c.result);
        EXPECT_EQ(value, c.value);
    }
    int value = -1;
    EXPECT_EQ(zel_client_read_setting(StandIn().client(), ZEL_SETTING_BLACK, 1000, &value), 0);
    // Nobody but root writes these directories; still, a link is not followed
    // and a FIFO in a file's place does not hang the reader.
    StandIn odd;
    ASSERT_EQ(::symlink("/etc/hostname", odd.path("etc/zel/fanMode.config").c_str()), 0);
    EXPECT_EQ(zel_client_read_setting(odd.client(), ZEL_SETTING_FAN_MODE, 1000, &value), -ELOOP);
    ASSERT_EQ(::mkfifo(odd.path("etc/zel/fanLevel.config").c_str(), 0644), 0);
    EXPECT_EQ(zel_client_read_setting(odd.client(), ZEL_SETTING_FAN_LEVEL, 1000, &value), 0);
    EXPECT_EQ(value, -1);
}

// A rewrite by a caller that is no client holds the file's own lock; a call
// through the client holds the board's.
TEST(ReadSetting, WaitsForWritersUntilItsDeadline)
{
    StandIn standIn;
    const std::string file = standIn.path("etc/zel/fanMode.config");
    ASSERT_TRUE(test::writeFile(file, "1\n"));
    int value = -1;
    const std::string inherited = test::descriptorsOfAProgram();
    for (const std::string& locked : {file, standIn.lockPath()}) {
        SCOPED_TRACE(locked);
        const test::HeldLock writer(locked, LOCK_EX);
        const auto start = std::chrono::steady_clock::now();
        std::thread reading([&] {
            EXPECT_EQ(zel_client_read_setting(standIn.client(), ZEL_SETTING_FAN_MODE, 300, &value), -ETIMEDOUT);
        });
        // A program that the front-end starts meanwhile would hold the read's
        // shared lock for as long as it lives, and every save would fail.
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        EXPECT_EQ(test::descriptorsOfAProgram(), inherited);
        reading.join();
        EXPECT_GT(test::secondsSince(start), 0.29);
    }
    const test::HeldLock reader(standIn.lockPath(), LOCK_SH);
    EXPECT_EQ(zel_client_read_setting(standIn.client(), ZEL_SETTING_FAN_MODE, 100, &value), 1);
}

TEST(ReadPower, ReadsBothLinesFromThePinControlProgramsAnswer)
{
    const struct {
        std::string play;
        int result;
        bool first = false, second = false;
    } cases[] = {
        {"502 print 7: op dh | hi // GPIO7 = output\\n 21: ip pd | lo // GPIO21 = input\\n", 0, true, false},
        {"502 print 7: op dl | lo\\n21: op dh | hi\\n", 0, false, true},
        {"502 print 21: op dl | lo\\n7: op dh | hi\\n", -EPROTO},
        {"502 print 7: op dl | lo\\n", -EPROTO},
        {"502 print 7: op dl | lo\\n21: op dh | hi\\nmore\\n", -EPROTO},
        {"502 print 7 op dl | lo\\n21: op dh | hi\\n", -EPROTO},
        {"502 print 7: op dl lo\\n21: op dh hi\\n", -EPROTO},
        {"502 print 7: op dl\\n| lo\\n21: op dh | hi\\n", -EPROTO},
        {"502 print 7: op dl | xx\\n21: op dh | hi\\n", -EPROTO},
        {"502 print 1: op dl | lo\\n21: op dh | hi\\n", -EPROTO},
        {"502 print 7: op dl | lo\\n21: op dh | hi", -EPROTO},
        {"502 fail", -EIO},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.play);
        StandIn standIn(c.play);
        bool power[2] = {!c.first, !c.second};
        zel_outcome* outcome = nullptr;
        EXPECT_EQ(zel_client_read_power(standIn.client(), 5000, power, &outcome), c.result);
        test::Outcome owned(outcome);
        if (c.result == 0) {
            EXPECT_EQ(power[0], c.first);
            EXPECT_EQ(power[1], c.second);
        }
    }
}

} // namespace
} // namespace zel
