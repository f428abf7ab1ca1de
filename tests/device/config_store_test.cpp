#include "device/linux_device_io.hpp"
#include "process/unique_fd.hpp"
#include "support/sandbox.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>

#include <fcntl.h>
#include <poll.h>
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
int makeDirectory(const char* path, mode_t mode) { return ::mkdir(path, mode) | ::chmod(path, mode); }

int makeFile(const char* path, const std::string& content, mode_t mode)
{
    UniqueFd fd(::open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
    const bool made = fd && ::write(fd.get(), content.data(), content.size()) == ssize_t(content.size());
    return made && ::fchmod(fd.get(), mode) == 0 ? 0 : -1;
}

int zelDirectory() { return makeDirectory(kZel, 0755); }
int goodZel() { return zelDirectory() | makeFile(kMode, kOld, 0644); }
std::function<int()> goodZelThen(int (*change)(const char*, mode_t), const char* path, mode_t mode)
{
    return [=] { return goodZel() | change(path, mode); };
}
int chownToUser(const char* path, mode_t) { return ::chown(path, 1000, 0); }

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
};

// Stores "7" as `c` says in a fresh /etc; empty when result, text, descriptors and `checked` are as expected.
std::string storeInFreshEtc(const Case& c)
{
    std::string error;
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
    return report + contentMismatch(c.checked, c.contentAfter);
}

TEST(ConfigStore, StoresOnlyIntoRootOwnedPlainFilesAndLeavesRefusedOnesAlone)
{
    const Case cases[] = {
        {"creates zel and file", [] { return 0; }, "", kMode, "7\n"},
        {"replaces longer content", [] { return zelDirectory() | makeFile(kLevel, std::string(5000, '9'), 0644); }, "",
         kLevel, "7\n", "/etc/zel", "fanLevel.config"},
        {"into existing device", [] { return makeDirectory("/etc/device", 0755); }, "", "/etc/device/black.config",
         "7\n", "/etc/device", "black.config"},
        {"ignores group and file owner", [] { return goodZel() | ::chown(kZel, 0, 9) | ::chown(kMode, 9, 9); }, "",
         kMode, "7\n"},
        {"other directory's file", goodZel, kOutsideWhitelist, "/etc/zel/black.config", "", "/etc/zel", "black.config"},
        {"other file's directory", [] { return makeDirectory("/etc/device", 0755); }, kOutsideWhitelist,
         "/etc/device/fanMode.config", "", "/etc/device"},
        {"trailing slash", goodZel, kOutsideWhitelist, kMode, kOld, "/etc/zel/"},
        {"device missing", [] { return 0; }, "open /etc/device: No such file or directory", "/etc/device", "",
         "/etc/device", "black.config"},
        {"etc read-only", [] { return ::mount(nullptr, "/etc", nullptr, MS_REMOUNT | MS_RDONLY, nullptr); },
         "mkdir /etc/zel: Read-only file system", "/etc/zel", ""},
        {"etc group-writable", goodZelThen(::chmod, "/etc", 0775), kUntrustedDirectory},
        {"etc other-writable", goodZelThen(::chmod, "/etc", 0757), kUntrustedDirectory},
        {"etc foreign owner", goodZelThen(chownToUser, "/etc", 0), kUntrustedDirectory},
        {"zel group-writable", goodZelThen(::chmod, "/etc/zel", 0775), kUntrustedDirectory},
        {"zel other-writable", goodZelThen(::chmod, "/etc/zel", 0757), kUntrustedDirectory},
        {"zel foreign owner", goodZelThen(chownToUser, "/etc/zel", 0), kUntrustedDirectory},
        {"zel a file", [] { return makeFile("/etc/zel", kOld, 0644); }, "open /etc/zel: Not a directory", "/etc/zel"},
        {"zel a link to a good directory",
         [] { return makeDirectory("/etc/x", 0755) | makeFile("/etc/x/x", kOld, 0644) | ::symlink("x", kZel); },
         "open /etc/zel: Not a directory", "/etc/x/x"},
        {"file a link", [] { return zelDirectory() | makeFile("/etc/zel/x", kOld, 0644) | ::symlink("x", kMode); },
         "open fanMode.config: Too many levels of symbolic links", "/etc/zel/x"},
        {"file a directory", [] { return zelDirectory() | makeDirectory(kMode, 0755) | makeFile(kLevel, kOld, 0644); },
         "open fanMode.config: Is a directory", kLevel},
        {"file group-writable", [] { return zelDirectory() | makeFile(kMode, kOld, 0664); }, kUnsafeFile},
        {"file other-writable", [] { return zelDirectory() | makeFile(kMode, kOld, 0646); }, kUnsafeFile},
        {"file hard-linked", [] { return goodZel() | ::link(kMode, "/etc/zel/second"); }, kUnsafeFile},
    };
    ZEL_RUN_IN_SANDBOX([&cases] {
        ::umask(022);
        std::string report;
        for (const Case& c : cases) {
            const std::string failure = storeInFreshEtc(c);
            report += failure.empty() ? "" : std::string(c.name) + ": " + failure + "\n";
        }
        return report;
    });
}

