// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#pragma once

#include "support/files.hpp"

#include <gtest/gtest.h>

#include <linux/magic.h>
#include <sys/mount.h>
#include <sys/statfs.h>

namespace zel::test {

// The cases that need their own /etc and /usr/bin. tests/support/run_private.sh starts them in a mount namespace
// of their own with /usr/bin as an overlay; anywhere else they would change the machine, so they refuse.
class Private : public ::testing::Test {
protected:
    void SetUp() override
    {
        struct statfs usrBin {};
        if (::statfs("/usr/bin", &usrBin) != 0 || usrBin.f_type != OVERLAYFS_SUPER_MAGIC ||
            readFile("/proc/self/mountinfo") == readFile("/proc/1/mountinfo")) {
            GTEST_FAIL() << "run only through tests/support/run_private.sh (ctest -R Private)";
        }
    }
};

// A fresh, empty /etc on top of the last one, taken away again at the end.
struct FreshEtc {
    const bool mounted = ::mount("tmpfs", "/etc", "tmpfs", 0, "mode=0755,uid=0,gid=0") == 0;
    ~FreshEtc() { ::umount2("/etc", MNT_DETACH); }
};

// A program at `path` that logs its arguments, one run a line, to /mnt/log and then runs `answer`; none if empty.
inline bool installProgram(const char* path, const std::string& answer)
{
    ::unlink("/mnt/log");
    ::unlink(path);
    return answer.empty() || writeFile(path, "#!/bin/sh\necho \"$*\" >>/mnt/log\n" + answer + "\n", 0755);
}

} // namespace zel::test
