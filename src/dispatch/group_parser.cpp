// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#include "dispatch/group_parser.hpp"

#include <algorithm>
#include <limits>

namespace zel {
namespace {

constexpr std::size_t kMaxGroupLength = 256;
constexpr int kMaxValue = std::numeric_limits<int>::max();

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isSeparator(char c) { return c == ' ' || c == '\t'; }

} // namespace

bool parseGroup(std::string_view group, std::vector<int>& values, std::string& error)
{
    if (group.empty() || group.size() > kMaxGroupLength) {
        error = "invalid length";
        return false;
    }
    // Every byte is judged before any number is read, so a bad byte wins over an overflow.
    if (!std::all_of(group.begin(), group.end(), [](char c) { return isDigit(c) || isSeparator(c); })) {
        error = "only decimal integers and space/Tab are accepted";
        return false;
    }
    values.clear();
    std::size_t position = 0;
    while (position < group.size()) {
        if (isSeparator(group[position])) {
            ++position;
            continue;
        }
        int value = 0;
        for (; position < group.size() && isDigit(group[position]); ++position) {
            const int digit = group[position] - '0';
            if (value > (kMaxValue - digit) / 10) {
                error = "integer overflow";
                return false;
            }
            value = value * 10 + digit;
        }
        values.push_back(value);
    }
    if (values.empty()) {
        error = "missing command id";
        return false;
    }
    return true;
}

} // namespace zel
