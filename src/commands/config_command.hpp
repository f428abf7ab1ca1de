// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#pragma once
// Included only by registry.cpp: the handler classes are internal to the registry's unit.

#include "commands/check_parameters.hpp"
#include "commands/command_handler.hpp"
#include "device/device_io.hpp"

namespace zel {
namespace {

constexpr char kFanSettingsDirectory[] = "/etc/zel";

// Saves a fan setting for other programs on the board; no fan node is written.
class ConfigCommand final : public CommandHandler {
public:
    explicit ConfigCommand(const CommandInfo& info) : info_(info) {}

    const CommandInfo& info() const override { return info_; }

    bool validate(const std::vector<int>& args, std::string& error) const override
    {
        return checkParameters(args, 1, 0, isFanMode() ? 1 : 6, error);
    }

    bool execute(DeviceIo& io, const std::vector<int>& args, std::ostream& /*out*/, std::string& error) const override
    {
        return io.writeConfig(kFanSettingsDirectory, isFanMode() ? "fanMode.config" : "fanLevel.config",
                              std::to_string(args[0]), error);
    }

private:
    bool isFanMode() const { return info_.id == CommandId::FanMode; }

    CommandInfo info_;
};

} // namespace
} // namespace zel
