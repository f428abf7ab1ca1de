#include "dispatch/group_parser.hpp"

#include <gtest/gtest.h>

namespace zel {
namespace {

struct GroupCase {
    std::string group;
    std::vector<int> values; // expected when `error` is empty
    std::string error;
};

const GroupCase kGroupCases[] = {
    {"101 5", {101, 5}, ""},
    {" 101\t5 ", {101, 5}, ""},
    {"0101", {101}, ""},
    {"2147483647", {2147483647}, ""},
    {"000000000002147483647", {2147483647}, ""},
    {"2147483648", {}, "integer overflow"},
    {"1 99999999999 x", {}, "only decimal integers and space/Tab are accepted"},
    {"1 99999999999 2", {}, "integer overflow"},
    {"", {}, "invalid length"},
    {" \t ", {}, "missing command id"},
    {"-1", {}, "only decimal integers and space/Tab are accepted"},
    {"+1", {}, "only decimal integers and space/Tab are accepted"},
    {"1\n", {}, "only decimal integers and space/Tab are accepted"},
    {"1\r", {}, "only decimal integers and space/Tab are accepted"},
    {"1\v", {}, "only decimal integers and space/Tab are accepted"},
    {"1\f", {}, "only decimal integers and space/Tab are accepted"},
    {"1,2", {}, "only decimal integers and space/Tab are accepted"},
    {"1 \xe4\xb8\x80", {}, "only decimal integers and space/Tab are accepted"},
    {std::string("1\0 2", 4), {}, "only decimal integers and space/Tab are accepted"},
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
