// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zel {

// Turns one command group ("<id> <arg>...", 1 to 256 bytes of digits, spaces
// and tabs) into its values, the command id first. On failure `error` holds
// the reason as it follows "command[k] " in the diagnostic line.
bool parseGroup(std::string_view group, std::vector<int>& values, std::string& error);

} // namespace zel
