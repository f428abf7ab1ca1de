#include "process/run_process.hpp"
#include "support/sandbox.hpp"

#include <gtest/gtest.h>

#include <unistd.h>

namespace zel {
namespace {

// The built tool with the given arguments; `asNobody` first gives up root
// through setpriv, as an ordinary front-end would run it.
CommandResult runTool(std::vector<std::string> args, bool asNobody = false)
{
    if (!asNobody) {
        return runProcess(ZEL_EXEC_PATH, args, 5000);
    }
    args.insert(args.begin(), {"--reuid=65534", "--regid=65534", "--clear-groups", ZEL_EXEC_PATH});
    return runProcess("/usr/bin/setpriv", args, 5000);
}

TEST(Binary, AnswersHelpAndRefusesOrdinaryUsersAndMalformedCommandLines)
{
    if (::geteuid() != 0) {
        GTEST_SKIP() << "needs root to run the tool both as root and as nobody";
    }
    const std::string golden = testing::readFile(ZEL_TEST_DATA_DIR "/dispatch/help_golden.txt");
    const std::string permission = "zel_exec: root permission required; use sudo -n /usr/bin/zel_exec\n";
    const struct {
        std::vector<std::string> args;
        bool asNobody;
        CommandResult expected;
    } cases[] = {
        {{"-h"}, false, {0, golden, ""}},
        {{"--help"}, true, {0, golden, ""}},
        {{"-c", "201 1"}, true, {67, "", permission}},
        {{"-h", "-c", "201 1"}, true, {67, "", permission}},
        {{"-c"}, false, {64, "", "zel_exec: expected -c followed by 1..64 command groups; see -h\n"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::PrintToString(c.args) + (c.asNobody ? " as nobody" : " as root"));
        const CommandResult got = runTool(c.args, c.asNobody);
        EXPECT_EQ(got.exitCode, c.expected.exitCode);
        EXPECT_EQ(got.output, c.expected.output);
        EXPECT_EQ(got.error, c.expected.error);
    }
}

TEST(Binary, SavesFanSettingsOnlyWhenTheWholeBatchIsValid)
{
    ZEL_RUN_IN_SANDBOX([] {
        std::string error;
        if (!testing::mountEmptyTmpfs("/etc", error)) {
            return error;
        }
        const CommandResult rejected = runTool({"-c", "201 1", "201 2"});
        const std::string created = ::access("/etc/zel", F_OK) == 0 ? "the rejected batch created /etc/zel\n" : "";
        const CommandResult saved = runTool({"-c", "201 1", "202 6"});
        return created + testing::mismatch(std::to_string(rejected.exitCode) + " " + rejected.output + rejected.error +
                                               std::to_string(saved.exitCode) + " " + saved.output + saved.error +
                                               testing::readFile("/etc/zel/fanMode.config") +
                                               testing::readFile("/etc/zel/fanLevel.config"),
                                           "66 zel_exec: command[2] id=201 validation: value outside allowed range\n"
                                           "0 1\n6\n");
    });
}

} // namespace
} // namespace zel
