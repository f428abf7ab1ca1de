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
constexpr char kDigitsOnly[] = "] only decimal integers and space/Tab are accepted\n";

template <typename Io = testing::FakeDeviceIo>
struct Batch {
    Io io;
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

std::string line(int group, const std::string& text) { return "zel_exec: command[" + std::to_string(group) + text; }

TEST(Dispatch, LoneHelpRequestPrintsTheGoldenTextForAnyUser)
{
    const std::string golden = testing::readFile(ZEL_TEST_DATA_DIR "/dispatch/help_golden.txt");
    ASSERT_FALSE(golden.empty());
    for (const Args& args : {Args{"-h"}, Args{"--help"}}) {
        for (unsigned int euid : {0U, 1000U}) {
            SCOPED_TRACE(args[0] + " as " + std::to_string(euid));
            Batch<> batch;
            EXPECT_EQ(batch.run(args, euid), 0);
            EXPECT_EQ(batch.out.str(), golden);
            EXPECT_EQ(batch.err.str() + ::testing::PrintToString(batch.io.calls), "{}");
        }
    }
}

const std::string kGroup256 = "101" + std::string(251, ' ') + "\t1";

// What root gets; every other user gets the permission line and 67 for all of them.
const struct RejectCase {
    Args args;
    int status;
    std::string err;
} kRejectCases[] = {
    {{"-H"}, 64, kUsage},
    {{"help"}, 64, kUsage},
    {{"-help"}, 64, kUsage},
    {{"-h", "-c", "101", "0"}, 64, kUsage},
    {{}, 64, kUsage},
    {{"-c"}, 64, kUsage},
    {{"-c101 0"}, 64, kUsage},
    {groups(65, "101 0"), 64, kUsage},
    {groups(64, "99"), 65, line(64, "] unknown id=99\n")},
    {{"-c", ""}, 66, line(1, "] invalid length\n")},
    {{"-c", " \t "}, 66, line(1, "] missing command id\n")},
    {{"-c", kGroup256, "0"}, 65, line(2, "] unknown id=0\n")},
    {{"-c", kGroup256 + " "}, 66, line(1, "] invalid length\n")},
    {{"-c", "101 2147483648"}, 66, line(1, "] integer overflow\n")},
    {{"-c", "2147483647"}, 65, line(1, "] unknown id=2147483647\n")},
    {{"-c", "101 99999999999 +"}, 66, line(1, kDigitsOnly)},
    {{"-c", "-101 0"}, 66, line(1, kDigitsOnly)},
    {{"-c", "0101"}, 66, line(1, "] id=101 validation: wrong parameter count\n")},
    {{"-c", "101 0", "101 x", "101 0"}, 66, line(2, kDigitsOnly)},
    {{"-c", "101 0", "103 8000 2", "201 1"}, 66, line(2, "] id=103 validation: fan enable must be 0 or 1\n")},
    {{"-c", "201 1", "65 1", "201 1"}, 65, line(2, "] unknown id=65\n")},
};

TEST(Dispatch, RejectsCommandLineOrBatchWithOneLineAndTouchesNothing)
{
    for (const RejectCase& c : kRejectCases) {
        for (unsigned int euid : {0U, 1000U}) {
            SCOPED_TRACE(::testing::PrintToString(c.args) + " as " + std::to_string(euid));
            Batch<> batch;
            EXPECT_EQ(batch.run(c.args, euid), euid == 0 ? c.status : 67);
            EXPECT_EQ(batch.err.str(), euid == 0 ? c.err : kPermission);
            EXPECT_EQ(batch.out.str() + ::testing::PrintToString(batch.io.calls), "{}");
        }
    }
}

TEST(Dispatch, RunsEveryGroupInOrderUntilTheFirstFailureAndKeepsWhatRan)
{
    const Args args{"-c", "502", "201 1", "201 1", "202 4", "202 5"};
    Batch<> batch;
    batch.io.pinctrlResults = {{0, "7=hi\n", "warn 7\n"}, {0, "21=lo\n", "warn 21"}};
    batch.io.failCall = 4; // the second run of the repeated group
    batch.io.failureText = "lock/truncate fanMode.config: Resource temporarily unavailable";
    EXPECT_EQ(batch.run(args, 1000), 67);
    EXPECT_TRUE(batch.io.calls.empty());
    batch.err.str("");
    EXPECT_EQ(batch.run(args), 74);
    EXPECT_EQ(batch.out.str(), "7=hi\n21=lo\n");
    EXPECT_EQ(batch.err.str(), "warn 7\nwarn 21" + line(3, "] id=201 execution: " + batch.io.failureText + "\n"));
    EXPECT_EQ(batch.io.calls, (Args{"pinctrl get 7", "pinctrl get 21", "writeConfig /etc/zel fanMode.config 1",
                                    "writeConfig /etc/zel fanMode.config 1"}));
}

// Stands for a standard-library failure deep inside a device operation.
struct ThrowingDeviceIo : testing::FakeDeviceIo {
    bool writeConfig(const std::string& directory, const std::string& file, const std::string& content,
                     std::string& error) override
    {
        FakeDeviceIo::writeConfig(directory, file, content, error);
        throw std::runtime_error("out of memory");
    }
};

TEST(Dispatch, LetsHandlerExceptionsReachTheCallerAfterEarlierCommandsRan)
{
    Batch<ThrowingDeviceIo> batch;
    EXPECT_THROW(batch.run({"-c", "105 3", "201 1", "105 4"}), std::runtime_error);
    EXPECT_EQ(batch.err.str(), "");
    EXPECT_EQ(batch.io.calls, (Args{"writeSysfs /sys/class/thermal/cooling_device0/cur_state 3",
                                    "writeSysfs /sys/class/thermal/cooling_device1/cur_state 3",
                                    "writeConfig /etc/zel fanMode.config 1"}));
}

} // namespace
} // namespace zel
