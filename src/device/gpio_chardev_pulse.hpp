// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace zel {

// The NX board's pulse: the line "PQ.06", found with the line-lookup program and
// driven through one GPIO character-device line handle from on to off.
bool pulseGpioCharDevLine(int durationMs, std::string& error);

} // namespace zel
