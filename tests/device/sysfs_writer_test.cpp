#include "device/linux_device_io.hpp"
#include "support/sandbox.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include <unistd.h>

namespace zel {
namespace {

using testing::openDescriptorCount;
using testing::readFile;

// Kernel tunables with no hardware behind them; they are only ever given back the value they hold.
constexpr const char* kHarmlessAttributes[] = {"/sys/kernel/mm/ksm/sleep_millisecs",
                                               "/sys/kernel/mm/transparent_hugepage/khugepaged/scan_sleep_millisecs",
                                               "/sys/module/printk/parameters/time"};

// The first candidate that is writable and holds one line, with that line; empty when there is none.
std::pair<std::string, std::string> harmlessAttribute()
{
    for (const char* path : kHarmlessAttributes) {
        const std::string text = readFile(path);
        if (::access(path, W_OK) == 0 && !text.empty() && text.find('\n') == text.size() - 1) {
            return {path, text.substr(0, text.size() - 1)};
        }
    }
    return {};
}

TEST(SysfsWriter, RefusesForeignMissingAndLinkedNodesWithoutTouchingThem)
{
    char pattern[] = "/tmp/zel-sysfs-XXXXXX";
    ASSERT_NE(::mkdtemp(pattern), nullptr);
    const std::string dir = pattern;
    const std::string file = dir + "/duty_cycle", missing = dir + "/enable", link = dir + "/period";
    std::ofstream(file) << "40000\n";
    // Linked to a real attribute and given its own value, so that even a writer following the link changes nothing.
    const auto [attribute, held] = harmlessAttribute();
    ASSERT_EQ(::symlink(attribute.empty() ? file.c_str() : attribute.c_str(), link.c_str()), 0);
    const std::pair<std::string, std::string> cases[] = {
        {file, "hardware node must reside in sysfs: " + file},
        {missing, "open " + missing + ": No such file or directory"},
        {link, "open " + link + ": Too many levels of symbolic links"},
    };
    for (const auto& [path, expected] : cases) {
        SCOPED_TRACE(path);
        const std::string before = readFile(path);
        LinuxDeviceIo io;
        std::string error = "earlier text";
        const int descriptors = openDescriptorCount();
        EXPECT_FALSE(io.writeSysfs(path, held.empty() ? "0" : held, error));
        EXPECT_EQ(openDescriptorCount(), descriptors);
        EXPECT_EQ(error, expected);
        EXPECT_EQ(readFile(path), before);
    }
    EXPECT_NE(::access(missing.c_str(), F_OK), 0);
    std::filesystem::remove_all(dir);
}

TEST(SysfsWriter, WritesTheLineIntoARealAttributeAndClosesIt)
{
    const auto [path, held] = harmlessAttribute();
    if (path.empty()) {
        GTEST_SKIP() << "no harmless writable sysfs attribute on this machine";
    }
    LinuxDeviceIo io;
    std::string error = "earlier text";
    const int descriptors = openDescriptorCount();
    ASSERT_TRUE(io.writeSysfs(path, held, error)) << error;
    EXPECT_EQ(openDescriptorCount(), descriptors);
    EXPECT_EQ(error, "earlier text");
    EXPECT_EQ(readFile(path), held + "\n");
}

} // namespace
} // namespace zel
