// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <string>

namespace zel::testing {

// What a run shows its caller: the exit status and the two streams.
struct Streams {
    int status;
    std::string out, err;
};

// A text as a failure line shows it: quoted, escaped, and cut where a megabyte of output would bury the rest.
inline std::string quoted(const std::string& text)
{
    const std::string shown = ::testing::PrintToString(text.substr(0, 200));
    return text.size() <= 200 ? shown : shown + "... (" + std::to_string(text.size()) + " bytes)";
}

// Field by field, so that each field that broke has a failure line of its own.
inline void expectStreams(const Streams& got, const Streams& want)
{
    EXPECT_EQ(got.status, want.status) << "exit status";
    EXPECT_TRUE(got.out == want.out) << "standard output " << quoted(got.out) << ", want " << quoted(want.out);
    EXPECT_TRUE(got.err == want.err) << "standard error " << quoted(got.err) << ", want " << quoted(want.err);
}

} // namespace zel::testing
