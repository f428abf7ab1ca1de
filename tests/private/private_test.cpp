// Cases that need a private /etc and /usr/bin; tests/private/run.sh starts this program in a mount namespace
// of its own, and the program refuses to run anywhere else.
#include "device/linux_device_io.hpp"
#include "process/run_process.hpp"
#include "support/files.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <functional>

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/statfs.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>

namespace zel {
namespace {

constexpr char kZel[] = "/etc/zel", kMode[] = "/etc/zel/fanMode.config", kOld[] = "earlier settings\n";
constexpr char kUntrusted[] = "configuration directory must be owned by root and not writable by group/others";
constexpr char kUnsafe[] = "configuration must be a regular file without group/other write permissions or hard links";
constexpr char kWhitelist[] = "configuration filename outside whitelist";

// Both give the exact mode and return 0 on success, so that setups can be or-ed together.
int makeDirectory(const char* path, mode_t mode = 0755) { return ::mkdir(path, mode) | ::chmod(path, mode); }
int makeFile(const char* path, mode_t mode = 0644) { return testing::writeFile(path, kOld, mode) ? 0 : -1; }
int goodZel() { return makeDirectory(kZel) | makeFile(kMode); }
int toUser(const char* path, mode_t) { return ::chown(path, 1000, 0); }
std::function<int()> zelThen(int (*change)(const char*, mode_t), const char* path, mode_t mode = 0)
{
    return [=] { return goodZel() | change(path, mode); };
}

// A fresh, empty /etc on top of the last one, taken away again at the end.
struct FreshEtc {
    const bool mounted = ::mount("tmpfs", "/etc", "tmpfs", 0, "mode=0755,uid=0,gid=0") == 0;
    ~FreshEtc() { ::umount2("/etc", MNT_DETACH); }
};

std::string shownFile(const std::string& path)
{
    struct stat status {};
    return ::lstat(path.c_str(), &status) != 0 ? "(none)" : testing::readFile(path); // a directory reads as ""
}

TEST(ConfigStore, StoresOnlyIntoRootOwnedPlainFilesAndLeavesRefusedOnesAlone)
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
        {"zel a link to a good directory", [] { return makeDirectory("/etc/x") | makeFile("/etc/x/x") | ::symlink("x", kZel); },
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
        const FreshEtc etc;
        ::umask(022);
        ASSERT_TRUE(etc.mounted && c.setup() == 0);
        const long descriptors = testing::openDescriptorCount();
        std::string error = "-";
        const bool stored = LinuxDeviceIo().writeConfig(c.directory, c.fileName, "7", error);
        EXPECT_EQ(std::to_string(stored) + " " + error + "|" + shownFile(c.checked),
                  (c.error.empty() ? "1 -" : "0 " + c.error) + "|" + c.after);
        EXPECT_EQ(testing::openDescriptorCount(), descriptors);
        struct stat directory {}, file {};
        if (stored && ::stat(c.directory, &directory) == 0 && ::stat(c.checked, &file) == 0) {
            EXPECT_EQ((directory.st_mode & 07777) * 010000 + (file.st_mode & 07777), 07550644U);
        }
    }
}

// The real /etc is a mount point that cannot be replaced: a child gets a root of its own where /etc is a file.
TEST(ConfigStore, RefusesAnEtcThatIsNoDirectory)
{
    const pid_t child = ::fork();
    if (child == 0) {
        std::string error;
        const bool refused = ::mkdir("/mnt/root", 0755) == 0 && makeFile("/mnt/root/etc") == 0 &&
                             ::chroot("/mnt/root") == 0 && !LinuxDeviceIo().writeConfig(kZel, "fanMode.config", "7", error);
        ::_exit(refused && error == "open /etc: Not a directory" ? 0 : 1);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}

TEST(ConfigStore, FailsAtOnceWhileAnotherProcessHoldsTheLock)
{
    const FreshEtc etc;
    ASSERT_TRUE(etc.mounted && goodZel() == 0);
    const int locked = ::open(kMode, O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(::flock(locked, LOCK_EX), 0);
    const pid_t holder = ::fork(); // inherits the lock and keeps it for 3 s: a store that waits fails on the clock
    if (holder == 0) {
        ::sleep(3);
        ::_exit(0);
    }
    ::close(locked);
    std::string error;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(LinuxDeviceIo().writeConfig(kZel, "fanMode.config", "7", error));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
    EXPECT_EQ(error + "|" + testing::readFile(kMode), "lock/truncate fanMode.config: Resource temporarily unavailable|" +
                                                           std::string(kOld));
    ::kill(holder, SIGKILL);
    ::waitpid(holder, nullptr, 0);
}

// A program at `path` that logs its arguments, one run a line, to /mnt/log and then runs `answer`; none if empty.
void installProgram(const char* path, const std::string& answer)
{
    ::unlink("/mnt/log");
    ::unlink(path);
    ASSERT_TRUE(answer.empty() || testing::writeFile(path, "#!/bin/sh\necho \"$*\" >>/mnt/log\n" + answer + "\n", 0755));
}

// 402 runs the pin-control program for line 10 with dh (on), then dl (off), even when dh failed; 403 asks the
// locator program where the line PQ.06 is before it opens that GPIO chip.
TEST(MotorPulse, ProgramBackendsRunTheirFixedProgramsAndReportEveryFailureExactly)
{
    const std::string runs = "|set 10 op dh\nset 10 op dl\n|";
    const struct { CommandId id; int ms; const char* answer; std::string want; } cases[] = { // result|log|out|err
        {CommandId::MotorP5, 100, "echo \"$4\"", "1" + runs + "dh\ndl\n|-"},
        {CommandId::MotorP5, 100, "[ $4 = dh ] || echo warn >&2", "1" + runs + "|- reset: warn\n"},
        {CommandId::MotorP5, 0, "echo \"$4\"; [ $4 = dl ] || { echo on >&2; exit 2; }", "0" + runs + "dh\ndl\n|-on\npinctrl exit=2"},
        {CommandId::MotorP5, 100, "[ $4 = dh ] || exit 1", "0" + runs + "|- reset: pinctrl exit=1"},
        {CommandId::MotorNx, 0, "echo 'no line' >&2; exit 1", "0|PQ.06\n||gpiofind PQ.06 failed: no line\n"},
        {CommandId::MotorNx, 0, "", "0|(none)||gpiofind PQ.06 failed: cannot execute fixed program\nprogram: /usr/bin/gpiofind\n"},
        {CommandId::MotorNx, 0, "echo gpiochipA 1", "0|PQ.06\n||invalid GPIO chip"},
        {CommandId::MotorNx, 0, "echo gpiochip99999999 3", "0|PQ.06\n||open GPIO chip: No such file or directory"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.answer);
        installProgram(c.id == CommandId::MotorP5 ? "/usr/bin/pinctrl" : "/usr/bin/gpiofind", c.answer);
        std::string output, error = "-";
        const auto start = std::chrono::steady_clock::now();
        const bool pulsed = LinuxDeviceIo().motorPulse(c.id, c.ms, output, error);
        EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(c.ms)); // after a good "on"
        EXPECT_EQ(std::to_string(pulsed) + "|" + shownFile("/mnt/log") + "|" + output + "|" + error, c.want);
    }
}

// The whole tool: a rejected batch leaves /etc untouched; what a program printed reaches standard output before
// the diagnostic that follows it, even when both streams share one pipe.
TEST(Binary, SavesOnlyWholeValidBatchesAndKeepsOutputBeforeItsDiagnostic)
{
    const FreshEtc etc;
    ASSERT_TRUE(etc.mounted);
    installProgram("/usr/bin/pinctrl", "echo \"line $2\"; [ $2 = 7 ]");
    const auto tool = [](const std::string& args) {
        const CommandResult result = runProcess("/bin/sh", {"-c", "exec " ZEL_EXEC_PATH " " + args + " 2>&1"}, 5000);
        return std::to_string(result.exitCode) + "|" + result.output;
    };
    EXPECT_EQ(tool("-c '201 1' '201 2'"), "66|zel_exec: command[2] id=201 validation: value outside allowed range\n");
    EXPECT_EQ(shownFile(kZel), "(none)");
    EXPECT_EQ(tool("-c '201 1' '202 6'"), "0|");
    EXPECT_EQ(shownFile(kMode) + shownFile("/etc/zel/fanLevel.config"), "1\n6\n");
    EXPECT_EQ(tool("-c 502"), "74|line 7\nline 21\nzel_exec: command[1] id=502 execution: pinctrl exit=1\n");
}

} // namespace
} // namespace zel

int main(int argc, char** argv)
{
    struct statfs usrBin {};
    if (::statfs("/usr/bin", &usrBin) != 0 || usrBin.f_type != OVERLAYFS_SUPER_MAGIC ||
        zel::testing::readFile("/proc/self/mountinfo") == zel::testing::readFile("/proc/1/mountinfo")) {
        std::fputs("refusing to run outside the namespace that tests/private/run.sh makes\n", stderr);
        return 1;
    }
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
