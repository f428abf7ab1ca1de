// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#pragma once
// Included only by registry.cpp: the handler classes are internal to the registry's unit.

#include "commands/check_parameters.hpp"
#include "commands/command_handler.hpp"
#include "device/device_io.hpp"

namespace zel {
namespace {

// The attached device's two power-control lines, always handled in this order.
constexpr const char* kPowerLines[] = {"7", "21"};

class PowerCommand final : public CommandHandler {
public:
    PowerCommand(const CommandInfo& info, bool readOnly) : info_(info), readOnly_(readOnly) {}

    const CommandInfo& info() const override { return info_; }

    bool validate(const std::vector<int>& args, std::string& error) const override
    {
        return checkParameters(args, readOnly_ ? 0 : 1, 0, 1, error);
    }

    // The program's answers are passed on untouched; a failing line stops
    // the command and the line before it keeps its new level.
    bool execute(DeviceIo& io, const std::vector<int>& args, std::ostream& out, std::string& error) const override
    {
        for (const char* line : kPowerLines) {
            const CommandResult result =
                io.pinctrl(readOnly_ ? std::vector<std::string>{"get", line}
                                     : std::vector<std::string>{"set", line, "op", args[0] != 0 ? "dh" : "dl"});
            out << result.output;
            error += result.error;
            if (result.exitCode != 0) {
                error += "pinctrl exit=" + std::to_string(result.exitCode);
                return false;
            }
        }
        return true;
    }

private:
    CommandInfo info_;
    bool readOnly_;
};

} // namespace
} // namespace zel
