// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#pragma once

namespace zel {

// A front-end that gives up on a call signals its sudo, and sudo relays the
// signal to the tool. Dying there could leave a motor running or a settings
// file empty, so the signal is only recorded: waits end early, the batch
// stops before its next command, and the process then ends by that signal.

// Records the relayed signals (TERM, INT, HUP, QUIT, PIPE, ALRM, USR1, USR2)
// even where the caller ignored or blocked them, but a SIGPIPE that the
// tool's own write to a closed stream raised: such output is lost and the
// batch goes on. Ignores the terminal stop signals, which would freeze the
// tool holding a lock or a line, and SIGXFSZ, so that a file-size limit fails
// a write instead of killing the tool in the middle of a rewrite. Gives
// SIGCHLD its default back, which sudo passes on ignored if the caller did.
void overrideCallerSignals();

// True once a relayed signal has arrived.
bool stopRequested();

// The relayed signal that arrived first, 0 while none has.
int stopSignalNumber();

// Ends the process by the relayed signal, if one arrived; returns otherwise.
void endIfStopRequested();

// In a forked child before it executes a program: every disposition back to
// the default and nothing blocked, whatever the tool or its caller set.
// Async-signal-safe.
void resetSignalsForProgram();

} // namespace zel
