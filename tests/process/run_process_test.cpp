#include "process/run_process.hpp"
#include "support/files.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <set>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>

namespace zel {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;

std::string shown(const CommandResult& result)
{
    return std::to_string(result.exitCode) + "|" + result.output + "|" + result.error;
}

// Every run must leave this process as it found it: no descriptor and no child.
class RunProcess : public ::testing::Test {
protected:
    void TearDown() override
    {
        EXPECT_EQ(testing::openDescriptorCount(), descriptors_);
        ::prctl(PR_SET_CHILD_SUBREAPER, 0);
        EXPECT_TRUE(::waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD) << "a child was left unreaped";
    }
    std::string script(const std::string& body)
    {
        const std::string path = dir_.path + "/" + std::to_string(++scripts_);
        EXPECT_TRUE(testing::writeFile(path, "#!/bin/sh\n" + body + "\n", 0700));
        return path;
    }
    const long descriptors_ = testing::openDescriptorCount();
    testing::TempDirectory dir_;
    int scripts_ = 0;
};

TEST_F(RunProcess, RefusesInvalidInvocationsWithoutStartingAnything)
{
    const std::string marker = dir_.path + "/started", program = script("touch " + marker), nul(1, '\0');
    const struct { std::string program, arg; int timeoutMs; } cases[] = {
        {"bin/sh", "", 1000}, {program + nul, "", 1000}, {program, "", 0}, {program, "b" + nul + "c", 1000},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.program + " within " + std::to_string(c.timeoutMs));
        EXPECT_EQ(shown(runProcess(c.program, {"a", c.arg}, c.timeoutMs)),
                  c.arg.empty() ? "70||invalid process invocation\n" : "70||NUL in process argument\n");
        EXPECT_FALSE(fs::exists(marker));
    }
}

// In a child of its own, each case first gets a standard input that must not reach the program: a pipe with
// text. Then the listed descriptors are closed, so that the pipes or the program's /dev/null are made on those
// numbers. The program shows argument zero, its environment, standard input and its descriptors, then reads
// standard input to its end: besides 0, 1 and 2 it may hold only what this process hands to every program.
TEST_F(RunProcess, ChildSeesFixedEnvironmentArgumentZeroEmptyInputAndNoStrayDescriptor)
{
    for (const std::string closed : {"", "012", "2"}) {
        SCOPED_TRACE("closed " + closed);
        const pid_t pid = ::fork();
        if (pid == 0) {
            int input[2];
            if (::pipe(input) != 0 || ::write(input[1], "leak\n", 5) != 5 || ::dup2(input[0], 0) != 0) {
                ::_exit(3);
            }
            ::close(input[0]);
            ::close(input[1]);
            for (const char fd : closed) {
                ::close(fd - '0');
            }
            std::set<std::string> inherited{"0", "1", "2"}; // sorted as ls sorts them
            for (const fs::directory_entry& entry : fs::directory_iterator("/proc/self/fd")) {
                if (::fcntl(std::stoi(entry.path().filename()), F_GETFD) == 0) {
                    inherited.insert(entry.path().filename());
                }
            }
            std::string expected = "0|/bin/sh\nPATH=/usr/sbin:/usr/bin:/sbin:/bin\nLC_ALL=C\n/dev/null\n";
            for (const std::string& fd : inherited) {
                expected += fd + "\n";
            }
            const long descriptors = testing::openDescriptorCount();
            const std::string got = shown(runProcess(
                "/bin/sh", {"-c", "echo $0; xargs -0n1 </proc/$$/environ; readlink /proc/$$/fd/0; ls /proc/$$/fd; cat; "
                                  "echo e >&2"}, 2000));
            ::_exit(got != expected + "|e\n" ? 1 : testing::openDescriptorCount() != descriptors ? 2 : 0);
        }
        int status = -1;
        ::waitpid(pid, &status, 0);
        EXPECT_EQ(status, 0) << "1: wrong result, 2: descriptors left, 3: no piped input";
    }
}

TEST_F(RunProcess, SeparatesStreamsDecodesEveryEndingAndStopsBeyondOneMebibyte)
{
    const std::string missing = dir_.path + "/missing", half(524288, '\0');
    const std::string exits127 = script("echo partial; echo oops >&2; exit 127");
    const struct { std::string program, shown; } cases[] = {
        {script("echo o1; echo e1 >&2; echo o2; echo e2 >&2"), "0|o1\no2\n|e1\ne2\n"},
        {script("printf x; exit 3"), "3|x|"},
        {script("echo bye >&2; kill -TERM $$"), "143||bye\n"},
        {exits127, "127|partial\n|oops\nprogram: " + exits127 + "\n"},
        {missing, "127||cannot execute fixed program\nprogram: " + missing + "\n"},
        // The child is reaped long before its descendant lets go of the pipes.
        {script("(sleep 0.3; echo late; echo warn >&2) & exit 4"), "4|late\n|warn\n"},
        {script("exec 2>&-; sleep 0.1; echo out"), "0|out\n|"},
        {script("head -c 524288 /dev/zero; head -c 524288 /dev/zero >&2"), "0|" + half + "|" + half},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.program);
        const std::string got = shown(runProcess(c.program, {}, 3000));
        EXPECT_TRUE(got == c.shown) << got.substr(0, 200);
    }
    // One byte more, over both streams: what was read so far is kept, then the reason.
    const std::string limit = "process output limit exceeded\n";
    const CommandResult over = runProcess(script("head -c 524288 /dev/zero; head -c 524289 /dev/zero >&2"), {}, 3000);
    EXPECT_EQ(over.exitCode, 70);
    EXPECT_LE(over.output.size() + over.error.size(), 1048576 + limit.size());
    EXPECT_EQ(over.error.substr(over.error.size() - std::min(over.error.size(), limit.size())), limit);
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
        EXPECT_EQ(std::to_string(result.exitCode) + " " + result.error, "70 process timed out\n");
        int status = 0;
        ::waitpid(std::stoi(result.output), &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << "descendant status " << status;
    }
}

} // namespace
} // namespace zel
