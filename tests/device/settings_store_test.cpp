// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#include "device/linux_device_io.hpp"
#include "support/private_mounts.hpp"

#include <cstdlib>

namespace zel {
namespace {

using test::Private;

constexpr char kZel[] = "/etc/zel", kMode[] = "/etc/zel/fanMode.config", kOld[] = "earlier settings\n";
constexpr char kUntrusted[] = "configuration directory must be owned by root and not writable by group/others";
constexpr char kUnsafe[] = "configuration must be a regular file without group/other write permissions or hard links";
constexpr char kWhitelist[] = "configuration filename outside whitelist";

TEST_F(Private, SettingsStoreWritesOnlyRootOwnedPlainFilesAndLeavesRefusedOnesAlone)
{
    const std::string zel = "mkdir zel; echo earlier settings >zel/fanMode.config; ";
    const struct {
        std::string setup, error; // setup: run in the fresh /etc; error empty: stored; after: what `checked` shows
        const char *checked = kMode, *after = kOld, *directory = kZel, *fileName = "fanMode.config";
    } cases[] = {
        {"", "", kMode, "7\n"},
        {"mkdir device; echo earlier settings >device/black.config", "", "/etc/device/black.config", "7\n",
         "/etc/device", "black.config"},
        {zel, kWhitelist, "/etc/zel/black.config", "(none)", kZel, "black.config"},
        {"mkdir device", kWhitelist, "/etc/device/fanMode.config", "(none)", "/etc/device"},
        {"", "open /etc/device: No such file or directory", "/etc/device", "(none)", "/etc/device", "black.config"},
        {"mount -o remount,ro /etc", "mkdir /etc/zel: Read-only file system", kZel, "(none)"},
        {zel + "chown 1000 /etc", kUntrusted},
        {zel + "chmod 775 zel", kUntrusted},
        {zel + "chmod 757 zel", kUntrusted},
        {zel + "chown 1000 zel", kUntrusted},
        {"echo earlier settings >zel", "open /etc/zel: Not a directory", kZel},
        {"mkdir x; echo earlier settings >x/x; ln -s x zel", "open /etc/zel: Not a directory", "/etc/x/x"},
        {"mkdir zel; echo earlier settings >zel/x; ln -s x zel/fanMode.config",
         "open fanMode.config: Too many levels of symbolic links", "/etc/zel/x"},
        {"mkdir zel; mkfifo zel/fanMode.config", "open fanMode.config: No such device or address", kZel, ""},
        {"mkdir zel; mknod zel/fanMode.config c 1 3", kUnsafe, kMode, ""},
        {zel + "chmod 664 zel/fanMode.config", kUnsafe},
        {zel + "chmod 646 zel/fanMode.config", kUnsafe},
        {zel + "ln zel/fanMode.config zel/2", kUnsafe},
        // Another process holds the lock for a second: a store that waited for it would then succeed.
        {zel + "(flock 9; : >held; sleep 1) 9<zel/fanMode.config & until [ -e held ]; do sleep 0.01; done",
         "lock/truncate fanMode.config: Resource temporarily unavailable"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.setup);
        const test::FreshEtc etc;
        ASSERT_TRUE(etc.mounted && std::system(("set -e; umask 022; cd /etc; " + c.setup).c_str()) == 0);
        const long descriptors = test::openDescriptorCount();
        std::string error = "-";
        const bool stored = LinuxDeviceIo().writeConfig(c.directory, c.fileName, "7", error);
        EXPECT_EQ(stored, c.error.empty());
        EXPECT_EQ(error, c.error.empty() ? "-" : c.error);
        EXPECT_EQ(test::shownFile(c.checked), c.after);
        EXPECT_EQ(test::openDescriptorCount(), descriptors);
    }
}

} // namespace
} // namespace zel
