#include "device/linux_device_io.hpp"
#include "support/sandbox.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <functional>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zel {
namespace {

constexpr char kZel[] = "/etc/zel";
constexpr char kMode[] = "/etc/zel/fanMode.config";
constexpr char kLevel[] = "/etc/zel/fanLevel.config";
constexpr char kOld[] = "earlier settings\n";
constexpr char kUntrustedDirectory[] = "configuration directory must be owned by root and not writable by group/others";
constexpr char kUnsafeFile[] =
    "configuration must be a regular file without group/other write permissions or hard links";
constexpr char kOutsideWhitelist[] = "configuration filename outside whitelist";

// Both give the exact mode whatever the umask and return 0 on success, so that setups can be or-ed together.
int makeDirectory(const char* path, mode_t mode = 0755) { return ::mkdir(path, mode) | ::chmod(path, mode); }
int makeFile(const char* path, mode_t mode = 0644, const std::string& content = kOld)
{
    return testing::writeFile(path, content, mode) ? 0 : -1;
}

int goodZel() { return makeDirectory(kZel) | makeFile(kMode); }
std::function<int()> goodZelThen(int (*change)(const char*, mode_t), const char* path, mode_t mode)
{
    return [=] { return goodZel() | change(path, mode); };
}
int chownToUser(const char* path, mode_t) { return ::chown(path, 1000, 0); }

// The real /etc is a mount point and cannot be replaced, so an odd /etc gets a root of its own on /mnt.
std::function<int()> inOwnRoot(int (*layout)())
{
    return [layout] {
        std::string error;
        return testing::mountEmptyTmpfs("/mnt", error) && layout() == 0 ? ::chroot("/mnt") : -1;
    };
}

// Empty when `path` holds exactly `want`; an empty `want` means nothing may be there.
std::string contentMismatch(const std::string& path, const std::string& want)
{
    struct stat status {};
    const std::string got = ::lstat(path.c_str(), &status) != 0 ? "" : testing::readFile(path);
    return got == want ? "" : path + " holds \"" + got + "\" instead of \"" + want + "\"; ";
}

struct Case {
    const char* name;
    std::function<int()> setup; // lays out the fresh /etc
    std::string error;          // empty: stored
    const char* checked = kMode;
    std::string contentAfter = kOld; // empty: nothing at `checked`
    const char* directory = "/etc/zel";
    const char* fileName = "fanMode.config";
    mode_t umask = 022;
};

// Stores "7" as `c` says in a fresh /etc; empty when result, text, descriptors, modes and `checked` are as expected.
std::string storeInFreshEtc(const Case& c)
{
    std::string error;
    ::umask(c.umask);
    if (!testing::mountEmptyTmpfs("/etc", error) || c.setup() != 0) {
        return "cannot lay out /etc: " + error;
    }
    LinuxDeviceIo io;
    error = "earlier text";
    const int descriptors = testing::openDescriptorCount();
    const bool stored = io.writeConfig(c.directory, c.fileName, "7", error);
    std::string report = testing::openDescriptorCount() == descriptors ? "" : "descriptors left open; ";
    if (stored != c.error.empty() || error != (stored ? "earlier text" : c.error)) {
        report += "returned " + std::to_string(stored) + " with \"" + error + "\"; ";
    }
    // What the store creates gets 0755 and 0644 reduced by the umask; what the test made has just these modes.
    struct stat directory {};
    struct stat file {};
    if (stored && (::stat(c.directory, &directory) | ::stat(c.checked, &file) ||
                   (directory.st_mode & 07777) != (0755 & ~c.umask) || (file.st_mode & 07777) != (0644 & ~c.umask))) {
        report += "wrong modes; ";
    }
    return report + contentMismatch(c.checked, c.contentAfter);
}

TEST(ConfigStore, StoresOnlyIntoRootOwnedPlainFilesAndLeavesRefusedOnesAlone)
{
    const auto none = [] { return 0; };
    const Case cases[] = {
        {"creates zel and file", none, "", kMode, "7\n"},
        {"creates under umask 0", none, "", kMode, "7\n", "/etc/zel", "fanMode.config", 0},
        {"creates under umask 077", none, "", kMode, "7\n", "/etc/zel", "fanMode.config", 077},
        {"replaces longer content", [] { return makeDirectory(kZel) | makeFile(kLevel, 0644, std::string(5000, '9')); },
         "", kLevel, "7\n", "/etc/zel", "fanLevel.config"},
        {"into existing device", [] { return makeDirectory("/etc/device"); }, "", "/etc/device/black.config", "7\n",
         "/etc/device", "black.config"},
        {"ignores group and file owner", [] { return goodZel() | ::chown(kZel, 0, 9) | ::chown(kMode, 9, 9); }, "",
         kMode, "7\n"},
        {"other directory's file", goodZel, kOutsideWhitelist, "/etc/zel/black.config", "", "/etc/zel", "black.config"},
        {"other file's directory", [] { return makeDirectory("/etc/device"); }, kOutsideWhitelist,
         "/etc/device/fanMode.config", "", "/etc/device"},
        {"trailing slash", goodZel, kOutsideWhitelist, kMode, kOld, "/etc/zel/"},
        {"device missing", none, "open /etc/device: No such file or directory", "/etc/device", "", "/etc/device",
         "black.config"},
        {"etc read-only", [] { return ::mount(nullptr, "/etc", nullptr, MS_REMOUNT | MS_RDONLY, nullptr); },
         "mkdir /etc/zel: Read-only file system", "/etc/zel", ""},
        {"etc a file", inOwnRoot([] { return makeFile("/mnt/etc"); }), "open /etc: Not a directory", "/etc"},
        {"etc a link to a good directory",
         inOwnRoot([] { return makeDirectory("/mnt/x") | makeFile("/mnt/x/x") | ::symlink("x", "/mnt/etc"); }),
         "open /etc: Not a directory", "/x/x"},
        {"etc group-writable", goodZelThen(::chmod, "/etc", 0775), kUntrustedDirectory},
        {"etc other-writable", goodZelThen(::chmod, "/etc", 0757), kUntrustedDirectory},
        {"etc foreign owner", goodZelThen(chownToUser, "/etc", 0), kUntrustedDirectory},
        {"zel group-writable", goodZelThen(::chmod, "/etc/zel", 0775), kUntrustedDirectory},
        {"zel other-writable", goodZelThen(::chmod, "/etc/zel", 0757), kUntrustedDirectory},
        {"zel foreign owner", goodZelThen(chownToUser, "/etc/zel", 0), kUntrustedDirectory},
        {"zel a file", [] { return makeFile(kZel); }, "open /etc/zel: Not a directory", "/etc/zel"},
        {"zel a link to a good directory",
         [] { return makeDirectory("/etc/x") | makeFile("/etc/x/x") | ::symlink("x", kZel); },
         "open /etc/zel: Not a directory", "/etc/x/x"},
        {"file a link", [] { return makeDirectory(kZel) | makeFile("/etc/zel/x") | ::symlink("x", kMode); },
         "open fanMode.config: Too many levels of symbolic links", "/etc/zel/x"},
        {"file a directory", [] { return makeDirectory(kZel) | makeDirectory(kMode) | makeFile(kLevel); },
         "open fanMode.config: Is a directory", kLevel},
        {"file group-writable", [] { return makeDirectory(kZel) | makeFile(kMode, 0664); }, kUnsafeFile},
        {"file other-writable", [] { return makeDirectory(kZel) | makeFile(kMode, 0646); }, kUnsafeFile},
        {"file hard-linked", [] { return goodZel() | ::link(kMode, "/etc/zel/second"); }, kUnsafeFile},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ZEL_RUN_IN_SANDBOX([&c] { return storeInFreshEtc(c); });
    }
}

TEST(ConfigStore, FailsAtOnceWhileAnotherProcessHoldsTheLock)
{
    ZEL_RUN_IN_SANDBOX([] {
        std::string error;
        if (!testing::mountEmptyTmpfs("/etc", error) || goodZel() != 0 || makeFile(kLevel) != 0) {
            return "cannot lay out /etc: " + error;
        }
        const int locked = ::open(kLevel, O_RDONLY | O_CLOEXEC);
        if (::flock(locked, LOCK_EX) != 0) {
            return std::string("cannot take the lock");
        }
        // The child inherits the lock and keeps it for 3 s: a store that waits for it fails on the clock.
        const pid_t holder = ::fork();
        if (holder == 0) {
            ::sleep(3);
            ::_exit(0);
        }
        ::close(locked);
        LinuxDeviceIo io;
        const int descriptors = testing::openDescriptorCount();
        const auto start = std::chrono::steady_clock::now();
        const bool stored = io.writeConfig("/etc/zel", "fanLevel.config", "7", error);
        std::string report = contentMismatch(kLevel, kOld);
        if (stored || error != "lock/truncate fanLevel.config: Resource temporarily unavailable" ||
            std::chrono::steady_clock::now() - start > std::chrono::seconds(1) ||
            testing::openDescriptorCount() != descriptors) {
            report += "returned " + std::to_string(stored) + " with \"" + error + "\"";
        }
        ::kill(holder, SIGKILL);
        ::waitpid(holder, nullptr, 0);
        return report;
    });
}

} // namespace
} // namespace zel
