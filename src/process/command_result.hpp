// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

namespace zel {

// How one run of an outside program ended and what it wrote.
struct CommandResult {
    std::int32_t exitCode = 70; // 70 when the runner itself failed or timed out
    std::string output;         // the program's standard output
    std::string error;          // its standard error, then the runner's own lines
};

} // namespace zel
