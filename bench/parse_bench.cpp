// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
// Phase 1 of the batch engine on the largest batch a caller may send: 64
// groups of 256 bytes, the last one rejected by its handler, so every group is
// parsed, looked up and validated and nothing is executed.
#include "commands/command_handler.hpp"
#include "device/device_io.hpp"
#include "dispatch/dispatch.hpp"
#include "dispatch/group_parser.hpp"

#include <benchmark/benchmark.h>

#include <ostream>
#include <string>
#include <vector>

namespace {

constexpr int kGroups = 64;
constexpr std::size_t kGroupBytes = 256;

// Records nothing and fails nothing: only the engine's own work is timed.
class NullDeviceIo final : public zel::DeviceIo {
public:
    bool writeSysfs(const std::string&, const std::string&, std::string&) override { return true; }
    bool ensurePwm(const std::string&, int, std::string&) override { return true; }
    bool writeConfig(const std::string&, const std::string&, const std::string&, std::string&) override { return true; }
    bool motorPulse(zel::CommandId, int, std::string&, std::string&) override { return true; }
    zel::CommandResult pinctrl(const std::vector<std::string>&) override { return {0, "", ""}; }
};

// fan-p5 with the given enable flag, every token widened with leading zeros so
// the group is exactly 256 bytes: the parser walks every byte.
std::string widenedFanP5(int enable)
{
    const std::string id = "103";
    const std::string duty = "40000";
    const std::string flag = std::to_string(enable);
    const std::size_t width = (kGroupBytes - 2) / 3;
    const auto widen = [](const std::string& token, std::size_t size) {
        return std::string(size - token.size(), '0') + token;
    };
    return widen(id, width) + " " + widen(duty, width) + "\t" + widen(flag, kGroupBytes - 2 - 2 * width);
}

std::vector<std::string> batch(bool rejectLast)
{
    std::vector<std::string> args{"-c"};
    for (int group = 1; group <= kGroups; ++group) {
        args.push_back(widenedFanP5(rejectLast && group == kGroups ? 2 : 1));
    }
    return args;
}

void dispatchBatch(benchmark::State& state, bool rejectLast, int expected)
{
    const std::vector<std::string> args = batch(rejectLast);
    NullDeviceIo io;
    std::ostream sink(nullptr); // a stream without a buffer drops everything
    for (auto _ : state) {
        const int status = zel::dispatchCommands(args, 0, io, sink, sink);
        if (status != expected) {
            state.SkipWithError("unexpected exit status");
            break;
        }
        benchmark::DoNotOptimize(status);
    }
    state.SetItemsProcessed(state.iterations() * kGroups);
    state.SetBytesProcessed(state.iterations() * kGroups * static_cast<std::int64_t>(kGroupBytes));
}

void BM_RejectedBatch64x256(benchmark::State& state) { dispatchBatch(state, true, 66); }
void BM_AcceptedBatch64x256(benchmark::State& state) { dispatchBatch(state, false, 0); }

void BM_ParseGroup256(benchmark::State& state)
{
    const std::string group = widenedFanP5(1);
    std::vector<int> values;
    std::string error;
    for (auto _ : state) {
        benchmark::DoNotOptimize(zel::parseGroup(group, values, error));
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kGroupBytes));
}

void BM_Help(benchmark::State& state)
{
    const std::vector<std::string> args{"-h"};
    NullDeviceIo io;
    std::ostream sink(nullptr);
    for (auto _ : state) {
        benchmark::DoNotOptimize(zel::dispatchCommands(args, 1000, io, sink, sink));
    }
}

} // namespace

BENCHMARK(BM_RejectedBatch64x256);
BENCHMARK(BM_AcceptedBatch64x256);
BENCHMARK(BM_ParseGroup256);
BENCHMARK(BM_Help);
BENCHMARK_MAIN();
