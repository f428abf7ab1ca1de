// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#include "base/stop_record.hpp"

#include "base/posix_io.hpp"

#include <csignal>
#include <ctime>

namespace zel {
namespace {

volatile std::sig_atomic_t stopSignal = 0;

} // namespace

void recordStopSignal(int signal)
{
    if (stopSignal == 0) {
        stopSignal = signal;
    }
}

bool stopRequested() { return stopSignal != 0; }

int stopSignalNumber() { return stopSignal; }

void sleepUnlessStopped(int durationMs)
{
    // A signal between this test and the sleep's start still sleeps in full:
    // a window of a few instructions, and the motor goes off at the end of it.
    if (durationMs <= 0 || stopRequested()) {
        return;
    }
    const timespec duration{durationMs / 1000, static_cast<long>(durationMs % 1000) * 1000000L};
    ignoreResult(::nanosleep(&duration, nullptr));
}

} // namespace zel
