// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#include "device/linux_device_io.hpp"
#include "support/files.hpp"

#include <gtest/gtest.h>

namespace zel {
namespace {

// What the kernel's nodes accept and refuse is proven on the simulated board; here, what never reaches one.
TEST(SysfsWriter, RefusesNodesOutsideSysfsOrReachedThroughALinkAndClosesWhatItOpened)
{
    const test::TempDirectory dir;
    const std::string file = dir.path + "/duty_cycle", missing = dir.path + "/enable", link = dir.path + "/period";
    ASSERT_TRUE(test::writeFile(file, "40000\n") && ::symlink("duty_cycle", link.c_str()) == 0);
    const std::pair<std::string, std::string> cases[] = {
        {file, "hardware node must reside in sysfs: " + file},
        {missing, "open " + missing + ": No such file or directory"},
        {link, "open " + link + ": Too many levels of symbolic links"},
    };
    for (const auto& [path, refusal] : cases) {
        SCOPED_TRACE(path);
        const long descriptors = test::openDescriptorCount();
        std::string error = "-";
        EXPECT_FALSE(LinuxDeviceIo().writeSysfs(path, "0", error));
        EXPECT_EQ(error + "|" + test::shownFile(file), refusal + "|40000\n");
        EXPECT_EQ(test::openDescriptorCount(), descriptors);
    }
}

} // namespace
} // namespace zel
