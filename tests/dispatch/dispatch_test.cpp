// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#include "dispatch/dispatch.hpp"
#include "support/fake_device_io.hpp"
#include "support/files.hpp"
#include "support/streams.hpp"

namespace zel {
namespace {

using Args = std::vector<std::string>;

Args split(const std::string& joined, char separator = '|') // "-c|101 0" -> {"-c", "101 0"}
{
    Args args;
    std::istringstream fields(joined);
    for (std::string field; !joined.empty() && std::getline(fields, field, separator);) {
        args.push_back(field);
    }
    return args;
}

// What the tool showed for one command line, and the board after it.
struct Outcome {
    test::FakeDeviceIo io;
    test::Streams shown;
    Outcome(const Args& args, unsigned int euid, const std::map<std::string, CommandResult>& replies = {},
            const std::string& failing = "")
    {
        io.replies = replies;
        io.failing = failing;
        std::ostringstream out, err;
        const int status = dispatchCommands(args, euid, io, out, err);
        shown = {status, out.str(), err.str()};
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

// A lone help request is answered to anyone; root's other command lines as the diagnostics file says, whose
// "refused" row is what everyone else gets. None of these touches the device.
TEST(Dispatch, AnswersHelpAndRejectsBadCommandLinesWithOneLineTouchingNothing)
{
    struct Case {
        Args args;
        test::Streams shown;
        bool anyCaller = false; // answered alike to everyone; otherwise only root gets `shown`
    };
    const std::string help = test::readFile(ZEL_TEST_DATA_DIR "/dispatch/help_golden.txt");
    std::vector<Case> cases = {{{"-h"}, {0, help, ""}, true}, {{"--help"}, {0, help, ""}, true}};
    std::map<std::string, test::Streams> byRole; // the last row of each role
    std::istringstream rows(test::readFile(ZEL_TEST_DATA_DIR "/dispatch/diagnostics_golden.txt"));
    for (std::string row; std::getline(rows, row);) {
        const Args column = split(row, '\t'); // role, status, arguments, line
        if (row[0] != '#') {
            byRole[column.at(0)] = {std::stoi(column.at(1)), "", column.at(3) + "\n"};
            if (column[0] != "refused") {
                cases.push_back({split(column[2]), byRole[column[0]]});
            }
        }
    }
    ASSERT_TRUE(cases.size() > 20 && byRole.count("refused") != 0 && byRole.count("usage") != 0);
    Args tooMany(66, "101 0"), most(65, "101 0");
    tooMany[0] = most[0] = "-c";
    most.back() = "99";
    const std::string group256 = "105" + std::string(253, ' ');
    cases.insert(cases.end(),
                 {{tooMany, byRole["usage"]},
                  {most, {65, "", "zel_exec: command[64] unknown id=99\n"}},
                  {{"-c", group256 + " "}, {66, "", "zel_exec: command[1] invalid length\n"}},
                  {{"-c", group256}, {66, "", "zel_exec: command[1] id=105 validation: wrong parameter count\n"}},
                  {{"-c", "\t"}, {66, "", "zel_exec: command[1] missing command id\n"}}});
    for (const Case& c : cases) {
        for (const unsigned int euid : {0U, 1000U}) {
            SCOPED_TRACE(::testing::PrintToString(c.args) + " as " + std::to_string(euid));
            const Outcome run(c.args, euid);
            test::expectStreams(run.shown, euid == 0 || c.anyCaller ? c.shown : byRole["refused"]);
            EXPECT_EQ(run.io.log.size(), 0U);
        }
    }
}

const std::string kPwmchip0Pwm1 = "pwm/pwmchip0: pwm1=exported; pwm/pwmchip0/pwm1: ";

// Every command's final effect at its limits, and where a failure stops it: groups run in order, the first
// failure ends the batch, and what ran before it stays done.
TEST(Dispatch, LeavesTheBoardAsEachCommandSaysAndStopsAtTheFirstFailure)
{
    const std::map<std::string, CommandResult> line21Fails = {{"set 21 op dh", {70, "out 21\n", "bad 21\n"}}};
    const struct {
        const char* args;
        int status;
        std::string out, err, state;
        const char* failing = "";                          // the node whose write fails
        std::map<std::string, CommandResult> replies = {}; // pin-control answers by their arguments
    } cases[] = {
        {"-c|101 0|101 255000", 0, "", "", "pwm/pwmchip0/pwm1: duty_cycle=255000"},
        {"-c|104 50000", 0, "", "",
         "pwm/pwmchip1: pwm0=exported; pwm/pwmchip1/pwm0: duty_cycle=50000 enable=1 period=50000 polarity=normal; "
         "pwm/pwmchip2: pwm0=exported; pwm/pwmchip2/pwm0: duty_cycle=50000 enable=1 period=50000 polarity=normal"},
        {"-c|102 9", 74, "", "zel_exec: command[1] id=102 execution: /sys/class/pwm/pwmchip1/pwm0/period failed\n",
         "pwm/pwmchip1: pwm0=exported", "/sys/class/pwm/pwmchip1/pwm0/period"},
        {"-c|103 8000 1", 0, "", "", kPwmchip0Pwm1 + "duty_cycle=8000 enable=1 period=40000"},
        {"-c|103 40000 0", 0, "", "", kPwmchip0Pwm1 + "duty_cycle=40000 enable=0 period=40000"},
        {"-c|105 1|105 5", 0, "", "", "thermal/cooling_device0: cur_state=5; thermal/cooling_device1: cur_state=5"},
        {"-c|201 0|201 1|202 0|202 6", 0, "", "", "/etc/zel: fanLevel.config=6 fanMode.config=1"},
        {"-c|301 255|303 255", 0, "", "", "backlight/backlight: brightness=255; hwmon/hwmon0: pwm1=255"},
        {"-c|302 0 0|302 255000 255", 0, "", "",
         "/etc/device: black.config=BRIGHTNESS=255; pwm/pwmchip0/pwm0: duty_cycle=255000 period=255000"},
        {"-c|401 0|402 60000|403 7", 0, "", "", "motor=403 7"},
        {"-c|201 1|501 1", 74, "out 21\n", "zel_exec: command[2] id=501 execution: bad 21\npinctrl exit=70\n",
         "/etc/zel: fanMode.config=1", "", line21Fails},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.args) + (*c.failing != 0 ? " failing " : "") + c.failing);
        const Outcome run(split(c.args), 0, c.replies, c.failing);
        test::expectStreams(run.shown, {c.status, c.out, c.err});
        EXPECT_EQ(run.state(), c.state);
    }
}

} // namespace
} // namespace zel