constexpr mode_t kUmasks[] = {0, 077};

TEST(ConfigStore, CreatesDirectoryAndFileWithModesReducedOnlyByTheUmask)
{
    ZEL_RUN_IN_SANDBOX([] {
        std::string report;
        for (const mode_t mask : kUmasks) {
            ::umask(mask);
            report += storeInFreshEtc({"", [] { return 0; }, "", kMode, "7\n"});
            struct stat directory {};
            struct stat file {};
            if (::lstat(kZel, &directory) | ::lstat(kMode, &file) || (directory.st_mode & 07777) != (0755 & ~mask) ||
                (file.st_mode & 07777) != (0644 & ~mask)) {
                report += "wrong modes under umask " + std::to_string(mask) + "; ";
            }
        }
        return report;
    });
}

TEST(ConfigStore, RefusesAnEtcThatIsNoRealDirectory)
{
    const std::pair<std::function<int()>, const char*> cases[] = {
        {[] { return makeFile("/mnt/etc", kOld, 0644); }, "/etc"},
        {[] { return makeDirectory("/mnt/x", 0755) | makeFile("/mnt/x/x", kOld, 0644) | ::symlink("x", "/mnt/etc"); },
         "/x/x"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.second);
        ZEL_RUN_IN_SANDBOX([&c] {
            std::string error;
            // The real /etc is a mount point and cannot be replaced, so the odd /etc gets a root of its own.
            if (!testing::mountEmptyTmpfs("/etc", error) || !testing::mountEmptyTmpfs("/mnt", error) ||
                c.first() != 0 || ::chroot("/mnt") != 0) {
                return "cannot lay out /etc: " + error;
            }
            LinuxDeviceIo io;
            const bool stored = io.writeConfig("/etc/zel", "fanMode.config", "7", error);
            const std::string report = contentMismatch(c.second, kOld);
            return stored || error != "open /etc: Not a directory" ? report + "got \"" + error + "\"" : report;
        });
    }
}

TEST(ConfigStore, FailsAtOnceWhileAnotherProcessHoldsTheLock)
{
    ZEL_RUN_IN_SANDBOX([] {
        std::string error;
        int ready[2];
        int release[2];
        if (!testing::mountEmptyTmpfs("/etc", error) || goodZel() != 0 || makeFile(kLevel, kOld, 0644) != 0 ||
            ::pipe2(ready, O_CLOEXEC) != 0 || ::pipe2(release, O_CLOEXEC) != 0) {
            return "cannot lay out /etc: " + error;
        }
        const pid_t holder = ::fork();
        if (holder == 0) {
            ::close(release[1]);
            const char locked = ::flock(::open(kLevel, O_RDONLY | O_CLOEXEC), LOCK_EX) == 0 ? 'L' : 'E';
            pollfd released {};
            released.fd = release[0];
            // A store that waits for the lock gets it after 3 s and fails on the clock instead of hanging.
            ::_exit(::write(ready[1], &locked, 1) == 1 && ::poll(&released, 1, 3000) >= 0 ? 0 : 1);
        }
        char locked = 0;
        if (::close(ready[1]) | ::close(release[0]) || ::read(ready[0], &locked, 1) != 1 || locked != 'L') {
            return std::string("the other process could not take the lock");
        }
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
        ::close(release[1]);
        ::waitpid(holder, nullptr, 0);
        return report;
    });
}

} // namespace
} // namespace zel
