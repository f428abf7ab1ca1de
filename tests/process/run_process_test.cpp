#include "process/run_process.hpp"
#include "support/sandbox.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <chrono>
#include <filesystem>
#include <set>
#include <thread>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>

namespace zel {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;

// Argument zero, the environment, what standard input is and the shell's own
// descriptors, then standard input read to its end.
constexpr char kProbe[] = "echo \"$0\"; tr '\\0' '\\n' </proc/$$/environ; readlink /proc/$$/fd/0; "
                          "ls /proc/$$/fd; cat; echo err >&2";

// Besides 0, 1 and 2 the child may hold only what this process hands to
// every program it starts (a test harness may leak some).
std::string probeOutput()
{
    std::set<std::string> inherited{"0", "1", "2"}; // sorted as ls sorts them
    for (const fs::directory_entry& entry : fs::directory_iterator("/proc/self/fd")) {
        if (::fcntl(std::stoi(entry.path().filename()), F_GETFD) == 0) {
            inherited.insert(entry.path().filename());
        }
    }
    std::string seen = "/bin/sh\nPATH=/usr/sbin:/usr/bin:/sbin:/bin\nLC_ALL=C\n/dev/null\n";
    for (const std::string& fd : inherited) {
        seen += fd + "\n";
    }
    return seen;
}

// Every run must leave this process as it found it: no descriptor and no child.
class RunProcess : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_NE(::mkdtemp(dir_.data()), nullptr); }
    void TearDown() override
    {
        EXPECT_EQ(testing::openDescriptorCount(), descriptors_);
        ::prctl(PR_SET_CHILD_SUBREAPER, 0);
        EXPECT_TRUE(::waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD) << "a child was left unreaped";
        fs::remove_all(dir_);
    }
    std::string script(const std::string& body, mode_t mode = 0700)
    {
        const std::string path = dir_ + "/" + std::to_string(++scripts_);
        EXPECT_TRUE(testing::writeFile(path, "#!/bin/sh\n" + body + "\n", mode));
        return path;
    }

    const int descriptors_ = testing::openDescriptorCount();
    std::string dir_ = "/tmp/zel_run_process_XXXXXX";
    int scripts_ = 0;
};

TEST_F(RunProcess, RefusesInvalidInvocationsWithoutStartingAnything)
{
    const std::string marker = dir_ + "/started", program = script("touch " + marker), nul(1, '\0');
    const struct { std::string program, arg; int timeoutMs; } cases[] = {
        {"", "", 1000}, {"bin/sh", "", 1000}, {program + nul, "", 1000}, {program, "", 0}, {program, "", -1},
        {program, "b" + nul + "c", 1000},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.program + " within " + std::to_string(c.timeoutMs));
        const CommandResult result = runProcess(c.program, {"a", c.arg}, c.timeoutMs);
        EXPECT_EQ(std::to_string(result.exitCode) + " " + result.output + result.error,
                  c.arg.empty() ? "70 invalid process invocation\n" : "70 NUL in process argument\n");
        EXPECT_FALSE(fs::exists(marker));
    }
}

// The second run starts with a standard input that must not reach the child
// and with 1 and 2 closed, so that the first pipe is made on those numbers.
TEST_F(RunProcess, ChildSeesFixedEnvironmentFullArgumentZeroEmptyInputAndNoStrayDescriptor)
{
    const CommandResult result = runProcess("/bin/sh", {"-c", kProbe}, 2000);
    EXPECT_EQ(std::to_string(result.exitCode) + "|" + result.output + "|" + result.error,
              "0|" + probeOutput() + "|err\n");
    ZEL_RUN_IN_SANDBOX([] {
        const int input = ::open("/proc/version", O_RDONLY | O_CLOEXEC);
        ::dup2(input, 0);
        ::close(input);
        ::close(1);
        ::close(2);
        const CommandResult result = runProcess("/bin/sh", {"-c", kProbe}, 2000);
        return testing::mismatch(std::to_string(result.exitCode) + "|" + result.output + "|" + result.error,
                                 "0|" + probeOutput() + "|err\n");
    });
}

