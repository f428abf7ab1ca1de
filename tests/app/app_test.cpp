#include "app/descriptor_buffer.hpp"
#include "process/run_process.hpp"
#include "support/private_mounts.hpp"

#include <gtest/gtest.h>

#include <ostream>

#include <fcntl.h>

namespace zel {
namespace {

using testing::Private;

std::string drain(int fd) // what has reached the descriptor so far
{
    char buffer[256];
    const ssize_t count = ::read(fd, buffer, sizeof buffer);
    return std::string(buffer, count > 0 ? static_cast<std::size_t>(count) : 0);
}

// A buffer holds text until it is full, flushed or gone, and never lets a later write overtake an earlier
// one; one without space passes every insertion straight on.
TEST(DescriptorBuffer, HoldsTextUntilFullOrFlushedAndKeepsItsOrder)
{
    int fds[2];
    ASSERT_EQ(::pipe2(fds, O_NONBLOCK | O_CLOEXEC), 0);
    const auto arrived = [&fds](const char* want) { EXPECT_EQ(drain(fds[0]), want); };
    {
        char space[4];
        DescriptorBuffer buffer(fds[1], space, sizeof space);
        std::ostream out(&buffer);
        out << "ab" << "cd";
        arrived("");
        out.put('e');
        arrived("abcd");
        out << "fghij"; // more than the buffer holds: what it held goes first
        arrived("efghij");
        out << "v" << "wxyz"; // exactly the buffer's size: held once "v" has gone
        arrived("v");
        out.flush();
        arrived("wxyz");
        out << "q";
        arrived("");
    }
    arrived("q");
    DescriptorBuffer unbuffered(fds[1], nullptr, 0);
    std::ostream err(&unbuffered);
    err.put('k');
    arrived("k");
    err << "line\n";
    arrived("line\n");
    DescriptorBuffer closed(-1, nullptr, 0); // write errors are ignored, as with std::cout, and end the write
    std::ostream(&closed) << "lost";
    ::close(fds[0]);
    ::close(fds[1]);
}

// The whole tool: a rejected batch leaves /etc untouched; what a program printed reaches standard output before
// the diagnostic that follows it, even when both streams share one pipe.
TEST_F(Private, BinarySavesOnlyWholeValidBatchesAndKeepsOutputBeforeItsDiagnostic)
{
    const testing::FreshEtc etc;
    ASSERT_TRUE(etc.mounted && testing::installProgram("/usr/bin/pinctrl", "echo \"line $2\"; [ $2 = 7 ]"));
    const auto tool = [](const std::string& args) {
        const CommandResult result = runProcess("/bin/sh", {"-c", "exec " ZEL_EXEC_PATH " " + args + " 2>&1"}, 5000);
        return std::to_string(result.exitCode) + "|" + result.output;
    };
    EXPECT_EQ(tool("-c '201 1' '201 2'"), "66|zel_exec: command[2] id=201 validation: value outside allowed range\n");
    EXPECT_EQ(testing::shownFile("/etc/zel"), "(none)");
    EXPECT_EQ(tool("-c '201 1' '202 6'"), "0|");
    EXPECT_EQ(testing::shownFile("/etc/zel/fanMode.config") + testing::shownFile("/etc/zel/fanLevel.config"), "1\n6\n");
    EXPECT_EQ(tool("-c 502"), "74|line 7\nline 21\nzel_exec: command[1] id=502 execution: pinctrl exit=1\n");
}

} // namespace
} // namespace zel
