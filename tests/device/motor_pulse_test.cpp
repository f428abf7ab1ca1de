#include "support/fake_device_io.hpp"
#include "support/sandbox.hpp"

#include <gtest/gtest.h>

#include <unistd.h>

// The v1 GPIO record sizes and request numbers are pinned by static_asserts
// next to their only user, src/device/gpio_chardev_pulse.cpp.

namespace zel {
namespace {

using std::chrono::milliseconds;

constexpr char kDirection[] = "/sys/class/gpio/gpio131/direction=out\n";
constexpr char kPulse[] = "/sys/class/gpio/gpio131/direction=out\n/sys/class/gpio/gpio131/value=1\n"
                          "/sys/class/gpio/gpio131/value=0\n";

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
        testing::RecordingSysfsIo io;
        io.failing = c.failing;
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

// 402 runs the pin-control program for line 10 with dh (on), then dl (off); 403 asks the locator for PQ.06.
TEST(MotorPulse, ProgramBackendsRunTheirFixedProgramsAndReportEveryFailureExactly)
{
    const std::string runs = "|set 10 op dh\nset 10 op dl\n|";
    const struct { CommandId id; const char* answer; std::string want; } cases[] = { // want: result|log|out|err
        {CommandId::MotorP5, "echo \"$4\"", "1" + runs + "dh\ndl\n|earlier text"},
        {CommandId::MotorP5, "[ $4 = dh ] || echo warn >&2", "1" + runs + "|earlier text reset: warn\n"},
        {CommandId::MotorP5, "echo \"$4\"; [ $4 = dl ] || { echo on >&2; exit 2; }",
         "0" + runs + "dh\ndl\n|earlier texton\npinctrl exit=2"},
        {CommandId::MotorP5, "[ $4 = dh ] || exit 1", "0" + runs + "|earlier text reset: pinctrl exit=1"},
        {CommandId::MotorP5, "echo \"$4\" >&2; exit 3",
         "0" + runs + "|earlier textdh\npinctrl exit=3 reset: dl\npinctrl exit=3"},
        {CommandId::MotorNx, "echo 'no line' >&2; exit 1", "0|PQ.06\n||gpiofind PQ.06 failed: no line\n"},
        {CommandId::MotorNx, "",
         "0|||gpiofind PQ.06 failed: cannot execute fixed program\nprogram: /usr/bin/gpiofind\n"},
        {CommandId::MotorNx, "echo gpiochipA 1", "0|PQ.06\n||invalid GPIO chip"},
        {CommandId::MotorNx, "echo gpiochip99999999 3", "0|PQ.06\n||open GPIO chip: No such file or directory"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.answer);
        ZEL_RUN_IN_SANDBOX([&c] {
            const char* path = c.id == CommandId::MotorP5 ? "/usr/bin/pinctrl" : "/usr/bin/gpiofind";
            const std::string installError = testing::installLoggingProgram(path, c.answer);
            if (*c.answer == '\0') {
                ::unlink(path); // no program at all
            }
            LinuxDeviceIo io;
            std::string output;
            std::string error = "earlier text";
            const bool pulsed = io.motorPulse(c.id, 0, output, error);
            return installError + testing::mismatch(std::to_string(pulsed) + "|" + testing::readFile("/tmp/log") +
                                                        "|" + output + "|" + error,
                                                    c.want);
        });
    }
}

} // namespace
} // namespace zel
