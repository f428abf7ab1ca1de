// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#pragma once

#include "process/command_result.hpp"

#include <string>
#include <vector>

namespace zel {

// Runs `program` (an absolute path, also passed as argument zero) with `args`,
// a fixed two-entry environment, standard input from /dev/null and its own
// process group. The run is killed with its whole group after `timeoutMs` or
// once more than 1 MiB of output has been collected. Never throws for a
// process failure: every failure is reported inside the result.
CommandResult runProcess(const std::string& program, const std::vector<std::string>& args, int timeoutMs);

} // namespace zel
