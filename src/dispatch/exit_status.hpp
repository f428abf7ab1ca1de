// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#pragma once

namespace zel {

// The only values the process ever returns.
constexpr int kExitSuccess = 0;
constexpr int kExitUsage = 64;
constexpr int kExitUnknownCommand = 65;
constexpr int kExitParameter = 66;
constexpr int kExitPermission = 67;
constexpr int kExitInternal = 70;
constexpr int kExitDispatch = 74;

} // namespace zel
