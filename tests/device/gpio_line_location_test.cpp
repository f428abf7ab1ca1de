// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#include "device/gpio_line_location.hpp"

#include <gtest/gtest.h>

namespace zel {
namespace {

// The token and length tests come before the character tests, so a bad length wins over a bad character
// and the chip over the offset.
TEST(GpioLineLocation, ParsesOrRefusesEachLineLookupOutputAsTheTableSays)
{
    const std::pair<const char*, const char*> cases[] = {
        // output, then chip/offset or the error text
        {"\t gpiochip12345678   00042 \n", "gpiochip12345678/42"},
        {"gpiochip9 99999", "gpiochip9/99999"},
        {"gpiochip0\n", "invalid gpiofind output"},
        {"gpiochip0 12 PQ.06\n", "invalid gpiofind output"},
        {"GPIOCHIP0 1", "invalid gpiofind output"}, // long enough that only the prefix test refuses it
        {"gpiochip 1", "invalid gpiofind output"},
        {"gpiochip123456789 1", "invalid gpiofind output"},
        {"gpiochipA 123456", "invalid gpiofind output"},
        {"gpiochipA 1", "invalid GPIO chip"},
        {"gpiochip0/ 1", "invalid GPIO chip"},
        {"gpiochip: 1", "invalid GPIO chip"},
        {"gpiochip0 1:", "invalid GPIO offset"},
    };
    for (const auto& [output, outcome] : cases) {
        SCOPED_TRACE(std::string("output \"") + output + "\"");
        GpioLineLocation location;
        std::string error = "earlier text";
        const bool parsed = parseGpioLineLocation(output, location, error);
        EXPECT_EQ(parsed ? location.chipName + "/" + std::to_string(location.offset) : error, outcome);
    }
}

} // namespace
} // namespace zel
