// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace zel {

// Where the line-lookup program says a named GPIO line is.
struct GpioLineLocation {
    std::string chipName; // "gpiochip" and 1 to 8 digits
    unsigned int offset = 0;
};

// Parses the line-lookup program's output: exactly two whitespace-separated
// tokens, a chip name and a line offset of 1 to 5 digits.
bool parseGpioLineLocation(const std::string& output, GpioLineLocation& location, std::string& error);

} // namespace zel
