// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <vector>

namespace zel::bench {

inline double nowMicroseconds()
{
    using Micros = std::chrono::duration<double, std::micro>;
    return std::chrono::duration_cast<Micros>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// Nearest-rank quantile; the samples are taken by value because they get sorted.
inline double quantile(std::vector<double> samples, double q)
{
    if (samples.empty()) {
        return 0.0;
    }
    std::sort(samples.begin(), samples.end());
    const auto rank = static_cast<std::size_t>(q * static_cast<double>(samples.size() - 1) + 0.5);
    return samples[std::min(rank, samples.size() - 1)];
}

} // namespace zel::bench
