// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#pragma once

#include <ostream>

namespace zel {

// The help text: how to call the tool, one line per registered command, the exit statuses.
void writeHelp(std::ostream& out);

} // namespace zel
