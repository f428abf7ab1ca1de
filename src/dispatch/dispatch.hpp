// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace zel {

class DeviceIo;

// Takes every command-line decision and runs one batch: all groups are parsed
// and validated before the first one executes; execution stops at the first
// failure and undoes nothing. Returns the process exit status.
int dispatchCommands(const std::vector<std::string>& args, unsigned int euid, DeviceIo& io, std::ostream& out,
                     std::ostream& err);

} // namespace zel
