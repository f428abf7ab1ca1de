// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#pragma once
// Included only by registry.cpp: the handler classes are internal to the registry's unit.

#include "commands/check_parameters.hpp"
#include "commands/command_handler.hpp"
#include "device/device_io.hpp"

namespace zel {
namespace {

constexpr int kMaxPulseMs = 60000;

// Which line is driven, and how, is the device layer's choice by command id.
class MotorCommand final : public CommandHandler {
public:
    explicit MotorCommand(const CommandInfo& info) : info_(info) {}

    const CommandInfo& info() const override { return info_; }

    bool validate(const std::vector<int>& args, std::string& error) const override
    {
        return checkParameters(args, 1, 0, kMaxPulseMs, error);
    }

    bool execute(DeviceIo& io, const std::vector<int>& args, std::ostream& out, std::string& error) const override
    {
        std::string output;
        const bool pulsed = io.motorPulse(info_.id, args[0], output, error);
        out << output;
        return pulsed;
    }

private:
    CommandInfo info_;
};

} // namespace
} // namespace zel
