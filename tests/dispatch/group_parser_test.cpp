#include "dispatch/group_parser.hpp"

#include <gtest/gtest.h>

namespace zel {
namespace {

struct GroupCase {
    std::string group;
    std::vector<int> values; // expected when `error` is empty
    std::string error;
};

constexpr char kDigitsOnly[] = "only decimal integers and space/Tab are accepted";

const GroupCase kGroupCases[] = {
    {"101 5", {101, 5}, ""}, {" 101\t5 ", {101, 5}, ""}, {"0101", {101}, ""}, {"2147483647", {2147483647}, ""},
    {"000000000002147483647", {2147483647}, ""}, {"2147483648", {}, "integer overflow"},
    {"1 99999999999 x", {}, kDigitsOnly}, {"1 99999999999 2", {}, "integer overflow"}, {"", {}, "invalid length"},
    {" \t ", {}, "missing command id"}, {"-1", {}, kDigitsOnly}, {"+1", {}, kDigitsOnly}, {"1\n", {}, kDigitsOnly},
    {"1\r", {}, kDigitsOnly}, {"1\v", {}, kDigitsOnly}, {"1\f", {}, kDigitsOnly}, {"1,2", {}, kDigitsOnly},
    {"1 \xe4\xb8\x80", {}, kDigitsOnly}, {std::string("1\0 2", 4), {}, kDigitsOnly},
    {std::string(256, ' ').replace(0, 3, "105"), {105}, ""},
    {std::string(257, ' ').replace(0, 3, "105"), {}, "invalid length"},
};

TEST(GroupParser, ParsesOrRejectsEachGroupAsTheTableSays)
{
    for (const GroupCase& c : kGroupCases) {
        SCOPED_TRACE("group \"" + c.group + "\"");
        std::vector<int> values{42};
        std::string error = "earlier text";
        const bool parsed = parseGroup(c.group, values, error);
        EXPECT_EQ(parsed, c.error.empty());
        if (parsed) {
            EXPECT_EQ(values, c.values);
        } else {
            EXPECT_EQ(error, c.error);
        }
    }
}

} // namespace
} // namespace zel
