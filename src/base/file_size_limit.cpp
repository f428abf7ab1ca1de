// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#include "base/file_size_limit.hpp"

namespace zel {
namespace {

bool limitedAtStart = false;

} // namespace

void noteFileSizeLimited(bool limited) { limitedAtStart = limited; }

bool fileSizeLimited() { return limitedAtStart; }

} // namespace zel
