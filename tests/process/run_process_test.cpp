// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#include "process/run_process.hpp"
#include "support/files.hpp"
#include "support/streams.hpp"

#include <cerrno>

#include <sys/wait.h>

namespace zel {
namespace {

using Args = std::vector<std::string>;

// The program is /bin/sh unless a row names another; a body runs as `sh -c body`. Every run must leave this
// process as it found it: no descriptor and no child. What the program is handed (argument zero, environment,
// /dev/null as input, no stray descriptor) is proven on the simulated board and by fault injection, which
// also fails the runner's pipes and lets a program outlive its deadline.
TEST(RunProcess, PassesOnBothStreamsAndHowTheProgramEndedOrRefusesToStartIt)
{
    const std::string half(524288, '\0');
    const struct {
        std::string body;
        int status;
        std::string out, err, program = "/bin/sh";
        int timeoutMs = 3000;
    } cases[] = {
        {"", 70, "", "invalid process invocation\n", "bin/sh"}, // no caller passes these two; only they test the guard
        {"true", 70, "", "invalid process invocation\n", "/bin/sh", 0},
        {"echo o1; echo e1 >&2; echo o2; echo e2 >&2", 0, "o1\no2\n", "e1\ne2\n"},
        {"echo bye >&2; kill -TERM $$", 143, "", "bye\n"},
        {"echo partial; echo oops >&2; exit 127", 127, "partial\n", "oops\nprogram: /bin/sh\n"},
        {"", 127, "", "cannot execute fixed program\nprogram: /proc/missing\n", "/proc/missing"},
        // The child is reaped long before its descendant lets go of the pipes.
        {"(sleep 0.3; echo late; echo warn >&2) & exit 4", 4, "late\n", "warn\n"},
        {"exec 2>&-; sleep 0.1; echo out", 0, "out\n", ""},
        {"head -c 524288 /dev/zero; head -c 524288 /dev/zero >&2", 0, half, half},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.program + " -c " + c.body);
        const long descriptors = test::openDescriptorCount();
        const CommandResult result = runProcess(c.program, c.body.empty() ? Args{} : Args{"-c", c.body}, c.timeoutMs);
        test::expectStreams({result.exitCode, result.output, result.error}, {c.status, c.out, c.err});
        EXPECT_EQ(test::openDescriptorCount(), descriptors);
        EXPECT_TRUE(::waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD) << "a child was left unreaped";
    }
    // One byte more over both streams: what was read so far is kept, then the reason.
    const std::string limit = "process output limit exceeded\n";
    const CommandResult over =
        runProcess("/bin/sh", {"-c", "head -c 524288 /dev/zero; head -c 524289 /dev/zero >&2"}, 3000);
    EXPECT_EQ(over.exitCode, 70);
    EXPECT_LE(over.output.size() + over.error.size(), 1048576 + limit.size());
    EXPECT_EQ(over.error.substr(over.error.size() - std::min(over.error.size(), limit.size())), limit);
}

} // namespace
} // namespace zel
