#include "device/gpio_locator.hpp"

#include <gtest/gtest.h>

namespace zel {
namespace {

// The token and length tests come before the character tests, so a bad
// length wins over a bad character and the chip over the offset.
TEST(GpioLocator, AcceptsOrRefusesEachLocatorOutputAsTheTableSays)
{
    const std::pair<const char*, const char*> cases[] = { // output, then chip/offset or the error text
        {"gpiochip0 12\n", "gpiochip0/12"},
        {"gpiochip0\n12\n", "gpiochip0/12"},
        {"\t gpiochip12345678   00042 \n", "gpiochip12345678/42"},
        {"", "invalid gpiofind output"},
        {"gpiochip0\n", "invalid gpiofind output"},
        {"gpiochip0 12 PQ.06\n", "invalid gpiofind output"},
        {"chip0 1", "invalid gpiofind output"},
        {"gpiochip 1", "invalid gpiofind output"},
        {"gpiochip123456789 1", "invalid gpiofind output"},
        {"gpiochip0 123456", "invalid gpiofind output"},
        {"gpiochipA 123456", "invalid gpiofind output"},
        {"gpiochipA 1", "invalid GPIO chip"},
        {"gpiochipA 1x", "invalid GPIO chip"},
        {"gpiochip0 1x", "invalid GPIO offset"},
        {"gpiochip0 +1", "invalid GPIO offset"},
    };
    for (const auto& [output, outcome] : cases) {
        SCOPED_TRACE(std::string("output \"") + output + "\"");
        GpioLineLocation location;
        std::string error = "earlier text";
        EXPECT_EQ(parseGpioLocation(output, location, error)
                      ? location.chipName + "/" + std::to_string(location.offset)
                      : error,
                  outcome);
    }
}

} // namespace
} // namespace zel
