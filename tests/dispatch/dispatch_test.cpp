// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#include "dispatch/dispatch.hpp"
#include "support/fake_device_io.hpp"
#include "support/files.hpp"

#include <gtest/gtest.h>

#include <sstream>

namespace zel {
namespace {

using Args = std::vector<std::string>;

Args split(const std::string& joined) // "-c|101 0" -> {"-c", "101 0"}
{
    Args args;
    std::istringstream fields(joined);
    for (std::string field; !joined.empty() && std::getline(fields, field, '|');) {
        args.push_back(field);
    }
    return args;
}

struct Outcome {
    testing::FakeDeviceIo io;
    std::string shown; // "<status>|<standard output>|<standard error>"
    Outcome(const Args& args, unsigned int euid, const std::map<std::string, CommandResult>& replies = {},
            const std::string& failing = "")
    {
        io.replies = replies;
        io.failing = failing;
        io.motorOutput = "buzz\n";
        std::ostringstream out, err;
        const int status = dispatchCommands(args, euid, io, out, err);
        shown = std::to_string(status) + "|" + out.str() + "|" + err.str();
    }
    // The final state by directory, without /sys/class/: "pwm/pwmchip1/pwm0: duty_cycle=5 enable=1; ..."
    std::string state() const
    {
        std::string text, directory = "-";
        for (const auto& [path, value] : io.state) {
            const std::string key = path.substr(path.rfind("/sys/class/", 0) == 0 ? 11 : 0);
            const std::size_t slash = key.rfind('/');
            const std::string parent = key.substr(0, slash == std::string::npos ? 0 : slash);
            text += parent == directory ? " " : (text.empty() ? "" : "; ") + (parent.empty() ? "" : parent + ": ");
            text += key.substr(slash + 1) + "=" + value;
            directory = parent;
        }
        return text;
    }
};

// A lone help request is answered to anyone; root's other command lines as the diagnostics file says, where the
// first line is what everyone else gets. None of these touches the device.
TEST(Dispatch, AnswersHelpAndRejectsBadCommandLinesWithOneLineTouchingNothing)
{
    const std::string help = testing::readFile(ZEL_TEST_DATA_DIR "/dispatch/help_golden.txt");
    std::vector<std::pair<Args, std::string>> cases = {{{"-h"}, "0|" + help + "|"}, {{"--help"}, "0|" + help + "|"}};
    std::istringstream rows(testing::readFile(ZEL_TEST_DATA_DIR "/dispatch/diagnostics_golden.txt"));
    for (std::string row; std::getline(rows, row);) {
        const std::size_t tab = row.find('\t'), second = row.find('\t', tab + 1);
        if (row[0] != '#') {
            cases.emplace_back(split(row.substr(tab + 1, second - tab - 1)),
                               row.substr(0, tab) + "||" + row.substr(second + 1) + "\n");
        }
    }
    ASSERT_GT(cases.size(), 20U);
    const std::string refused = cases[2].second, usage = cases[3].second;
    cases.erase(cases.begin() + 2);
    Args tooMany(66, "101 0"), most(65, "101 0");
    tooMany[0] = most[0] = "-c";
    most.back() = "99";
    const std::string group256 = "105" + std::string(253, ' ');
    cases.insert(cases.end(),
                 {{tooMany, usage},
                  {most, "65||zel_exec: command[64] unknown id=99\n"},
                  {{"-c", group256 + " "}, "66||zel_exec: command[1] invalid length\n"},
                  {{"-c", group256}, "66||zel_exec: command[1] id=105 validation: wrong parameter count\n"},
                  {{"-c", "\t"}, "66||zel_exec: command[1] missing command id\n"}});
    for (const auto& [args, shown] : cases) {
        for (const unsigned int euid : {0U, 1000U}) {
            SCOPED_TRACE(::testing::PrintToString(args) + " as " + std::to_string(euid));
            const Outcome run(args, euid);
            EXPECT_EQ(run.shown, euid == 0 || shown[0] == '0' ? shown : refused);
            EXPECT_EQ(run.io.log.size(), 0U);
        }
    }
}

const std::string kChip1 = "pwm/pwmchip1: pwm0=exported; pwm/pwmchip1/pwm0: ";
const std::string kChip2 = "; pwm/pwmchip2: pwm0=exported; pwm/pwmchip2/pwm0: ";
const std::string kP5Fan = "pwm/pwmchip0: pwm1=exported; pwm/pwmchip0/pwm1: ";
const std::string kFailed = "74||zel_exec: command[1] id=";

// Every command's final effect at its limits, and where a failure stops it: groups run in order, the first
// failure ends the batch, and what ran before it stays done.
TEST(Dispatch, LeavesTheBoardAsEachCommandSaysAndStopsAtTheFirstFailure)
{
    const struct {
        const char *args, *failing;
        std::string shown, state;
        std::map<std::string, CommandResult> replies = {};
    } cases[] = {
        {"-c|101 0|101 255000", "", "0||", "pwm/pwmchip0/pwm1: duty_cycle=255000"},
        {"-c|104 50000", "", "0||",
         kChip1 + "duty_cycle=50000 enable=1 period=50000 polarity=normal" + kChip2 +
             "duty_cycle=50000 enable=1 period=50000 polarity=normal"},
        {"-c|102 9", "/sys/class/pwm/pwmchip1/pwm0/period",
         kFailed + "102 execution: /sys/class/pwm/pwmchip1/pwm0/period failed\n", "pwm/pwmchip1: pwm0=exported"},
        {"-c|102 9", "/sys/class/pwm/pwmchip2/pwm0/duty_cycle",
         kFailed + "102 execution: /sys/class/pwm/pwmchip2/pwm0/duty_cycle failed\n",
         kChip1 + "duty_cycle=9 enable=1 period=255000 polarity=normal" + kChip2 + "period=255000 polarity=normal"},
        {"-c|103 8000 1", "", "0||", kP5Fan + "duty_cycle=8000 enable=1 period=40000"},
        {"-c|103 40000 0", "", "0||", kP5Fan + "duty_cycle=40000 enable=0 period=40000"},
        {"-c|105 1|105 5", "", "0||", "thermal/cooling_device0: cur_state=5; thermal/cooling_device1: cur_state=5"},
        {"-c|201 0|201 1|202 0|202 6", "", "0||", "/etc/zel: fanLevel.config=6 fanMode.config=1"},
        {"-c|301 255|303 255", "", "0||", "backlight/backlight: brightness=255; hwmon/hwmon0: pwm1=255"},
        {"-c|302 0 0|302 255000 255", "", "0||",
         "/etc/device: black.config=BRIGHTNESS=255; pwm/pwmchip0/pwm0: duty_cycle=255000 period=255000"},
        {"-c|401 0|402 60000|403 7", "", "0|buzz\nbuzz\nbuzz\n|", "motor=403 7"},
        {"-c|502|501 1", "", "0|7 hi\n|warn 21", "", {{"get 7", {0, "7 hi\n", ""}}, {"get 21", {0, "", "warn 21"}}}},
        {"-c|201 1|501 1",
         "",
         "74|out 21\n|zel_exec: command[2] id=501 execution: bad 21\npinctrl exit=70\n",
         "/etc/zel: fanMode.config=1",
         {{"set 21 op dh", {70, "out 21\n", "bad 21\n"}}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.args) + " failing " + c.failing);
        const Outcome run(split(c.args), 0, c.replies, c.failing);
        EXPECT_EQ(run.shown + "|" + run.state(), c.shown + "|" + c.state);
    }
}

} // namespace
} // namespace zel
