// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#include "app/resource_limits.hpp"

#include <sys/resource.h>

namespace zel {
namespace {

// An enumeration in glibc's C++ headers, an int elsewhere.
using Resource = decltype(RLIMIT_CPU);

struct Limit {
    Resource resource;
    rlim_t soft;
    rlim_t hard;
};

constexpr rlim_t kUnlimited = RLIM_INFINITY;
constexpr rlim_t kBootStackBytes = rlim_t{8} * 1024 * 1024;

// The kernel's limits for init: the programs see what they would see when
// started at boot, and a core dump of a root process lands nowhere.
constexpr Limit kBootLimits[] = {
    {RLIMIT_CPU, kUnlimited, kUnlimited},  {RLIMIT_FSIZE, kUnlimited, kUnlimited},
    {RLIMIT_DATA, kUnlimited, kUnlimited}, {RLIMIT_STACK, kBootStackBytes, kUnlimited},
    {RLIMIT_CORE, 0, kUnlimited},          {RLIMIT_NOFILE, 1024, 4096},
    {RLIMIT_AS, kUnlimited, kUnlimited},
};

} // namespace

void resetResourceLimits()
{
    // Raising a hard limit needs root; a caller who is not root gets no
    // further than the help or the permission message, which need nothing.
    for (const Limit& limit : kBootLimits) {
        const rlimit value{limit.soft, limit.hard};
        ::setrlimit(limit.resource, &value);
    }
}

} // namespace zel
