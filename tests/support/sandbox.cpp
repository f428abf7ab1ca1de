#include "support/sandbox.hpp"

#include "process/unique_fd.hpp"

#include <cerrno>
#include <cstring>
#include <exception>
#include <fstream>
#include <sstream>

#include <dirent.h>
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

void writeText(int fd, const std::string& text)
{
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t count = ::write(fd, text.data() + written, text.size() - written);
        if (count <= 0) {
            return;
        }
        written += static_cast<std::size_t>(count);
    }
}

[[noreturn]] void runChild(const std::function<std::string()>& body, int reportFd)
{
    if (::unshare(CLONE_NEWNS) != 0 || ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        writeText(reportFd, std::string(1, kUnavailableMark) + std::strerror(errno));
        ::_exit(2);
    }
    std::string failure;
    try {
        failure = body();
    } catch (const std::exception& exception) {
        failure = std::string("exception: ") + exception.what();
    }
    writeText(reportFd, failure);
    ::_exit(failure.empty() ? 0 : 1);
}

std::string errnoText(const std::string& label) { return label + ": " + std::strerror(errno); }

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
    UniqueFd fd(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0755));
    if (!fd || ::write(fd.get(), content.data(), content.size()) != static_cast<ssize_t>(content.size()) ||
        ::fchmod(fd.get(), 0755) != 0 || fd.close() != 0) {
        error = errnoText("install " + path);
        return false;
    }
    return true;
}

std::string readFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

int openDescriptorCount()
{
    DIR* directory = ::opendir("/proc/self/fd");
    if (directory == nullptr) {
        return -1;
    }
    int count = 0;
    while (const dirent* entry = ::readdir(directory)) {
        if (entry->d_name[0] != '.') {
            ++count;
        }
    }
    ::closedir(directory);
    return count - 1; // the directory stream's own descriptor
}

} // namespace zel::testing
