#include "dispatch/dispatch.hpp"
#include "support/fake_device_io.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace zel {
namespace {

using Args = std::vector<std::string>;

std::string golden(const char* name)
{
    std::ifstream file(std::string(ZEL_TEST_DATA_DIR "/dispatch/") + name, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

// "-c|101 0" -> {"-c", "101 0"}; "\t" stands for a Tab.
Args split(const std::string& joined)
{
    Args args;
    std::istringstream fields(joined);
    for (std::string field; !joined.empty() && std::getline(fields, field, '|');) {
        for (std::size_t tab; (tab = field.find("\\t")) != std::string::npos;) {
            field.replace(tab, 2, "\t");
        }
        args.push_back(field);
    }
    if (!joined.empty() && joined.back() == '|') {
        args.emplace_back();
    }
    return args;
}

struct Outcome {
    testing::FakeDeviceIo io;
    int status;
    std::string out, err;
    Outcome(const Args& args, unsigned int euid, const std::map<std::string, CommandResult>& replies = {},
        const std::string& failing = "")
    {
        io.replies = replies;
        io.failing = failing;
        io.motorOutput = "buzz\n";
        std::ostringstream outStream, errStream;
        status = dispatchCommands(args, euid, io, outStream, errStream);
        out = outStream.str();
        err = errStream.str();
    }
    // The final state, grouped by directory: "pwm/pwmchip1/pwm0: duty_cycle=5 enable=1; ..."
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

const std::string kPermission = "zel_exec: root permission required; use sudo -n /usr/bin/zel_exec\n";

// A lone help request is answered to anyone; root's other command lines as the diagnostics file says; anyone
// else gets the permission line. None of these touches the device.
TEST(Dispatch, AnswersHelpAndRejectsBadCommandLinesWithOneLineTouchingNothing)
{
    const std::string help = golden("help_golden.txt");
    std::istringstream rows(golden("diagnostics_golden.txt"));
    struct Case { Args args; int status; std::string out, err; };
    std::vector<Case> cases = {{{"-h"}, 0, help, ""}, {{"--help"}, 0, help, ""}};
    for (std::string row; std::getline(rows, row);) {
        std::istringstream fields(row);
        std::string status, args, err;
        if (row[0] != '#' && std::getline(fields, status, '\t') && std::getline(fields, args, '\t') &&
            std::getline(fields, err)) {
            cases.push_back({split(args), std::stoi(status), "", err + "\n"});
        }
    }
    ASSERT_GT(cases.size(), 30U);
    Args tooMany(66, "101 0"), most(65, "101 0");
    tooMany[0] = most[0] = "-c";
    most.back() = "99";
    const std::string group256 = "105" + std::string(253, ' '), group257 = group256 + " ";
    cases.push_back({tooMany, 64, "", cases[3].err});
    cases.push_back({most, 65, "", "zel_exec: command[64] unknown id=99\n"});
    cases.push_back({{"-c", group257}, 66, "", "zel_exec: command[1] invalid length\n"});
    cases.push_back({{"-c", group256}, 66, "", "zel_exec: command[1] id=105 validation: wrong parameter count\n"});
    for (const Case& c : cases) {
        for (const unsigned int euid : {0U, 1000U}) {
            SCOPED_TRACE(::testing::PrintToString(c.args) + " as " + std::to_string(euid));
            if (euid == 0 && c.status == 67) {
                continue;
            }
            const bool answered = euid == 0 || c.status == 0;
            const Outcome run(c.args, euid);
            EXPECT_EQ(run.status, answered ? c.status : 67);
            EXPECT_EQ(run.out + "|" + run.err, answered ? c.out + "|" + c.err : "|" + kPermission);
            EXPECT_EQ(run.io.log.size(), 0U);
        }
    }
}

const std::string kChip1 = "pwm/pwmchip1: pwm0=exported; pwm/pwmchip1/pwm0: ";
const std::string kChip2 = "; pwm/pwmchip2: pwm0=exported; pwm/pwmchip2/pwm0: ";
const std::string kP5Fan = "pwm/pwmchip0: pwm1=exported; pwm/pwmchip0/pwm1: ";
const std::string kFailed = "zel_exec: command[1] id=";

// Every command's final effect at its limits, and where a failure stops it: groups run in order, the first
// failure ends the batch, and what ran before it stays done.
TEST(Dispatch, LeavesTheBoardAsEachCommandSaysAndStopsAtTheFirstFailure)
{
    const CommandResult bad{3, "out 7\n", "bad 7\n"};
    const struct {
        const char* args;
        const char* failing;
        int status;
        std::string out, err, state;
        std::map<std::string, CommandResult> replies = {};
    } cases[] = {
        {"-c|101 0|101 255000", "", 0, "", "", "pwm/pwmchip0/pwm1: duty_cycle=255000"},
        {"-c|102 5", "", 0, "", "",
         kChip1 + "duty_cycle=5 enable=1 period=255000 polarity=normal" + kChip2 +
             "duty_cycle=5 enable=1 period=255000 polarity=normal"},
        {"-c|104 50000", "", 0, "", "",
         kChip1 + "duty_cycle=50000 enable=1 period=50000 polarity=normal" + kChip2 +
             "duty_cycle=50000 enable=1 period=50000 polarity=normal"},
        {"-c|104 0", "/sys/class/pwm/pwmchip2/pwm0", 74, "", kFailed + "104 execution: /sys/class/pwm/pwmchip2/pwm0 failed",
         kChip1 + "duty_cycle=0 enable=1 period=50000 polarity=normal"},
        {"-c|102 9", "/sys/class/pwm/pwmchip1/pwm0/period", 74, "",
         kFailed + "102 execution: /sys/class/pwm/pwmchip1/pwm0/period failed", "pwm/pwmchip1: pwm0=exported"},
        {"-c|102 9", "/sys/class/pwm/pwmchip1/pwm0/polarity", 74, "",
         kFailed + "102 execution: /sys/class/pwm/pwmchip1/pwm0/polarity failed",
         kChip1 + "period=255000"},
        {"-c|102 9", "/sys/class/pwm/pwmchip2/pwm0/duty_cycle", 74, "",
         kFailed + "102 execution: /sys/class/pwm/pwmchip2/pwm0/duty_cycle failed",
         kChip1 + "duty_cycle=9 enable=1 period=255000 polarity=normal" + kChip2 + "period=255000 polarity=normal"},
        {"-c|103 8000 1", "", 0, "", "", kP5Fan + "duty_cycle=8000 enable=1 period=40000"},
        {"-c|103 40000 0", "", 0, "", "", kP5Fan + "duty_cycle=40000 enable=0 period=40000"},
        {"-c|105 1|105 5", "", 0, "", "", "thermal/cooling_device0: cur_state=5; thermal/cooling_device1: cur_state=5"},
        {"-c|201 0|201 1|202 0|202 6", "", 0, "", "", "/etc/zel: fanLevel.config=6 fanMode.config=1"},
        {"-c|301 255|303 255", "", 0, "", "", "backlight/backlight: brightness=255; hwmon/hwmon0: pwm1=255"},
        {"-c|302 0 0|302 255000 255", "", 0, "", "",
         "/etc/device: black.config=BRIGHTNESS=255; pwm/pwmchip0/pwm0: duty_cycle=255000 period=255000"},
        {"-c|302 9 1", "/etc/device/black.config", 74, "", kFailed + "302 execution: /etc/device/black.config failed",
         "pwm/pwmchip0/pwm0: duty_cycle=9 period=255000"},
        {"-c|401 0|402 60000|403 7", "", 0, "buzz\nbuzz\nbuzz\n", "", "motor=403 7"},
        {"-c|401 5", "motor", 74, "buzz\n", kFailed + "401 execution: motor failed", ""},
        {"-c|502|501 1", "", 0, "7 hi\n", "warn 21", "", {{"get 7", {0, "7 hi\n", ""}}, {"get 21", {0, "", "warn 21"}}}},
        {"-c|201 1|501 1", "", 74, "out 7\n", "zel_exec: command[2] id=501 execution: bad 7\npinctrl exit=3",
         "/etc/zel: fanMode.config=1", {{"set 7 op dh", bad}}},
        {"-c|501 0", "", 74, "", kFailed + "501 execution: pinctrl exit=70", "", {{"set 21 op dl", {70, "", ""}}}},
        {"-c|502", "", 74, "", kFailed + "502 execution: pinctrl exit=-1", "", {{"get 7", {-1, "", ""}}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.args) + " failing " + c.failing);
        const Outcome run(split(c.args), 0, c.replies, c.failing);
        EXPECT_EQ(run.status, c.status);
        EXPECT_EQ(run.out + "|" + run.err, c.out + "|" + c.err + (c.status == 0 ? "" : "\n"));
        EXPECT_EQ(run.state(), c.state);
    }
}

// The PWM rules: a channel's period before its duty, polarity while it is off, enable last; the P5 fan off and
// zeroed before its new period; the second chip only once the first is done. The power lines: 7, then 21.
TEST(Dispatch, KeepsTheOrderTheHardwareNeeds)
{
    const std::string dual = "/sys/class/pwm/pwmchip1/pwm0=exported period=50000 polarity=normal duty_cycle=7 "
                             "enable=1 /sys/class/pwm/pwmchip2/pwm0=exported period=50000 polarity=normal "
                             "duty_cycle=7 enable=1";
    const std::pair<const char*, std::string> cases[] = {
        {"-c|104 7", dual},
        {"-c|103 9000 1", "/sys/class/pwm/pwmchip0/pwm1=exported enable=0 duty_cycle=0 period=40000 "
                          "duty_cycle=9000 enable=1"},
        {"-c|501 1|501 0|502", "pinctrl=set 7 op dh pinctrl=set 21 op dh pinctrl=set 7 op dl pinctrl=set 21 op dl "
                               "pinctrl=get 7 pinctrl=get 21"},
    };
    for (const auto& [args, want] : cases) {
        SCOPED_TRACE(args);
        const Outcome run(split(args), 0);
        // A channel's nodes are shown by name after the line that exported it.
        std::string log, channel = "-";
        for (const std::string& entry : run.io.log) {
            const bool inChannel = entry.rfind(channel + "/", 0) == 0;
            log += (log.empty() ? "" : " ") + entry.substr(inChannel ? channel.size() + 1 : 0);
            if (entry.size() > 9 && entry.compare(entry.size() - 9, 9, "=exported") == 0) {
                channel = entry.substr(0, entry.size() - 9);
            }
        }
        EXPECT_EQ(log, want);
    }
}

} // namespace
} // namespace zel
