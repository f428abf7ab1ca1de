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
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>

namespace zel {
namespace {

constexpr char kZel[] = "/etc/zel";
constexpr char kMode[] = "/etc/zel/fanMode.config";
constexpr char kLevel[] = "/etc/zel/fanLevel.config";
constexpr char kOld[] = "earlier settings\n";
constexpr char kUntrusted[] = "configuration directory must be owned by root and not writable by group/others";
constexpr char kUnsafe[] = "configuration must be a regular file without group/other write permissions or hard links";
constexpr char kWhitelist[] = "configuration filename outside whitelist";

// Both give the exact mode and return 0 on success, so that setups can be or-ed together.
int makeDirectory(const char* path, mode_t mode = 0755) { return ::mkdir(path, mode) | ::chmod(path, mode); }
int makeFile(const char* path, mode_t mode = 0644) { return testing::writeFile(path, kOld, mode) ? 0 : -1; }
int goodZel() { return makeDirectory(kZel) | makeFile(kMode); }

// A fresh, empty /etc on top of the last one; the destructor takes it away again.
struct FreshEtc {
    const bool mounted = ::mount("tmpfs", "/etc", "tmpfs", 0, "mode=0755,uid=0,gid=0") == 0;
    ~FreshEtc() { ::umount2("/etc", MNT_DETACH); }
};

std::string shownFile(const std::string& path)
{
    struct stat status {};
    return ::lstat(path.c_str(), &status) != 0 ? "(none)" : testing::readFile(path);
}

TEST(ConfigStore, StoresOnlyIntoRootOwnedPlainFilesAndLeavesRefusedOnesAlone)
{
    const auto none = [] { return 0; };
    const auto zelThen = [](int (*change)(const char*, mode_t), const char* path, mode_t mode) {
        return std::function<int()>([=] { return goodZel() | change(path, mode); });
    };
    const auto toUser = [](const char* path, mode_t) { return ::chown(path, 1000, 0); };
    const struct {
        const char* name;
        std::function<int()> setup;
        std::string error; // empty: stored
        const char* checked = kMode;
        std::string after = kOld;
        const char* directory = "/etc/zel";
        const char* fileName = "fanMode.config";
    } cases[] = {
        {"creates zel and file", none, "", kMode, "7\n"},
        {"replaces longer content", [] { return makeDirectory(kZel) | makeFile(kLevel); }, "", kLevel, "7\n",
         "/etc/zel", "fanLevel.config"},
        {"into existing device", [] { return makeDirectory("/etc/device"); }, "", "/etc/device/black.config", "7\n",
         "/etc/device", "black.config"},
        {"ignores group and file owner", [] { return goodZel() | ::chown(kZel, 0, 9) | ::chown(kMode, 9, 9); }, "",
         kMode, "7\n"},
        {"other directory's file", goodZel, kWhitelist, "/etc/zel/black.config", "(none)", "/etc/zel", "black.config"},
        {"other file's directory", [] { return makeDirectory("/etc/device"); }, kWhitelist,
         "/etc/device/fanMode.config", "(none)", "/etc/device"},
        {"device missing", none, "open /etc/device: No such file or directory", "/etc/device", "(none)",
         "/etc/device", "black.config"},
        {"etc read-only", [] { return ::mount(nullptr, "/etc", nullptr, MS_REMOUNT | MS_RDONLY, nullptr); },
         "mkdir /etc/zel: Read-only file system", kZel, "(none)"},
        {"etc foreign owner", zelThen(toUser, "/etc", 0), kUntrusted},
        {"zel group-writable", zelThen(::chmod, kZel, 0775), kUntrusted},
        {"zel other-writable", zelThen(::chmod, kZel, 0757), kUntrusted},
        {"zel foreign owner", zelThen(toUser, kZel, 0), kUntrusted},
        {"zel a file", [] { return makeFile(kZel); }, "open /etc/zel: Not a directory", kZel},
        {"zel a link to a good directory",
         [] { return makeDirectory("/etc/x") | makeFile("/etc/x/x") | ::symlink("x", kZel); },
         "open /etc/zel: Not a directory", "/etc/x/x"},
        {"file a link", [] { return makeDirectory(kZel) | makeFile("/etc/zel/x") | ::symlink("x", kMode); },
         "open fanMode.config: Too many levels of symbolic links", "/etc/zel/x"},
        {"file a fifo without reader", [] { return makeDirectory(kZel) | ::mkfifo(kMode, 0644); },
         "open fanMode.config: No such device or address", kZel, ""}, // a directory reads as empty
        {"file a device", [] { return makeDirectory(kZel) | ::mknod(kMode, S_IFCHR | 0644, makedev(1, 3)); },
         kUnsafe, kZel, ""},
        {"file group-writable", zelThen(::chmod, kMode, 0664), kUnsafe},
        {"file other-writable", zelThen(::chmod, kMode, 0646), kUnsafe},
        {"file hard-linked", [] { return goodZel() | ::link(kMode, "/etc/zel/second"); }, kUnsafe},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const FreshEtc etc;
        ::umask(022);
        ASSERT_TRUE(etc.mounted && c.setup() == 0);
        LinuxDeviceIo io;
        std::string error = "earlier text";
        const int descriptors = testing::openDescriptorCount();
        const bool stored = io.writeConfig(c.directory, c.fileName, "7", error);
        EXPECT_EQ(testing::openDescriptorCount(), descriptors);
        EXPECT_EQ(std::to_string(stored) + " " + error, c.error.empty() ? "1 earlier text" : "0 " + c.error);
        EXPECT_EQ(shownFile(c.checked), c.after);
        struct stat directory {}, file {};
        if (stored && ::stat(c.directory, &directory) == 0 && ::stat(c.checked, &file) == 0) {
            EXPECT_EQ(directory.st_mode & 07777, 0755U);
            EXPECT_EQ(file.st_mode & 07777, 0644U);
        }
    }
}

TEST(ConfigStore, FailsAtOnceWhileAnotherProcessHoldsTheLock)
{
    const FreshEtc etc;
    ASSERT_TRUE(etc.mounted && goodZel() == 0);
    const int locked = ::open(kMode, O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(::flock(locked, LOCK_EX), 0);
    // The child inherits the lock and keeps it for 3 s: a store that waits for it fails on the clock.
    const pid_t holder = ::fork();
    if (holder == 0) {
        ::sleep(3);
        ::_exit(0);
    }
    ::close(locked);
    LinuxDeviceIo io;
    std::string error;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(io.writeConfig("/etc/zel", "fanMode.config", "7", error));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
    EXPECT_EQ(error, "lock/truncate fanMode.config: Resource temporarily unavailable");
    EXPECT_EQ(testing::readFile(kMode), kOld);
    ::kill(holder, SIGKILL);
    ::waitpid(holder, nullptr, 0);
}

// A program at `path` that logs its arguments, one run a line, to /mnt/log and then runs `answer`.
void installProgram(const char* path, const std::string& answer)
{
    ::unlink("/mnt/log");
    ::unlink(path);
    if (!answer.empty()) {
        ASSERT_TRUE(testing::writeFile(path, "#!/bin/sh\necho \"$*\" >>/mnt/log\n" + answer + "\n", 0755));
    }
}

// 402 runs the pin-control program for line 10 with dh (on), then dl (off), even when dh failed; 403 asks the
// locator program where the line PQ.06 is before it opens that GPIO chip.
TEST(MotorPulse, ProgramBackendsRunTheirFixedProgramsAndReportEveryFailureExactly)
{
    const std::string runs = "|set 10 op dh\nset 10 op dl\n|";
    const struct { CommandId id; const char* answer; std::string want; } cases[] = { // want: result|log|out|err
        {CommandId::MotorP5, "echo \"$4\"", "1" + runs + "dh\ndl\n|earlier text"},
        {CommandId::MotorP5, "[ $4 = dh ] || echo warn >&2", "1" + runs + "|earlier text reset: warn\n"},
        {CommandId::MotorP5, "echo \"$4\"; [ $4 = dl ] || { echo on >&2; exit 2; }",
         "0" + runs + "dh\ndl\n|earlier texton\npinctrl exit=2"},
        {CommandId::MotorP5, "[ $4 = dh ] || exit 1", "0" + runs + "|earlier text reset: pinctrl exit=1"},
        {CommandId::MotorNx, "echo 'no line' >&2; exit 1", "0|PQ.06\n||gpiofind PQ.06 failed: no line\n"},
        {CommandId::MotorNx, "", "0|(none)||gpiofind PQ.06 failed: cannot execute fixed program\n"
                                 "program: /usr/bin/gpiofind\n"},
        {CommandId::MotorNx, "echo gpiochipA 1", "0|PQ.06\n||invalid GPIO chip"},
        {CommandId::MotorNx, "echo gpiochip99999999 3", "0|PQ.06\n||open GPIO chip: No such file or directory"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.answer);
        installProgram(c.id == CommandId::MotorP5 ? "/usr/bin/pinctrl" : "/usr/bin/gpiofind", c.answer);
        LinuxDeviceIo io;
        std::string output;
        std::string error = "earlier text";
        const bool pulsed = io.motorPulse(c.id, 0, output, error);
        EXPECT_EQ(std::to_string(pulsed) + "|" + shownFile("/mnt/log") + "|" + output + "|" + error, c.want);
    }
}

// The whole tool: a rejected batch leaves /etc untouched; what a program printed reaches standard output
// before the diagnostic that follows it, even when both streams share one pipe.
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
    EXPECT_EQ(shownFile(kMode) + shownFile(kLevel), "1\n6\n");
    EXPECT_EQ(tool("-c 502"), "74|line 7\nline 21\nzel_exec: command[1] id=502 execution: pinctrl exit=1\n");
}

} // namespace
} // namespace zel

int main(int argc, char** argv)
{
    struct statfs usrBin {};
    if (::statfs("/usr/bin", &usrBin) != 0 || usrBin.f_type != OVERLAYFS_SUPER_MAGIC ||
        zel::testing::readFile("/proc/self/mountinfo") == zel::testing::readFile("/proc/1/mountinfo")) {
        std::fprintf(stderr, "refusing to run outside the namespace that tests/private/run.sh makes\n");
        return 1;
    }
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
