#include "device/linux_device_io.hpp"
#include "support/sandbox.hpp"

#include <gtest/gtest.h>

#include <chrono>

#include <unistd.h>

// The v1 GPIO record sizes and request numbers are pinned by static_asserts
// next to their only user, src/device/gpio_chardev_pulse.cpp.

namespace zel {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr char kDirection[] = "/sys/class/gpio/gpio131/direction=out\n";
constexpr char kPulse[] = "/sys/class/gpio/gpio131/direction=out\n/sys/class/gpio/gpio131/value=1\n"
                          "/sys/class/gpio/gpio131/value=0\n";

// Takes over the sysfs writes of the real device object; the calls whose
// numbers (counted from 1) appear in `failing` fail.
struct RecordingSysfs : LinuxDeviceIo {
    explicit RecordingSysfs(std::string failing) : failing(std::move(failing)) {}
    bool writeSysfs(const std::string& path, const std::string& value, std::string& error) override
    {
        writes += path + "=" + value + "\n";
        times.push_back(Clock::now());
        const std::string number = std::to_string(times.size());
        const bool fails = failing.find(number) != std::string::npos;
        if (fails) {
            error = "fail " + number;
        }
        return !fails;
    }
    std::string failing, writes;
    std::vector<Clock::time_point> times;
};

TEST(MotorPulse, SysfsBackendSwitchesOnWaitsAndResetsEvenAfterAFailedOn)
{
    const struct { int id, durationMs; const char *failing, *writes, *error; } cases[] = {
        {401, 60, "", kPulse, ""},
        {401, 0, "", kPulse, ""},
        {401, 60, "1", kDirection, "fail 1"},
        {401, 60, "2", kPulse, "fail 2"},
        {401, 0, "3", kPulse, " reset: fail 3"},
        {401, 60, "23", kPulse, "fail 2 reset: fail 3"},
        {0, 60, "", "", "unknown motor backend"},
        {501, 60, "", "", "unknown motor backend"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.id) + " " + std::to_string(c.durationMs) + " ms failing " + c.failing);
        RecordingSysfs io(c.failing);
        std::string output = "kept";
        std::string error;
        EXPECT_EQ(io.motorPulse(static_cast<CommandId>(c.id), c.durationMs, output, error), *c.error == '\0');
        EXPECT_EQ(io.writes + error + "|" + output, std::string(c.writes) + c.error + "|kept");
        if (io.times.size() == 3) {
            const int waitMs = io.failing.find('2') == std::string::npos ? c.durationMs : 0;
            EXPECT_GE(io.times[2] - io.times[1], milliseconds(waitMs));
            EXPECT_LT(io.times[2] - io.times[1], milliseconds(waitMs == 0 ? 30 : waitMs + 500));
        }
    }
}

// One pulse of `id` with `script` as the fake program at `path` (no program
// at all when `script` is empty); describes how the outcome differs from `want`.
std::string pulseWithFakeProgram(CommandId id, const char* path, const std::string& script, const std::string& want)
{
    std::string error;
    if (!testing::mountEmptyTmpfs("/tmp", error) ||
        !testing::installProgram(path, "#!/bin/sh\necho \"$*\" >>/tmp/log\n" + script + "\n", error)) {
        return error;
    }
    if (script.empty()) {
        ::unlink(path);
    }
    LinuxDeviceIo io;
    std::string output;
    error = "earlier text";
    const bool pulsed = io.motorPulse(id, 0, output, error);
    const std::string got = std::to_string(pulsed) + "|" + testing::readFile("/tmp/log") + "|" + output + "|" + error;
    return got == want ? std::string() : "got:\n" + got + "\nwant:\n" + want;
}

TEST(MotorPulse, PinControlBackendRunsOnThenOffAndCollectsBothRuns)
{
    const std::string runs = "|set 10 op dh\nset 10 op dl\n|";
    const struct { const char* script; std::string want; } cases[] = { // $4: dh on, dl off; want: result|log|out|err
        {"echo \"$4\"", "1" + runs + "dh\ndl\n|earlier text"},
        {"[ $4 = dh ] || echo warn >&2", "1" + runs + "|earlier text reset: warn\n"},
        {"echo \"$4\"; [ $4 = dl ] || { echo on >&2; exit 2; }",
         "0" + runs + "dh\ndl\n|earlier texton\npinctrl exit=2"},
        {"[ $4 = dh ] || exit 1", "0" + runs + "|earlier text reset: pinctrl exit=1"},
        {"echo \"$4\" >&2; exit 3", "0" + runs + "|earlier textdh\npinctrl exit=3 reset: dl\npinctrl exit=3"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.script);
        ZEL_RUN_IN_SANDBOX(
            [&c] { return pulseWithFakeProgram(CommandId::MotorP5, "/usr/bin/pinctrl", c.script, c.want); });
    }
}

TEST(MotorPulse, CharacterDeviceBackendReportsLocatorAndChipFailures)
{
    const struct { const char *script, *want; } cases[] = { // want: result|log|out|err
        {"echo 'no line' >&2; exit 1", "0|PQ.06\n||gpiofind PQ.06 failed: no line\n"},
        {"", "0|||gpiofind PQ.06 failed: cannot execute fixed program\nprogram: /usr/bin/gpiofind\n"},
        {"echo gpiochipA 1", "0|PQ.06\n||invalid GPIO chip"},
        {"echo gpiochip99999999 3", "0|PQ.06\n||open GPIO chip: No such file or directory"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.script);
        ZEL_RUN_IN_SANDBOX(
            [&c] { return pulseWithFakeProgram(CommandId::MotorNx, "/usr/bin/gpiofind", c.script, c.want); });
    }
}

} // namespace
} // namespace zel
