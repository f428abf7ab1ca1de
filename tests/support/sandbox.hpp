#pragma once

#include <functional>
#include <string>

#include <sys/types.h>

namespace zel::testing {

enum class SandboxOutcome { Passed, Failed, Unavailable };

// Runs `body` in a forked child with a private mount namespace, so that what
// it mounts over /etc or /usr/bin never reaches the machine and vanishes with
// the child. `body` returns what went wrong, empty when all is well; the text
// comes back in `report`. Unavailable (with the reason in `report`) where the
// namespace cannot be made, for example without root.
SandboxOutcome runInMountNamespace(const std::function<std::string()>& body, std::string& report);

// Inside the sandbox: a fresh, empty, root-owned tmpfs of mode 0755 on `path`.
bool mountEmptyTmpfs(const std::string& path, std::string& error);

// Inside the sandbox: puts an executable file with `content` at `path` (in
// /usr/bin) through a writable overlay, leaving the real directory untouched.
bool installProgram(const std::string& path, const std::string& content, std::string& error);

// Inside the sandbox: a program at `path` that logs its arguments, one run a line, to /tmp/log (on a fresh tmpfs)
// and then runs the shell commands `answer`. Empty when in place, else why not.
std::string installLoggingProgram(const std::string& path, const std::string& answer);

// Creates or replaces `path` with `content` and exactly `mode`, whatever the umask.
bool writeFile(const std::string& path, const std::string& content, mode_t mode = 0644);

// Reads a whole file; empty when it cannot be read.
std::string readFile(const std::string& path);

// Empty when `got` is `want`, else both texts.
std::string mismatch(const std::string& got, const std::string& want);

// Counts the descriptors open in this process.
int openDescriptorCount();

} // namespace zel::testing

// Runs `body` in a sandbox and turns its outcome into a test result.
#define ZEL_RUN_IN_SANDBOX(body)                                                                                 \
    do {                                                                                                         \
        std::string sandboxReport;                                                                               \
        switch (::zel::testing::runInMountNamespace((body), sandboxReport)) {                                    \
        case ::zel::testing::SandboxOutcome::Unavailable:                                                        \
            GTEST_SKIP() << "private mount namespace not permitted here: " << sandboxReport;                     \
        case ::zel::testing::SandboxOutcome::Failed:                                                             \
            ADD_FAILURE() << sandboxReport;                                                                      \
            break;                                                                                               \
        case ::zel::testing::SandboxOutcome::Passed:                                                             \
            break;                                                                                               \
        }                                                                                                        \
    } while (false)
