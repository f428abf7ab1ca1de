#include "dispatch/dispatch.hpp"
#include "support/fake_device_io.hpp"
#include "support/sandbox.hpp"

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>

namespace zel {
namespace {

using Args = std::vector<std::string>;

constexpr char kPermission[] = "zel_exec: root permission required; use sudo -n /usr/bin/zel_exec\n";
constexpr char kUsage[] = "zel_exec: expected -c followed by 1..64 command groups; see -h\n";

struct Batch {
    testing::FakeDeviceIo io;
    std::ostringstream out;
    std::ostringstream err;
    int run(const Args& args, unsigned int euid = 0) { return dispatchCommands(args, euid, io, out, err); }
};

Args groups(std::size_t count, const std::string& last)
{
    Args args(count, "101 0");
    args.insert(args.begin(), "-c");
    args.back() = last;
    return args;
}

std::string line(int group, const std::string& text)
{
    return "zel_exec: command[" + std::to_string(group) + "] " + text + "\n";
}

// What root gets; every other user gets the permission line and 67, except for a lone help request. One row per
// line of the engine, as group_parser_test holds the table of what a group may look like.
TEST(Dispatch, AnswersHelpOrRejectsCommandLineOrBatchWithOneLineAndTouchesNothing)
{
    const std::string help = testing::readFile(ZEL_TEST_DATA_DIR "/dispatch/help_golden.txt");
    ASSERT_FALSE(help.empty());
    const struct { Args args; int status; std::string out, err; } cases[] = {
        {{"-h"}, 0, help, ""}, {{"--help"}, 0, help, ""}, {{"-H"}, 64, "", kUsage}, {{"-help"}, 64, "", kUsage},
        {{"-h", "-c", "101", "0"}, 64, "", kUsage}, {{}, 64, "", kUsage}, {{"-c"}, 64, "", kUsage},
        {{"-c101 0"}, 64, "", kUsage}, {groups(65, "101 0"), 64, "", kUsage},
        {groups(64, "99"), 65, "", line(64, "unknown id=99")},
        {{"-c", "101 0", ""}, 66, "", line(2, "invalid length")},
        {{"-c", " \t "}, 66, "", line(1, "missing command id")},
        {{"-c", "101 2147483648"}, 66, "", line(1, "integer overflow")},
        {{"-c", "101 0", "101 x", "101 0"}, 66, "", line(2, "only decimal integers and space/Tab are accepted")},
        {{"-c", "101 0", "103 8000 2", "201 1"}, 66, "", line(2, "id=103 validation: fan enable must be 0 or 1")},
    };
    for (const auto& c : cases) {
        for (unsigned int euid : {0U, 1000U}) {
            SCOPED_TRACE(::testing::PrintToString(c.args) + " as " + std::to_string(euid));
            const bool answered = euid == 0 || c.status == 0;
            Batch batch;
            EXPECT_EQ(batch.run(c.args, euid), answered ? c.status : 67);
            EXPECT_EQ(batch.out.str() + "|" + batch.err.str(), answered ? c.out + "|" + c.err : "|" + std::string(kPermission));
            EXPECT_TRUE(batch.io.calls.empty());
        }
    }
}

TEST(Dispatch, RunsEveryGroupInOrderUntilTheFirstFailureAndKeepsWhatRan)
{
    Batch batch;
    batch.io.pinctrlResults = {{0, "7=hi\n", "warn 7\n"}, {0, "21=lo\n", "warn 21"}};
    batch.io.failCall = 4; // the second run of the repeated group
    batch.io.failureText = "lock/truncate fanMode.config: Resource temporarily unavailable";
    EXPECT_EQ(batch.run({"-c", "502", "201 1", "201 1", "202 4", "202 5"}), 74);
    EXPECT_EQ(batch.out.str(), "7=hi\n21=lo\n");
    EXPECT_EQ(batch.err.str(), "warn 7\nwarn 21" + line(3, "id=201 execution: " + batch.io.failureText));
    EXPECT_EQ(batch.io.calls, (Args{"pinctrl get 7", "pinctrl get 21", "writeConfig /etc/zel fanMode.config 1",
                                    "writeConfig /etc/zel fanMode.config 1"}));
}

TEST(Dispatch, LetsHandlerExceptionsReachTheCallerAfterEarlierCommandsRan)
{
    Batch batch;
    batch.io.failCall = 3;
    batch.io.failureThrows = true;
    EXPECT_THROW(batch.run({"-c", "105 3", "201 1", "105 4"}), std::runtime_error);
    EXPECT_EQ(batch.err.str(), "");
    EXPECT_EQ(batch.io.calls, (Args{"writeSysfs /sys/class/thermal/cooling_device0/cur_state 3",
                                    "writeSysfs /sys/class/thermal/cooling_device1/cur_state 3",
                                    "writeConfig /etc/zel fanMode.config 1"}));
}

} // namespace
} // namespace zel
