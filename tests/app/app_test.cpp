#include "app/descriptor_buffer.hpp"
#include "process/run_process.hpp"
#include "support/files.hpp"

#include <gtest/gtest.h>

#include <ostream>

#include <fcntl.h>

namespace zel {
namespace {

// What has reached the descriptor so far.
std::string drain(int fd)
{
    std::string text;
    char buffer[256];
    for (ssize_t count; (count = ::read(fd, buffer, sizeof buffer)) > 0;) {
        text.append(buffer, static_cast<std::size_t>(count));
    }
    return text;
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
    ::close(fds[0]);
    ::close(fds[1]);
}

// The built tool answers help to anyone and refuses everything else to an ordinary user. It runs from a
// world-readable copy, as the checkout may sit in a directory only root can enter.
TEST(Binary, AnswersHelpToAnyoneAndRefusesOrdinaryUsers)
{
    if (::geteuid() != 0) {
        GTEST_SKIP() << "needs root to run the tool both as root and as nobody";
    }
    const testing::TempDirectory dir;
    const std::string tool = dir.path + "/zel_exec";
    ASSERT_TRUE(testing::writeFile(tool, testing::readFile(ZEL_EXEC_PATH), 0755) && ::chmod(dir.path.c_str(), 0755) == 0);
    const std::string help = testing::readFile(ZEL_TEST_DATA_DIR "/dispatch/help_golden.txt");
    const struct { std::vector<std::string> args; bool asNobody; std::string shown; } cases[] = {
        {{"-h"}, false, "0|" + help + "|"},
        {{"--help"}, true, "0|" + help + "|"},
        {{"-c", "201 1"}, true, "67||zel_exec: root permission required; use sudo -n /usr/bin/zel_exec\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::PrintToString(c.args) + (c.asNobody ? " as nobody" : " as root"));
        std::vector<std::string> args{"--reuid=65534", "--regid=65534", "--clear-groups", tool};
        args.insert(args.end(), c.args.begin(), c.args.end());
        const CommandResult got = c.asNobody ? runProcess("/usr/bin/setpriv", args, 5000) : runProcess(tool, c.args, 5000);
        EXPECT_EQ(std::to_string(got.exitCode) + "|" + got.output + "|" + got.error, c.shown);
    }
}

} // namespace
} // namespace zel
