// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#pragma once

namespace zel {

// Whether a file-size limit that the tool could not lift at its start is in
// force. A settings rewrite under it would be cut short after the truncation
// and leave the file empty, so the settings store refuses to begin one.
void noteFileSizeLimited(bool limited);
bool fileSizeLimited();

} // namespace zel
