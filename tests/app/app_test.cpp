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
    DescriptorBuffer closed(-1, nullptr, 0); // write errors are ignored, as with std::cout, and end the write
    std::ostream(&closed) << "lost";
    ::close(fds[0]);
    ::close(fds[1]);
}

// The built tool, from a world-readable copy as the checkout may sit where only root can enter: help for
// anyone, a refusal for everything else an ordinary user asks.
TEST(Binary, AnswersHelpToAnyoneAndRefusesOrdinaryUsers)
{
    const testing::TempDirectory dir;
    const std::string tool = dir.path + "/zel_exec", help = testing::readFile(ZEL_TEST_DATA_DIR "/dispatch/help_golden.txt");
    if (::geteuid() != 0 || !testing::writeFile(tool, testing::readFile(ZEL_EXEC_PATH), 0755) ||
        ::chmod(dir.path.c_str(), 0755) != 0) {
        GTEST_SKIP() << "needs root to run the tool as nobody";
    }
    for (const auto& [args, shown] : {std::pair<std::string, std::string>{"--help", "0|" + help + "|"},
                                      {"-c 201", "67||zel_exec: root permission required; use sudo -n /usr/bin/zel_exec\n"}}) {
        const CommandResult got = runProcess("/usr/bin/setpriv", {"--reuid=65534", "--regid=65534", "--clear-groups",
                                                                  "/bin/sh", "-c", "exec " + tool + " " + args}, 5000);
        EXPECT_EQ(std::to_string(got.exitCode) + "|" + got.output + "|" + got.error, shown) << args;
    }
}

} // namespace
} // namespace zel
