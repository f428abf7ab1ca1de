// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace zel {

// The count test and the range test of the first argument that every
// handler's validation starts with; a handler tests further arguments itself.
bool checkParameters(const std::vector<int>& args, unsigned long expectedCount, int min, int max, std::string& error);

} // namespace zel
