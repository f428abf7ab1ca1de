// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#pragma once

namespace zel {

// sudo passes much of its caller's process state on, and the programs the
// tool starts inherit it in turn. A file-size limit would cut a settings
// rewrite short after its truncation, a descriptor limit could keep the
// pin-control program from switching a motor off, a CPU-time limit or an
// out-of-memory kill could end the tool mid-pulse, and a caller's timer
// slack, niceness or idle scheduling would stretch a 20 ms pulse to seconds.
// The tool and its programs take the state of a process started at boot
// instead. Raising a hard limit needs CAP_SYS_RESOURCE: where root lacks it,
// the soft limit goes as high as the caller's hard one allows, and a
// file-size limit left finite is noted for the settings store.
void undoCallerState();

} // namespace zel
