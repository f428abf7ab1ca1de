// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#pragma once

namespace zel {

// sudo passes much of its caller's process state on, and the programs the
// tool starts inherit it in turn. A file-size limit would cut a settings
// rewrite short after its truncation, a descriptor limit could keep the
// pin-control program from switching a motor off, a CPU-time limit or an
// out-of-memory kill could end the tool mid-pulse, a caller's timer slack,
// niceness or idle scheduling would stretch a 20 ms pulse to seconds, and a
// signal the caller ignored or blocked would not stop the tool at all. The
// tool and its programs take the state of a process started at boot instead.
//
// Signals: the relayed ones (TERM, INT, HUP, QUIT, PIPE, ALRM, USR1, USR2)
// are recorded, even where the caller ignored or blocked them, but a SIGPIPE
// that the tool's own write to a closed stream raised: such output is lost and
// the batch goes on. The terminal stop signals, which would freeze the tool
// holding a lock or a line, are ignored, and so is SIGXFSZ, so that a
// file-size limit fails a write instead of killing the tool in the middle of
// a rewrite. SIGCHLD gets its default back, which sudo passes on ignored if
// the caller did.
//
// Limits: raising a hard limit needs CAP_SYS_RESOURCE. Where root lacks it,
// the soft limit goes as high as the caller's hard one allows, and a
// file-size limit left finite is noted for the settings store.
void undoCallerState();

// Ends the process by the relayed signal, if one arrived; returns otherwise.
void endIfStopRequested();

} // namespace zel
