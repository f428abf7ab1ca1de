#include "device/gpio_locator.hpp"
#include "device/linux_device_io.hpp"
#include "support/private_mounts.hpp"

#include <gtest/gtest.h>

#include <chrono>

namespace zel {
namespace {

namespace fs = std::filesystem;
using testing::Private;

// The real device object with its sysfs writes logged ("<path>=<value>\n") and timed instead of made. The calls
// whose numbers (from 1) appear in `failing` fail with "fail <number>"; `onWrite` plays the kernel.
struct RecordingSysfsIo : LinuxDeviceIo {
    bool writeSysfs(const std::string& path, const std::string& value, std::string& error) override
    {
        writes += path + "=" + value + "\n";
        timesMs.push_back(std::chrono::duration_cast<std::chrono::milliseconds>(
                              std::chrono::steady_clock::now().time_since_epoch()).count());
        if (onWrite != nullptr) {
            onWrite();
        }
        const bool fails = failing.find(std::to_string(timesMs.size())) != std::string::npos;
        error = fails ? "fail " + std::to_string(timesMs.size()) : error;
        return !fails;
    }
    std::string failing, writes;
    void (*onWrite)() = nullptr;
    std::vector<long long> timesMs;
};

// A kernel tunable with no hardware behind it, only ever given back the value it holds or refused junk.
constexpr char kHarmless[] = "/sys/kernel/mm/ksm/sleep_millisecs";

TEST(SysfsWriter, WritesOnlyExistingSysfsNodesNotReachedThroughALinkAndClosesThem)
{
    const std::string held = testing::readFile(kHarmless);
    if (held.empty() || ::access(kHarmless, W_OK) != 0) {
        GTEST_SKIP() << "no writable " << kHarmless << " here";
    }
    const testing::TempDirectory dir;
    const std::string file = dir.path + "/duty_cycle", missing = dir.path + "/enable", link = dir.path + "/period";
    ASSERT_TRUE(testing::writeFile(file, "40000\n") && ::symlink(kHarmless, link.c_str()) == 0);
    const struct { std::string path, value, error; } cases[] = { // error "-": written
        {kHarmless, held.substr(0, held.size() - 1), "-"},
        {kHarmless, "junk", "write: Invalid argument"},
        {file, "0", "hardware node must reside in sysfs: " + file},
        {missing, "0", "open " + missing + ": No such file or directory"},
        {link, "0", "open " + link + ": Too many levels of symbolic links"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.path + " = " + c.value);
        const std::string before = testing::readFile(c.path);
        const long descriptors = testing::openDescriptorCount();
        std::string error = "-";
        EXPECT_EQ(LinuxDeviceIo().writeSysfs(c.path, c.value, error), c.error == "-");
        EXPECT_EQ(error + "|" + testing::readFile(c.path), c.error + "|" + before);
        EXPECT_EQ(testing::openDescriptorCount(), descriptors);
    }
}

// Only the export write is played by the test, as the kernel would answer it; the waiting is the real thing:
// 40 tests 10 ms apart, the upper bounds only leave room for a busy machine.
TEST(PwmExport, ExportsOnlyWhenNeededAndWaitsABoundedTimeForTheChannel)
{
    static const testing::TempDirectory chip;
    const std::string channel = chip.path + "/pwm1", exported = chip.path + "/export=1\n";
    const std::string timedOut = "PWM export timed out: " + channel + "|" + exported;
    enum Before { Nothing, Directory, File };
    const struct { Before before; bool kernelCreates; const char* failing; bool ready; std::string shown; } cases[] = {
        {Directory, false, "", true, "-|"},
        {Nothing, true, "", true, "-|" + exported},
        {Nothing, true, "1", true, "|" + exported}, // someone else exported it first
        {Nothing, false, "1", false, "fail 1|" + exported},
        {Nothing, false, "", false, timedOut},
        {File, false, "", false, timedOut},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE("case " + std::to_string(&c - cases));
        fs::remove(channel);
        ASSERT_TRUE(c.before == Nothing || (c.before == File ? testing::writeFile(channel, "")
                                                              : fs::create_directory(channel)));
        RecordingSysfsIo io;
        io.failing = c.failing;
        io.onWrite = c.kernelCreates ? +[] { fs::create_directory(chip.path + "/pwm1"); } : nullptr;
        std::string error = "-";
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(io.ensurePwm(chip.path, 1, error), c.ready);
        const auto waited = std::chrono::steady_clock::now() - start;
        EXPECT_EQ(error + "|" + io.writes, c.shown);
        EXPECT_GE(waited, std::chrono::milliseconds(c.shown == timedOut ? 400 : 0));
        EXPECT_LT(waited, std::chrono::milliseconds(c.shown == timedOut ? 2000 : 200));
    }
}

// The motor must never be left running: the switch-off follows even a failed switch-on.
TEST(MotorPulse, SysfsBackendSwitchesOnWaitsAndResetsEvenAfterAFailedOn)
{
    const std::string direction = "/sys/class/gpio/gpio131/direction=out\n";
    const std::string pulse = direction + "/sys/class/gpio/gpio131/value=1\n/sys/class/gpio/gpio131/value=0\n";
    const struct { int id, durationMs; const char* failing; std::string shown; } cases[] = {
        {401, 60, "", pulse},
        {401, 1000, "", pulse},
        {401, 60, "1", direction + "fail 1"},
        {401, 60, "2", pulse + "fail 2"},
        {401, 0, "3", pulse + " reset: fail 3"},
        {401, 60, "23", pulse + "fail 2 reset: fail 3"},
        {501, 60, "", "unknown motor backend"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.id) + " " + std::to_string(c.durationMs) + " ms failing " + c.failing);
        RecordingSysfsIo io;
        io.failing = c.failing;
        std::string output = "kept", error;
        EXPECT_EQ(io.motorPulse(static_cast<CommandId>(c.id), c.durationMs, output, error), c.shown == pulse);
        EXPECT_EQ(io.writes + error + "|" + output, c.shown + "|kept");
        if (io.timesMs.size() == 3) {
            const long long waitMs = io.failing.find('2') == std::string::npos ? c.durationMs : 0;
            EXPECT_GE(io.timesMs[2] - io.timesMs[1], waitMs);
            EXPECT_LT(io.timesMs[2] - io.timesMs[1], waitMs + (waitMs == 0 ? 30 : 500));
        }
    }
}

// 402 runs the pin-control program for line 10 with dh (on), then dl (off), even when dh failed; 403 asks the
// locator program where the line PQ.06 is before it opens that GPIO chip.
TEST_F(Private, ProgramMotorsRunTheirFixedProgramsAndReportEveryFailureExactly)
{
    const std::string runs = "|set 10 op dh\nset 10 op dl\n|";
    const struct { CommandId id; int ms; const char* answer; std::string want; } cases[] = { // result|log|out|err
        {CommandId::MotorP5, 100, "echo \"$4\"", "1" + runs + "dh\ndl\n|-"},
        {CommandId::MotorP5, 100, "[ $4 = dh ] || echo warn >&2", "1" + runs + "|- reset: warn\n"},
        {CommandId::MotorP5, 0, "echo \"$4\"; [ $4 = dl ] || { echo on >&2; exit 2; }", "0" + runs + "dh\ndl\n|-on\npinctrl exit=2"},
        {CommandId::MotorP5, 100, "[ $4 = dh ] || exit 1", "0" + runs + "|- reset: pinctrl exit=1"},
        {CommandId::MotorNx, 0, "echo 'no line' >&2; exit 1", "0|PQ.06\n||gpiofind PQ.06 failed: no line\n"},
        {CommandId::MotorNx, 0, "echo gpiochipA 1", "0|PQ.06\n||invalid GPIO chip"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.answer);
        ASSERT_TRUE(testing::installProgram(c.id == CommandId::MotorP5 ? "/usr/bin/pinctrl" : "/usr/bin/gpiofind", c.answer));
        std::string output, error = "-";
        const auto start = std::chrono::steady_clock::now();
        const bool pulsed = LinuxDeviceIo().motorPulse(c.id, c.ms, output, error);
        EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(c.ms)); // after a good "on"
        EXPECT_EQ(std::to_string(pulsed) + "|" + testing::shownFile("/mnt/log") + "|" + output + "|" + error, c.want);
    }
}

