// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#pragma once

#include <string>

// POSIX helpers that every layer may use.
namespace zel {

// Sets `error` to `label`, ": " and the text of the current errno; call it
// directly after the failing call.
void systemError(const std::string& label, std::string& error);

// Writes all of `data` to `fd`, going on after partial writes and signals.
bool writeAll(int fd, const std::string& data, std::string& error);

// Marks the result of a call dropped on purpose. Unlike a cast to void, it
// also quiets the compiler where the C library asks for the result to be used.
template <typename Result> void ignoreResult(const Result& /*result*/) {}

} // namespace zel
