#include "support/sandbox.hpp"

#include "process/unique_fd.hpp"

#include <cerrno>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zel::testing {
namespace {

constexpr char kUnavailableMark = 'U';
constexpr char kScratch[] = "/mnt"; // shadowed by a tmpfs inside the sandbox only
bool overlaidUsrBin = false;

std::string errnoText(const std::string& label) { return label + ": " + std::strerror(errno); }

// A blocking write to a pipe returns only once all of the text is in.
[[noreturn]] void reportAndExit(int fd, const std::string& text, int status)
{
    [[maybe_unused]] const ssize_t written = ::write(fd, text.data(), text.size());
    ::_exit(status);
}

[[noreturn]] void runChild(const std::function<std::string()>& body, int reportFd)
{
    if (::unshare(CLONE_NEWNS) != 0 || ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        reportAndExit(reportFd, kUnavailableMark + std::string(std::strerror(errno)), 2);
    }
    std::string failure;
    try {
        failure = body();
    } catch (const std::exception& exception) {
        failure = std::string("exception: ") + exception.what();
    }
    reportAndExit(reportFd, failure, failure.empty() ? 0 : 1);
}

} // namespace

SandboxOutcome runInMountNamespace(const std::function<std::string()>& body, std::string& report)
{
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0) {
        report = errnoText("pipe");
        return SandboxOutcome::Failed;
    }
    UniqueFd readEnd(fds[0]);
    UniqueFd writeEnd(fds[1]);
    const pid_t pid = ::fork();
    if (pid < 0) {
        report = errnoText("fork");
        return SandboxOutcome::Failed;
    }
    if (pid == 0) {
        readEnd.reset();
        runChild(body, writeEnd.get());
    }
    writeEnd.reset();
    report.clear();
    char buffer[4096];
    ssize_t count = 0;
    while ((count = ::read(readEnd.get(), buffer, sizeof buffer)) > 0 || (count < 0 && errno == EINTR)) {
        if (count > 0) {
            report.append(buffer, static_cast<std::size_t>(count));
        }
    }
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFEXITED(status) && WEXITSTATUS(status) == 2 && !report.empty() && report[0] == kUnavailableMark) {
        report.erase(0, 1);
        return SandboxOutcome::Unavailable;
    }
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) {
        return SandboxOutcome::Passed;
    }
    if (report.empty()) {
        report = "sandbox child ended with status " + std::to_string(status);
    }
    return SandboxOutcome::Failed;
}

bool mountEmptyTmpfs(const std::string& path, std::string& error)
{
    if (::mount("tmpfs", path.c_str(), "tmpfs", 0, "mode=0755,uid=0,gid=0") != 0) {
        error = errnoText("mount tmpfs on " + path);
        return false;
    }
    return true;
}

bool installProgram(const std::string& path, const std::string& content, std::string& error)
{
    if (!overlaidUsrBin) {
        const std::string upper = std::string(kScratch) + "/upper";
        const std::string work = std::string(kScratch) + "/work";
        const std::string options = "lowerdir=/usr/bin,upperdir=" + upper + ",workdir=" + work;
        if (!mountEmptyTmpfs(kScratch, error)) {
            return false;
        }
        if (::mkdir(upper.c_str(), 0755) != 0 || ::mkdir(work.c_str(), 0755) != 0 ||
            ::mount("overlay", "/usr/bin", "overlay", 0, options.c_str()) != 0) {
            error = errnoText("overlay on /usr/bin");
            return false;
        }
        overlaidUsrBin = true;
    }
    if (!writeFile(path, content, 0755)) {
        error = errnoText("install " + path);
        return false;
    }
    return true;
}

std::string installLoggingProgram(const std::string& path, const std::string& answer)
{
    std::string error;
    if (mountEmptyTmpfs("/tmp", error)) {
        installProgram(path, "#!/bin/sh\necho \"$*\" >>/tmp/log\n" + answer + "\n", error);
    }
    return error;
}

bool writeFile(const std::string& path, const std::string& content, mode_t mode)
{
    UniqueFd fd(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode));
    return fd && ::write(fd.get(), content.data(), content.size()) == static_cast<ssize_t>(content.size()) &&
           ::fchmod(fd.get(), mode) == 0 && fd.close() == 0;
}

std::string readFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

std::string mismatch(const std::string& got, const std::string& want)
{
    return got == want ? std::string() : "got:\n" + got + "\nwant:\n" + want + "\n";
}

int openDescriptorCount()
{
    std::error_code error; // without /proc, as after a chroot, the count is -1
    const auto entries = std::distance(std::filesystem::directory_iterator("/proc/self/fd", error),
                                       std::filesystem::directory_iterator());
    return static_cast<int>(entries) - 1; // the listing's own descriptor
}

} // namespace zel::testing
