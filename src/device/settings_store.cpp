// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#include "base/file_size_limit.hpp"
#include "base/posix_io.hpp"
#include "base/unique_fd.hpp"
#include "device/linux_device_io.hpp"

#include <cerrno>
#include <cstring>
#include <string_view>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace zel {
namespace {

struct SettingsFile {
    std::string_view directory;
    std::string_view fileName;
    const char* subdirectory; // opened relative to /etc, never cut out of `directory`
    bool createDirectory;
};

constexpr SettingsFile kSettingsFiles[] = {
    {"/etc/zel", "fanMode.config", "zel", true},
    {"/etc/zel", "fanLevel.config", "zel", true},
    {"/etc/device", "black.config", "device", false},
};

constexpr mode_t kDirectoryMode = 0755;
constexpr mode_t kFileMode = 0644;
constexpr int kDirectoryFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

const SettingsFile* findSettingsFile(const std::string& directory, const std::string& fileName)
{
    for (const SettingsFile& file : kSettingsFiles) {
        if (file.directory == directory && file.fileName == fileName) {
            return &file;
        }
    }
    return nullptr;
}

// A directory only root can change: anything else could swap the file under us.
bool trustedDirectory(int fd, std::string& error)
{
    struct stat status {};
    if (::fstat(fd, &status) != 0) {
        systemError("fstat directory", error);
        return false;
    }
    if (!S_ISDIR(status.st_mode) || status.st_uid != 0 || (status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        error = "configuration directory must be owned by root and not writable by group/others";
        return false;
    }
    return true;
}

// Walks /etc -> subdirectory through descriptors, so no link along the way is followed.
UniqueFd openTrustedDirectory(const SettingsFile& file, const std::string& directory, std::string& error)
{
    UniqueFd etc(::open("/etc", kDirectoryFlags));
    if (!etc) {
        systemError("open /etc", error);
        return {};
    }
    if (!trustedDirectory(etc.get(), error)) {
        return {};
    }
    if (file.createDirectory && ::mkdirat(etc.get(), file.subdirectory, kDirectoryMode) != 0 && errno != EEXIST) {
        systemError("mkdir " + directory, error);
        return {};
    }
    UniqueFd subdirectory(::openat(etc.get(), file.subdirectory, kDirectoryFlags));
    const int openErrno = errno;
    etc.reset();
    if (!subdirectory) {
        errno = openErrno;
        systemError("open " + directory, error);
        return {};
    }
    if (!trustedDirectory(subdirectory.get(), error)) {
        return {};
    }
    return subdirectory;
}

bool isPlainPrivateFile(int fd)
{
    struct stat status {};
    return ::fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0 &&
           status.st_nlink == 1;
}

} // namespace

bool LinuxDeviceIo::writeConfig(const std::string& directory, const std::string& fileName, const std::string& content,
                                std::string& error)
{
    const SettingsFile* file = findSettingsFile(directory, fileName);
    if (file == nullptr) {
        error = "configuration filename outside whitelist";
        return false;
    }
    // Refused before anything is opened, so a missing file is not left behind empty either.
    if (fileSizeLimited()) {
        error = "rewrite " + fileName + ": " + std::strerror(EFBIG);
        return false;
    }
    UniqueFd parent = openTrustedDirectory(*file, directory, error);
    if (!parent) {
        return false;
    }
    // No O_TRUNC: the content must survive until the checks and the lock have passed.
    UniqueFd fd(
        ::openat(parent.get(), fileName.c_str(), O_WRONLY | O_CREAT | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC, kFileMode));
    const int openErrno = errno;
    parent.reset();
    if (!fd) {
        errno = openErrno;
        systemError("open " + fileName, error);
        return false;
    }
    if (!isPlainPrivateFile(fd.get())) {
        error = "configuration must be a regular file without group/other write permissions or hard links";
        return false;
    }
    if (::flock(fd.get(), LOCK_EX | LOCK_NB) != 0 || ::ftruncate(fd.get(), 0) != 0) {
        systemError("lock/truncate " + fileName, error);
        return false;
    }
    if (!writeAll(fd.get(), content + "\n", error)) {
        return false;
    }
    if (::fsync(fd.get()) != 0) {
        systemError("fsync " + fileName, error);
        return false;
    }
    if (fd.close() != 0) {
        systemError("close " + fileName, error);
        return false;
    }
    return true;
}

} // namespace zel
