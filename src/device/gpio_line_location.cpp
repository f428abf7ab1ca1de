// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#include "device/gpio_line_location.hpp"

#include <algorithm>
#include <sstream>
#include <string_view>

namespace zel {
namespace {

constexpr std::string_view kChipPrefix = "gpiochip";
constexpr std::size_t kMaxChipNameLength = kChipPrefix.size() + 8;
constexpr std::size_t kMaxOffsetLength = 5;

bool allDigits(std::string_view text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

} // namespace

bool parseGpioLineLocation(const std::string& output, GpioLineLocation& location, std::string& error)
{
    std::istringstream tokens(output);
    std::string chipName;
    std::string offsetText;
    std::string extra;
    if (!(tokens >> chipName >> offsetText) || (tokens >> extra) ||
        std::string_view(chipName).substr(0, kChipPrefix.size()) != kChipPrefix ||
        chipName.size() <= kChipPrefix.size() || chipName.size() > kMaxChipNameLength ||
        offsetText.size() > kMaxOffsetLength) {
        error = "invalid gpiofind output";
        return false;
    }
    if (!allDigits(std::string_view(chipName).substr(kChipPrefix.size()))) {
        error = "invalid GPIO chip";
        return false;
    }
    if (!allDigits(offsetText)) {
        error = "invalid GPIO offset";
        return false;
    }
    location.chipName = chipName;
    location.offset = 0;
    for (const char digit : offsetText) {
        location.offset = location.offset * 10 + static_cast<unsigned int>(digit - '0');
    }
    return true;
}

} // namespace zel
