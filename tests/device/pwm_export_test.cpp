// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#include "support/files.hpp"
#include "support/recording_sysfs_io.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

namespace zel {
namespace {

namespace fs = std::filesystem;
using test::RecordingSysfsIo;

// Only the export write is played by the test, as the kernel would answer it; the waiting is the real thing:
// 40 tests 10 ms apart, the upper bounds only leave room for a busy machine.
TEST(PwmExport, ExportsOnlyWhenNeededAndWaitsABoundedTimeForTheChannel)
{
    static const test::TempDirectory chip;
    const std::string channel = chip.path + "/pwm1", exported = chip.path + "/export=1\n";
    const std::string timedOut = "PWM export timed out: " + channel;
    enum class Channel { There, ExportMakesIt, NeverComes, AFile }; // at the channel's path
    const struct {
        Channel channel;
        std::set<int> failing;
        bool ready;
        std::string error, writes;
    } cases[] = {
        {Channel::There, {}, true, "-", ""},
        {Channel::ExportMakesIt, {}, true, "-", exported},
        {Channel::ExportMakesIt, {1}, true, "", exported}, // someone else exported it first
        {Channel::NeverComes, {1}, false, "fail 1", exported},
        {Channel::NeverComes, {}, false, timedOut, exported},
        {Channel::AFile, {}, false, timedOut, exported}, // a file is no channel
    };
    for (const auto& c : cases) {
        SCOPED_TRACE("row " + std::to_string(&c - cases));
        fs::remove(channel);
        ASSERT_TRUE(c.channel == Channel::There ? fs::create_directory(channel)
                                                : c.channel != Channel::AFile || test::writeFile(channel, ""));
        RecordingSysfsIo io(c.failing);
        io.onWrite = c.channel == Channel::ExportMakesIt ? +[] { fs::create_directory(chip.path + "/pwm1"); } : nullptr;
        std::string error = "-";
        const auto start = std::chrono::steady_clock::now();
        const bool ready = io.ensurePwm(chip.path, 1, error);
        const auto waited = std::chrono::steady_clock::now() - start;
        EXPECT_EQ(ready, c.ready);
        EXPECT_EQ(error, c.error);
        EXPECT_EQ(io.writes, c.writes);
        EXPECT_GE(waited, std::chrono::milliseconds(c.error == timedOut ? 400 : 0));
        EXPECT_LT(waited, std::chrono::milliseconds(c.error == timedOut ? 2000 : 200));
    }
}

} // namespace
} // namespace zel
