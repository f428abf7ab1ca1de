#include "device/linux_device_io.hpp"
#include "support/sandbox.hpp"

#include <gtest/gtest.h>

#include <filesystem>

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

TEST(SysfsWriter, WritesOnlyExistingSysfsNodesNotReachedThroughALinkAndClosesThem)
{
    char pattern[] = "/tmp/zel-sysfs-XXXXXX";
    ASSERT_NE(::mkdtemp(pattern), nullptr);
    const std::string dir = pattern;
    const std::string file = dir + "/duty_cycle", missing = dir + "/enable", link = dir + "/period";
    ASSERT_TRUE(testing::writeFile(file, "40000\n"));
    // Linked to a real attribute and given its own value, so that even a writer following the link changes nothing.
    const auto [attribute, held] = harmlessAttribute();
    ASSERT_EQ(::symlink(attribute.empty() ? file.c_str() : attribute.c_str(), link.c_str()), 0);
    struct Case {
        const char* name;
        std::string path, error; // "earlier text" when written
    };
    std::vector<Case> cases = {
        {"non-sysfs node", file, "hardware node must reside in sysfs: " + file},
        {"missing node", missing, "open " + missing + ": No such file or directory"},
        {"symbolic link", link, "open " + link + ": Too many levels of symbolic links"},
    };
    if (!attribute.empty()) {
        cases.push_back({"real attribute", attribute, "earlier text"});
    }
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string before = readFile(c.path);
        LinuxDeviceIo io;
        std::string error = "earlier text";
        const int descriptors = openDescriptorCount();
        EXPECT_EQ(io.writeSysfs(c.path, held.empty() ? "0" : held, error), c.error == "earlier text");
        EXPECT_EQ(openDescriptorCount(), descriptors);
        EXPECT_EQ(error, c.error);
        EXPECT_EQ(readFile(c.path), before);
    }
    EXPECT_NE(::access(missing.c_str(), F_OK), 0);
    std::filesystem::remove_all(dir);
    if (attribute.empty()) {
        GTEST_SKIP() << "refusals checked, but no harmless writable sysfs attribute on this machine to write";
    }
}

} // namespace
} // namespace zel
