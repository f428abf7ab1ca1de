// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#pragma once

#include <string>

// Helpers shared by the LinuxDeviceIo operations; not used outside the device layer.
namespace zel {

// Sets `error` to `label`, ": " and the text of the current errno; call it
// directly after the failing call.
void systemError(const std::string& label, std::string& error);

// Writes all of `data` to `fd`, going on after partial writes and signals.
bool writeAll(int fd, const std::string& data, std::string& error);

// Sleeps `durationMs` once, or not at all for 0 or less or after a stop signal;
// a signal ends the sleep early.
void sleepUnlessStopped(int durationMs);

} // namespace zel
