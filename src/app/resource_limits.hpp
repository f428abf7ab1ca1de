// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#pragma once

namespace zel {

// sudo passes the caller's resource limits on. A file-size limit would cut a
// settings rewrite short after its truncation, a descriptor limit could keep
// the pin-control program from switching a motor off, a CPU-time limit could
// kill the tool mid-pulse. The tool and the programs it starts take the
// limits the kernel gives its first process instead.
void resetResourceLimits();

} // namespace zel
