#include "commands/command_handler.hpp"
#include "support/fake_device_io.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

namespace zel {
namespace {

using Calls = std::vector<std::string>;

const CommandHandler* handler(int id)
{
    const std::vector<const CommandHandler*>& all = registeredCommands();
    const auto found =
        std::find_if(all.begin(), all.end(), [id](auto h) { return static_cast<int>(h->info().id) == id; });
    return found == all.end() ? nullptr : *found;
}

constexpr char kCount[] = "wrong parameter count";
constexpr char kRange[] = "value outside allowed range";
constexpr char kEnable[] = "fan enable must be 0 or 1";
constexpr char kBrightness[] = "brightness must be 0..255";

// Each handler's own bounds and further checks; how a count or range is tested is checkParameters' table.
const struct ValidateCase {
    int id;
    std::vector<int> args;
    const char* error; // nullptr when accepted
} kValidateCases[] = {
    {101, {0}, nullptr}, {101, {255000}, nullptr}, {101, {255001}, kRange}, {102, {255000}, nullptr},
    {102, {255001}, kRange}, {104, {0}, nullptr}, {104, {50000}, nullptr}, {104, {50001}, kRange}, {105, {0}, kRange},
    {105, {1}, nullptr}, {105, {5}, nullptr}, {105, {6}, kRange}, {103, {8000, 0}, nullptr}, {103, {40000, 1}, nullptr},
    {103, {7999, 0}, kRange}, {103, {40001, 1}, kRange}, {103, {8000, 2}, kEnable}, {103, {8000, -1}, kEnable},
    {103, {7999, 2}, kRange}, {103, {8000}, kCount}, {201, {0}, nullptr}, {201, {1}, nullptr}, {201, {2}, kRange},
    {202, {6}, nullptr}, {202, {7}, kRange}, {301, {255}, nullptr}, {301, {256}, kRange}, {303, {255}, nullptr},
    {302, {0, 0}, nullptr}, {302, {255000, 255}, nullptr}, {302, {255001, 10}, kRange}, {302, {1000, 256}, kBrightness},
    {302, {1000, -1}, kBrightness}, {302, {255001, 256}, kRange}, {302, {1000}, kCount}, {401, {0}, nullptr},
    {402, {60000}, nullptr}, {402, {60001}, kRange}, {403, {60000}, nullptr}, {501, {0}, nullptr}, {501, {1}, nullptr},
    {501, {2}, kRange}, {502, {}, nullptr},
};

TEST(CommandHandlers, ValidateAcceptsExactlyTheDocumentedArguments)
{
    for (const ValidateCase& c : kValidateCases) {
        SCOPED_TRACE(std::to_string(c.id) + " " + ::testing::PrintToString(c.args));
        ASSERT_NE(handler(c.id), nullptr);
        std::string error = "earlier text";
        EXPECT_EQ(handler(c.id)->validate(c.args, error), c.error == nullptr);
        EXPECT_EQ(error, c.error == nullptr ? "earlier text" : c.error);
    }
}

Calls dualFan(const std::string& period, const std::string& duty)
{
    Calls calls;
    for (const std::string chip : {"/sys/class/pwm/pwmchip1", "/sys/class/pwm/pwmchip2"}) {
        const std::string write = "writeSysfs " + chip + "/pwm0/";
        calls.insert(calls.end(), {"ensurePwm " + chip + " 0", write + "period " + period, write + "polarity normal",
                                   write + "duty_cycle " + duty, write + "enable 1"});
    }
    return calls;
}

Calls firstCalls(const Calls& calls, std::size_t count) { return Calls(calls.begin(), calls.begin() + count); }

const std::string kP5Fan = "writeSysfs /sys/class/pwm/pwmchip0/pwm1/";
const std::string kP5Backlight = "writeSysfs /sys/class/pwm/pwmchip0/pwm0/";
const std::string kCooling = "writeSysfs /sys/class/thermal/cooling_device";

const struct ExecuteCase {
    int id;
    std::vector<int> args;
    std::size_t failCall; // 0: every call succeeds
    Calls calls;
} kExecuteCases[] = {
    {101, {7}, 0, {kP5Fan + "duty_cycle 7"}},
    {102, {5}, 6, firstCalls(dualFan("255000", "5"), 6)},
    {104, {50000}, 0, dualFan("50000", "50000")},
    {103, {8000, 0}, 0, {"ensurePwm /sys/class/pwm/pwmchip0 1", kP5Fan + "enable 0", kP5Fan + "duty_cycle 0",
                         kP5Fan + "period 40000", kP5Fan + "duty_cycle 8000", kP5Fan + "enable 0"}},
    {103, {40000, 1}, 2, {"ensurePwm /sys/class/pwm/pwmchip0 1", kP5Fan + "enable 0"}},
    {105, {5}, 0, {kCooling + "0/cur_state 5", kCooling + "1/cur_state 5"}},
    {105, {1}, 1, {kCooling + "0/cur_state 1"}},
    {201, {1}, 0, {"writeConfig /etc/zel fanMode.config 1"}},
    {202, {6}, 1, {"writeConfig /etc/zel fanLevel.config 6"}},
    {301, {0}, 0, {"writeSysfs /sys/class/backlight/backlight/brightness 0"}},
    {303, {128}, 0, {"writeSysfs /sys/class/hwmon/hwmon0/pwm1 128"}},
    {302, {1000, 128}, 3, {kP5Backlight + "period 255000", kP5Backlight + "duty_cycle 1000",
                           "writeConfig /etc/device black.config BRIGHTNESS=128"}},
    {302, {0, 0}, 2, {kP5Backlight + "period 255000", kP5Backlight + "duty_cycle 0"}},
    {401, {0}, 0, {"motorPulse 401 0"}},
    {402, {500}, 1, {"motorPulse 402 500"}},
    {403, {60000}, 0, {"motorPulse 403 60000"}},
};

TEST(CommandHandlers, ExecuteMakesTheExactDeviceCallsAndStopsAtTheFailedOne)
{
    for (const ExecuteCase& c : kExecuteCases) {
        SCOPED_TRACE(std::to_string(c.id) + " " + ::testing::PrintToString(c.args) + " failing call " +
                     std::to_string(c.failCall));
        testing::FakeDeviceIo io;
        io.failCall = c.failCall;
        io.motorOutput = "on\noff";
        std::ostringstream out;
        std::string error;
        EXPECT_EQ(handler(c.id)->execute(io, c.args, out, error), c.failCall == 0);
        EXPECT_EQ(io.calls, c.calls);
        EXPECT_EQ(error, c.failCall == 0 ? "" : "injected failure");
        // Only the motor passes on what the pulse printed, also after a failed pulse.
        EXPECT_EQ(out.str(), c.id / 100 == 4 ? "on\noff" : "");
    }
}

// What the real program returns is proven in pin_control_test; here the runner's own statuses, such as 70 after a
// time-out and a negative one, which only a test can make.
TEST(CommandHandlers, PowerTreatsEveryExitCodeButZeroAsAFailure)
{
    for (const int exitCode : {70, -1}) {
        SCOPED_TRACE(exitCode);
        testing::FakeDeviceIo io;
        io.pinctrlResults = {{exitCode, "x", "process timed out\n"}};
        std::ostringstream out;
        std::string error;
        EXPECT_FALSE(handler(502)->execute(io, {}, out, error));
        EXPECT_EQ(io.calls, Calls{"pinctrl get 7"});
        EXPECT_EQ(out.str() + "|" + error, "x|process timed out\npinctrl exit=" + std::to_string(exitCode));
    }
}

} // namespace
} // namespace zel
