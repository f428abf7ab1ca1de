// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#pragma once

namespace zel {

// A front-end that gives up on a call signals its sudo, and sudo relays the
// signal to the tool. Dying there could leave a motor running or a settings
// file empty, so the signal is only recorded here: waits end early, the batch
// stops before its next command, and the process then ends by that signal.

// Records a relayed signal; the first one decides, a later one changes
// nothing. Async-signal-safe: it is the body of the signal handler.
void recordStopSignal(int signal);

// True once a relayed signal has arrived.
bool stopRequested();

// The relayed signal that arrived first, 0 while none has.
int stopSignalNumber();

// Sleeps `durationMs` once, or not at all for 0 or less or after a stop signal;
// a signal ends the sleep early.
void sleepUnlessStopped(int durationMs);

} // namespace zel
