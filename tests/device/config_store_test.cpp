#include "device/linux_device_io.hpp"
#include "support/private_mounts.hpp"

#include <functional>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/sysmacros.h>

namespace zel {
namespace {

using testing::Private;

constexpr char kZel[] = "/etc/zel", kMode[] = "/etc/zel/fanMode.config", kOld[] = "earlier settings\n";
constexpr char kUntrusted[] = "configuration directory must be owned by root and not writable by group/others";
constexpr char kUnsafe[] = "configuration must be a regular file without group/other write permissions or hard links";
constexpr char kWhitelist[] = "configuration filename outside whitelist";

// Each gives the exact mode and returns 0 on success, so that setups can be or-ed together.
int makeDirectory(const char* path, mode_t mode = 0755) { return ::mkdir(path, mode) | ::chmod(path, mode); }
int makeFile(const char* path, mode_t mode = 0644) { return testing::writeFile(path, kOld, mode) ? 0 : -1; }
int goodZel() { return makeDirectory(kZel) | makeFile(kMode); }
int toUser(const char* path, mode_t) { return ::chown(path, 1000, 0); }
std::function<int()> zelThen(int (*change)(const char*, mode_t), const char* path, mode_t mode = 0)
{
    return [=] { return goodZel() | change(path, mode); };
}

bool store(const char* directory, const char* fileName, std::string& error)
{
    return LinuxDeviceIo().writeConfig(directory, fileName, "7", error);
}

TEST_F(Private, ConfigStoreWritesOnlyRootOwnedPlainFilesAndLeavesRefusedOnesAlone)
{
    const struct {
        const char* name;
        std::function<int()> setup;
        std::string error; // empty: stored
        const char *checked = kMode, *after = kOld, *directory = kZel, *fileName = "fanMode.config";
    } cases[] = {
        {"creates zel and file", [] { return 0; }, "", kMode, "7\n"},
        {"replaces in device", [] { return makeDirectory("/etc/device") | makeFile("/etc/device/black.config"); }, "",
         "/etc/device/black.config", "7\n", "/etc/device", "black.config"},
        {"other directory's file", goodZel, kWhitelist, "/etc/zel/black.config", "(none)", kZel, "black.config"},
        {"other file's directory", [] { return makeDirectory("/etc/device"); }, kWhitelist,
         "/etc/device/fanMode.config", "(none)", "/etc/device"},
        {"device missing", [] { return 0; }, "open /etc/device: No such file or directory", "/etc/device", "(none)",
         "/etc/device", "black.config"},
        {"etc read-only", [] { return ::mount(nullptr, "/etc", nullptr, MS_REMOUNT | MS_RDONLY, nullptr); },
         "mkdir /etc/zel: Read-only file system", kZel, "(none)"},
        {"etc foreign owner", zelThen(toUser, "/etc"), kUntrusted},
        {"zel group-writable", zelThen(::chmod, kZel, 0775), kUntrusted},
        {"zel other-writable", zelThen(::chmod, kZel, 0757), kUntrusted},
        {"zel foreign owner", zelThen(toUser, kZel), kUntrusted},
        {"zel a file", [] { return makeFile(kZel); }, "open /etc/zel: Not a directory", kZel},
        {"zel a link", [] { return makeDirectory("/etc/x") | makeFile("/etc/x/x") | ::symlink("x", kZel); },
         "open /etc/zel: Not a directory", "/etc/x/x"},
        {"file a link", [] { return makeDirectory(kZel) | makeFile("/etc/zel/x") | ::symlink("x", kMode); },
         "open fanMode.config: Too many levels of symbolic links", "/etc/zel/x"},
        {"file a fifo without reader", [] { return makeDirectory(kZel) | ::mkfifo(kMode, 0644); },
         "open fanMode.config: No such device or address", kZel, ""},
        {"file a device", [] { return makeDirectory(kZel) | ::mknod(kMode, S_IFCHR | 0644, makedev(1, 3)); }, kUnsafe,
         kMode, ""},
        {"file group-writable", zelThen(::chmod, kMode, 0664), kUnsafe},
        {"file other-writable", zelThen(::chmod, kMode, 0646), kUnsafe},
        {"file hard-linked", zelThen([](const char* path, mode_t) { return ::link(path, "/etc/zel/2"); }, kMode), kUnsafe},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const testing::FreshEtc etc;
        ASSERT_TRUE(etc.mounted && c.setup() == 0);
        const long descriptors = testing::openDescriptorCount();
        std::string error = "-";
        const bool stored = store(c.directory, c.fileName, error);
        EXPECT_EQ(std::to_string(stored) + " " + error + "|" + testing::shownFile(c.checked),
                  (c.error.empty() ? "1 -" : "0 " + c.error) + "|" + c.after);
        EXPECT_EQ(testing::openDescriptorCount(), descriptors);
    }
}

// Another open of the file holds the lock, so a store that waited for it would wait for ever.
TEST_F(Private, ConfigStoreFailsAtOnceWhileTheFileIsLocked)
{
    const testing::FreshEtc etc;
    const int locked = etc.mounted && goodZel() == 0 ? ::open(kMode, O_RDONLY | O_CLOEXEC) : -1;
    ASSERT_EQ(::flock(locked, LOCK_EX), 0);
    std::string error;
    ::alarm(5);
    EXPECT_FALSE(store(kZel, "fanMode.config", error));
    ::alarm(0);
    ::close(locked);
    EXPECT_EQ(error + "|" + testing::readFile(kMode), "lock/truncate fanMode.config: Resource temporarily unavailable|" +
                                                           std::string(kOld));
}

} // namespace
} // namespace zel
