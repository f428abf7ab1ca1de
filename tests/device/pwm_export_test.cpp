#include "device/linux_device_io.hpp"
#include "support/sandbox.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>

#include <sys/stat.h>

namespace zel {
namespace {

// Plays the kernel behind the export attribute; everything else in ensurePwm is the real thing.
struct ExportStandIn : LinuxDeviceIo {
    bool writeSysfs(const std::string& path, const std::string& value, std::string& error) override
    {
        writes += path + " " + value + ";";
        if (createsChannel) {
            ::mkdir(channel.c_str(), 0755);
        }
        if (!accepts) {
            error = "write: Device or resource busy";
        }
        return accepts;
    }

    std::string channel;
    bool createsChannel = false;
    bool accepts = false;
    std::string writes;
};

// Puts the chip path in place of each '@'.
std::string withChip(std::string text, const std::string& chip)
{
    for (std::size_t at = text.find('@'); at != std::string::npos; at = text.find('@', at + chip.size())) {
        text.replace(at, 1, chip);
    }
    return text;
}

enum class Before { Nothing, ChannelDirectory, ChannelFile };

TEST(PwmExport, ExportsOnlyWhenNeededAndWaitsABoundedTimeForTheChannel)
{
    struct Case {
        Before before;
        bool createsChannel, accepts;
        int channel;
        bool exists;
        const char* error;
        const char* writes;
        bool timesOut;
    };
    const Case cases[] = {
        {Before::ChannelDirectory, false, false, 1, true, "earlier text", "", false},
        {Before::Nothing, true, true, 1, true, "earlier text", "@/export 1;", false},
        {Before::Nothing, true, true, 12, true, "earlier text", "@/export 12;", false},
        {Before::Nothing, true, false, 1, true, "", "@/export 1;", false},
        {Before::Nothing, false, false, 1, false, "write: Device or resource busy", "@/export 1;", false},
        {Before::Nothing, false, true, 1, false, "PWM export timed out: @/pwm1", "@/export 1;", true},
        {Before::ChannelFile, false, true, 1, false, "PWM export timed out: @/pwm1", "@/export 1;", true},
    };
    for (const Case& c : cases) {
        char chip[] = "/tmp/zel-pwm-XXXXXX";
        ASSERT_NE(::mkdtemp(chip), nullptr);
        ExportStandIn io;
        io.channel = std::string(chip) + "/pwm" + std::to_string(c.channel);
        io.createsChannel = c.createsChannel;
        io.accepts = c.accepts;
        SCOPED_TRACE(io.channel + " " + c.error);
        if (c.before == Before::ChannelDirectory) {
            ASSERT_EQ(::mkdir(io.channel.c_str(), 0755), 0);
        } else if (c.before == Before::ChannelFile) {
            std::ofstream(io.channel.c_str());
        }
        std::string error = "earlier text";
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(io.ensurePwm(chip, c.channel, error), c.exists);
        const auto waited = std::chrono::steady_clock::now() - start;
        EXPECT_EQ(error, withChip(c.error, chip));
        EXPECT_EQ(io.writes, withChip(c.writes, chip));
        // 40 sleeps of 10 ms; the upper bounds only leave room for a busy machine.
        EXPECT_GE(waited, std::chrono::milliseconds(c.timesOut ? 400 : 0));
        EXPECT_LT(waited, std::chrono::milliseconds(c.timesOut ? 2000 : 200));
        std::filesystem::remove_all(chip);
    }
}

} // namespace
} // namespace zel
