#include "support/fake_device_io.hpp"
#include "support/sandbox.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

namespace zel {
namespace {

namespace fs = std::filesystem;

enum class Before { Nothing, ChannelDirectory, ChannelFile };

// Only the export write is played by the test, as the kernel would answer it; the waiting is the real thing.
TEST(PwmExport, ExportsOnlyWhenNeededAndWaitsABoundedTimeForTheChannel)
{
    char pattern[] = "/tmp/zel-pwm-XXXXXX";
    ASSERT_NE(::mkdtemp(pattern), nullptr);
    const std::string chip = pattern, channel = chip + "/pwm1", export1 = chip + "/export=1\n";
    const struct {
        Before before;
        bool createsChannel;
        const char* failing;
        bool exists;
        std::string error, writes;
        bool timesOut;
    } cases[] = {
        {Before::ChannelDirectory, false, "", true, "earlier text", "", false},
        {Before::Nothing, true, "", true, "earlier text", export1, false},
        {Before::Nothing, true, "1", true, "", export1, false}, // someone else exported it first
        {Before::Nothing, false, "1", false, "fail 1", export1, false},
        {Before::Nothing, false, "", false, "PWM export timed out: " + channel, export1, true},
        {Before::ChannelFile, false, "", false, "PWM export timed out: " + channel, export1, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE("case " + std::to_string(&c - cases));
        fs::remove(channel);
        if (c.before != Before::Nothing) {
            ASSERT_TRUE(c.before == Before::ChannelFile ? testing::writeFile(channel, "")
                                                        : fs::create_directory(channel));
        }
        testing::RecordingSysfsIo io;
        io.failing = c.failing;
        if (c.createsChannel) {
            io.onWrite = [&channel] { fs::create_directory(channel); };
        }
        std::string error = "earlier text";
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(io.ensurePwm(chip, 1, error), c.exists);
        const auto waited = std::chrono::steady_clock::now() - start;
        EXPECT_EQ(error, c.error);
        EXPECT_EQ(io.writes, c.writes);
        // 40 sleeps of 10 ms; the upper bounds only leave room for a busy machine.
        EXPECT_GE(waited, std::chrono::milliseconds(c.timesOut ? 400 : 0));
        EXPECT_LT(waited, std::chrono::milliseconds(c.timesOut ? 2000 : 200));
    }
    fs::remove_all(chip);
}

} // namespace
} // namespace zel
