// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

// Files, directories and descriptors for the tests.
namespace zel::test {

inline std::string readFile(const std::string& path)
{
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

// What a settings file or log shows: its content, "" for a directory, "(none)" when nothing is there.
inline std::string shownFile(const std::string& path)
{
    struct stat status {};
    return ::lstat(path.c_str(), &status) != 0 ? "(none)" : readFile(path);
}

// Creates or replaces `path` with `content` and exactly `mode`, whatever the umask.
inline bool writeFile(const std::string& path, const std::string& content, mode_t mode = 0644)
{
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    return (file << content).flush() && ::chmod(path.c_str(), mode) == 0;
}

inline long openDescriptorCount() // not counting the listing's own descriptor
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}) - 1;
}

// A fresh directory under /tmp, removed with everything in it at the end.
struct TempDirectory {
    char pattern[24] = "/tmp/zel-test-XXXXXX";
    const std::string path = ::mkdtemp(pattern);
    ~TempDirectory() { std::filesystem::remove_all(path); }
};

} // namespace zel::test
