#include "commands/check_parameters.hpp"
#include "commands/command_handler.hpp"

#include <gtest/gtest.h>

namespace zel {
namespace {

TEST(Registry, HoldsTheFifteenCommandsOnceInAscendingIdOrder)
{
    const std::vector<const CommandHandler*>& commands = registeredCommands();
    EXPECT_EQ(&commands, &registeredCommands());
    std::vector<int> ids;
    for (const CommandHandler* handler : commands) {
        EXPECT_EQ(&handler->info(), &handler->info());
        ASSERT_NE(handler->info().usage, nullptr);
        ids.push_back(static_cast<int>(handler->info().id));
    }
    EXPECT_EQ(ids, (std::vector<int>{101, 102, 103, 104, 105, 201, 202, 301, 302, 303, 401, 402, 403, 501, 502}));
    EXPECT_STREQ(commands.back()->info().usage, "");
}

constexpr char kCount[] = "wrong parameter count";
constexpr char kRange[] = "value outside allowed range";

const struct ParameterCase {
    std::vector<int> args;
    unsigned long count;
    int min;
    int max;
    const char* error; // nullptr when accepted
} kParameterCases[] = {
    {{}, 0, 5, 1, nullptr}, {{0}, 0, 0, 1, kCount}, {{}, 1, 0, 1, kCount}, {{1, 2}, 1, 0, 5, kCount},
    {{7999}, 1, 8000, 40000, kRange}, {{8000}, 1, 8000, 40000, nullptr}, {{40000}, 1, 8000, 40000, nullptr},
    {{40001}, 1, 8000, 40000, kRange}, {{-1}, 1, 0, 5, kRange}, {{8000, -7}, 2, 8000, 40000, nullptr},
    {{40001, 9000}, 2, 8000, 40000, kRange},
};

TEST(CheckParameters, TestsTheCountThenOnlyTheFirstValueAndReplacesTheError)
{
    for (const ParameterCase& c : kParameterCases) {
        SCOPED_TRACE(::testing::PrintToString(c.args) + " count " + std::to_string(c.count));
        std::string error = "earlier text";
        EXPECT_EQ(checkParameters(c.args, c.count, c.min, c.max, error), c.error == nullptr);
        EXPECT_EQ(error, c.error == nullptr ? "earlier text" : c.error);
    }
}

} // namespace
} // namespace zel