// The token and length tests come before the character tests, so a bad length wins over a bad character
// and the chip over the offset.
TEST(GpioLocator, AcceptsOrRefusesEachLocatorOutputAsTheTableSays)
{
    const std::pair<const char*, const char*> cases[] = { // output, then chip/offset or the error text
        {"gpiochip0\n12\n", "gpiochip0/12"}, {"\t gpiochip12345678   00042 \n", "gpiochip12345678/42"},
        {"gpiochip9 99999", "gpiochip9/99999"}, {"gpiochip0\n", "invalid gpiofind output"},
        {"gpiochip0 12 PQ.06\n", "invalid gpiofind output"}, {"chip0 1", "invalid gpiofind output"},
        {"gpiochip 1", "invalid gpiofind output"}, {"gpiochip123456789 1", "invalid gpiofind output"},
        {"gpiochipA 123456", "invalid gpiofind output"}, {"gpiochipA 1", "invalid GPIO chip"},
        {"gpiochip0/ 1", "invalid GPIO chip"}, {"gpiochip: 1", "invalid GPIO chip"},
        {"gpiochip0 1:", "invalid GPIO offset"},
    };
    for (const auto& [output, outcome] : cases) {
        SCOPED_TRACE(std::string("output \"") + output + "\"");
        GpioLineLocation location;
        std::string error = "earlier text";
        const bool parsed = parseGpioLocation(output, location, error);
        EXPECT_EQ(parsed ? location.chipName + "/" + std::to_string(location.offset) : error, outcome);
    }
}

} // namespace
} // namespace zel