TEST_F(RunProcess, SeparatesStreamsAndDecodesEveryEnding)
{
    const std::string missing = dir_ + "/missing";
    const std::string notExecutable = script("exit 0", 0400);
    const std::string exits127 = script("echo partial; echo oops >&2; exit 127");
    const std::string mebibyte(1048576, '\0');
    const struct { std::string program; int exitCode; std::string output, error; } cases[] = {
        {script("echo o1; echo e1 >&2; echo o2; echo e2 >&2"), 0, "o1\no2\n", "e1\ne2\n"},
        {script("printf x; exit 3"), 3, "x", ""},
        {script("exit 255"), 255, "", ""},
        {script("echo bye >&2; kill -TERM $$"), 143, "", "bye\n"},
        {script("kill -KILL $$"), 137, "", ""},
        {exits127, 127, "partial\n", "oops\nprogram: " + exits127 + "\n"},
        {missing, 127, "", "cannot execute fixed program\nprogram: " + missing + "\n"},
        {notExecutable, 127, "", "cannot execute fixed program\nprogram: " + notExecutable + "\n"},
        // The child is reaped long before its descendant lets go of the pipes.
        {script("(sleep 0.3; echo late; echo warn >&2) & exit 4"), 4, "late\n", "warn\n"},
        {script("head -c 1048576 /dev/zero"), 0, mebibyte, ""},
        {script("head -c 524288 /dev/zero; head -c 524288 /dev/zero >&2"), 0, mebibyte.substr(524288),
         mebibyte.substr(524288)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.program);
        const CommandResult result = runProcess(c.program, {}, 3000);
        EXPECT_EQ(result.exitCode, c.exitCode);
        EXPECT_TRUE(result.output == c.output) << result.output.size() << " bytes: " << result.output.substr(0, 80);
        EXPECT_TRUE(result.error == c.error) << result.error.size() << " bytes: " << result.error.substr(0, 80);
    }
}

TEST_F(RunProcess, StopsCollectingOneByteBeyondOneMebibyteOverBothStreams)
{
    const std::string limit = "process output limit exceeded\n";
    for (const char* body : {"head -c 1048577 /dev/zero", "head -c 524288 /dev/zero; head -c 524289 /dev/zero >&2"}) {
        SCOPED_TRACE(body);
        const CommandResult result = runProcess(script(body), {}, 3000);
        EXPECT_EQ(result.exitCode, 70);
        EXPECT_LE(result.output.size() + result.error.size(), 1048576 + limit.size());
        EXPECT_EQ(result.error.substr(result.error.size() - std::min(result.error.size(), limit.size())), limit);
    }
}

TEST_F(RunProcess, KillsTheWholeProcessGroupAtTheDeadline)
{
    // As subreaper this process inherits the orphaned descendant and sees how it ended.
    ASSERT_EQ(::prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
    // In the second case the child is reaped early and only its descendant holds the pipes.
    for (const char* body : {"sleep 30 & echo $!; exec sleep 30", "sleep 30 & echo $!"}) {
        SCOPED_TRACE(body);
        const auto start = std::chrono::steady_clock::now();
        const CommandResult result = runProcess(script(body), {}, 200);
        const auto elapsed = std::chrono::steady_clock::now() - start;
        EXPECT_TRUE(elapsed >= milliseconds(200) && elapsed < milliseconds(1500));
        EXPECT_EQ(result.exitCode, 70);
        EXPECT_EQ(result.error, "process timed out\n");
        int status = 0;
        for (int tries = 0; tries < 100 && ::waitpid(std::stoi(result.output), &status, WNOHANG) == 0; ++tries) {
            std::this_thread::sleep_for(milliseconds(10));
        }
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << "descendant status " << status;
    }
}

} // namespace
} // namespace zel
