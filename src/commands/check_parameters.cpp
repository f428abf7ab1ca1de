// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#include "commands/check_parameters.hpp"

namespace zel {

bool checkParameters(const std::vector<int>& args, unsigned long expectedCount, int min, int max, std::string& error)
{
    if (args.size() != expectedCount) {
        error = "wrong parameter count";
        return false;
    }
    if (expectedCount == 0 || (min <= args[0] && args[0] <= max)) {
        return true;
    }
    error = "value outside allowed range";
    return false;
}

} // namespace zel
