// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <string>

namespace zel::test {

// What a run shows its caller, compared field by field: a failure line for each field that broke, long texts cut.
struct Streams {
    int status;
    std::string out, err;
};
inline void expectStreams(const Streams& got, const Streams& want)
{
    const auto cut = [](const std::string& text) {
        return ::testing::PrintToString(text.substr(0, 200)) + " (" + std::to_string(text.size()) + " bytes)";
    };
    EXPECT_EQ(got.status, want.status);
    EXPECT_TRUE(got.out == want.out) << "out " << cut(got.out) << ", want " << cut(want.out);
    EXPECT_TRUE(got.err == want.err) << "err " << cut(got.err) << ", want " << cut(want.err);
}

} // namespace zel::test
