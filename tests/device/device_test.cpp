// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#include "device/gpio_line_location.hpp"
#include "device/linux_device_io.hpp"
#include "support/private_mounts.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <set>

namespace zel {
namespace {

namespace fs = std::filesystem;
using testing::Private;

// The real device object with its sysfs writes logged ("<path>=<value>\n") instead of made. The calls whose
// numbers (from 1) are in `failing` fail with "fail <number>"; `onWrite` plays the kernel.
struct RecordingSysfsIo : LinuxDeviceIo {
    explicit RecordingSysfsIo(const std::set<int>& failing) : failing(failing) {}
    bool writeSysfs(const std::string& path, const std::string& value, std::string& error) override
    {
        writes += path + "=" + value + "\n";
        if (onWrite != nullptr) {
            onWrite();
        }
        const bool fails = failing.count(++calls) != 0;
        error = fails ? "fail " + std::to_string(calls) : error;
        return !fails;
    }
    std::set<int> failing;
    std::string writes;
    void (*onWrite)() = nullptr;
    int calls = 0;
};

// What the kernel's nodes accept and refuse is proven on the simulated board; here, what never reaches one.
TEST(SysfsWriter, RefusesNodesOutsideSysfsOrReachedThroughALinkAndClosesWhatItOpened)
{
    const testing::TempDirectory dir;
    const std::string file = dir.path + "/duty_cycle", missing = dir.path + "/enable", link = dir.path + "/period";
    ASSERT_TRUE(testing::writeFile(file, "40000\n") && ::symlink("duty_cycle", link.c_str()) == 0);
    const std::pair<std::string, std::string> cases[] = {
        {file, "hardware node must reside in sysfs: " + file},
        {missing, "open " + missing + ": No such file or directory"},
        {link, "open " + link + ": Too many levels of symbolic links"},
    };
    for (const auto& [path, refusal] : cases) {
        SCOPED_TRACE(path);
        const long descriptors = testing::openDescriptorCount();
        std::string error = "-";
        EXPECT_FALSE(LinuxDeviceIo().writeSysfs(path, "0", error));
        EXPECT_EQ(error + "|" + testing::shownFile(file), refusal + "|40000\n");
        EXPECT_EQ(testing::openDescriptorCount(), descriptors);
    }
}

// Only the export write is played by the test, as the kernel would answer it; the waiting is the real thing:
// 40 tests 10 ms apart, the upper bounds only leave room for a busy machine.
TEST(PwmExport, ExportsOnlyWhenNeededAndWaitsABoundedTimeForTheChannel)
{
    static const testing::TempDirectory chip;
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
                                                : c.channel != Channel::AFile || testing::writeFile(channel, ""));
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
        ASSERT_TRUE(testing::installProgram(c.id == 403 ? "/usr/bin/gpiofind" : "/usr/bin/pinctrl", c.answer));
        RecordingSysfsIo io(c.failing);
        std::string output, error = "-";
        const auto start = std::chrono::steady_clock::now();
        const bool pulsed = io.motorPulse(static_cast<CommandId>(c.id), c.ms, output, error);
        const auto took = std::chrono::steady_clock::now() - start;
        EXPECT_EQ(pulsed, c.pulsed);
        EXPECT_EQ(io.writes + testing::readFile("/mnt/log"), c.calls);
        EXPECT_EQ(output, c.out);
        EXPECT_EQ(error, c.err);
        EXPECT_TRUE(took >= std::chrono::milliseconds(c.ms) && took < std::chrono::milliseconds(c.ms + 500));
    }
}

// The token and length tests come before the character tests, so a bad length wins over a bad character
// and the chip over the offset.
TEST(GpioLineLocation, ParsesOrRefusesEachLineLookupOutputAsTheTableSays)
{
    const std::pair<const char*, const char*> cases[] = {
        // output, then chip/offset or the error text
        {"\t gpiochip12345678   00042 \n", "gpiochip12345678/42"},
        {"gpiochip9 99999", "gpiochip9/99999"},
        {"gpiochip0\n", "invalid gpiofind output"},
        {"gpiochip0 12 PQ.06\n", "invalid gpiofind output"},
        {"GPIOCHIP0 1", "invalid gpiofind output"}, // long enough that only the prefix test refuses it
        {"gpiochip 1", "invalid gpiofind output"},
        {"gpiochip123456789 1", "invalid gpiofind output"},
        {"gpiochipA 123456", "invalid gpiofind output"},
        {"gpiochipA 1", "invalid GPIO chip"},
        {"gpiochip0/ 1", "invalid GPIO chip"},
        {"gpiochip: 1", "invalid GPIO chip"},
        {"gpiochip0 1:", "invalid GPIO offset"},
    };
    for (const auto& [output, outcome] : cases) {
        SCOPED_TRACE(std::string("output \"") + output + "\"");
        GpioLineLocation location;
        std::string error = "earlier text";
        const bool parsed = parseGpioLineLocation(output, location, error);
        EXPECT_EQ(parsed ? location.chipName + "/" + std::to_string(location.offset) : error, outcome);
    }
}

} // namespace
} // namespace zel
