// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#pragma once
// Included only by registry.cpp: the handler classes are internal to the registry's unit.

#include "commands/check_parameters.hpp"
#include "commands/command_handler.hpp"
#include "device/device_io.hpp"

namespace zel {
namespace {

constexpr const char* kDualFanChips[] = {"/sys/class/pwm/pwmchip1", "/sys/class/pwm/pwmchip2"};
// Channel 1 of pwmchip0 drives both the legacy fan and the P5 fan.
constexpr char kPwmchip0[] = "/sys/class/pwm/pwmchip0";
constexpr int kPwmchip0FanChannel = 1;
constexpr char kPwmchip0FanChannelDirectory[] = "/sys/class/pwm/pwmchip0/pwm1";
constexpr const char* kCoolingStates[] = {"/sys/class/thermal/cooling_device0/cur_state",
                                          "/sys/class/thermal/cooling_device1/cur_state"};

// A duty never exceeds the period the same command writes: the largest
// accepted duty equals that period.
class FanCommand final : public CommandHandler {
public:
    explicit FanCommand(const CommandInfo& info) : info_(info) {}

    const CommandInfo& info() const override { return info_; }

    bool validate(const std::vector<int>& args, std::string& error) const override
    {
        switch (info_.id) {
        case CommandId::FanP5:
            if (!checkParameters(args, 2, 8000, 40000, error)) {
                return false;
            }
            if (static_cast<unsigned int>(args[1]) > 1U) {
                error = "fan enable must be 0 or 1";
                return false;
            }
            return true;
        case CommandId::FanKylin:
            return checkParameters(args, 1, 0, 50000, error);
        case CommandId::FanThermal:
            return checkParameters(args, 1, 1, 5, error);
        default: // fan-legacy and fan-588
            return checkParameters(args, 1, 0, 255000, error);
        }
    }

    bool execute(DeviceIo& io, const std::vector<int>& args, std::ostream& /*out*/, std::string& error) const override
    {
        const std::string value = std::to_string(args[0]);
        switch (info_.id) {
        case CommandId::FanLegacy:
            // Channel, period and enable are left to the board's start-up.
            return io.writeSysfs(std::string(kPwmchip0FanChannelDirectory) + "/duty_cycle", value, error);
        case CommandId::FanP5:
            return configureP5Fan(io, value, std::to_string(args[1]), error);
        case CommandId::FanThermal:
            return io.writeSysfs(kCoolingStates[0], value, error) && io.writeSysfs(kCoolingStates[1], value, error);
        default: // fan-588 and fan-kylin
            return configureDualFans(io, info_.id == CommandId::Fan588 ? "255000" : "50000", value, error);
        }
    }

private:
    // The second chip is begun only once the first is fully configured.
    static bool configureDualFans(DeviceIo& io, const std::string& period, const std::string& duty, std::string& error)
    {
        for (const char* chip : kDualFanChips) {
            const std::string channel = std::string(chip) + "/pwm0";
            if (!io.ensurePwm(chip, 0, error) || !io.writeSysfs(channel + "/period", period, error) ||
                !io.writeSysfs(channel + "/polarity", "normal", error) ||
                !io.writeSysfs(channel + "/duty_cycle", duty, error) ||
                !io.writeSysfs(channel + "/enable", "1", error)) {
                return false;
            }
        }
        return true;
    }

    // Off and zeroed first, so that the new period never meets an old, larger duty.
    static bool configureP5Fan(DeviceIo& io, const std::string& duty, const std::string& enable, std::string& error)
    {
        const std::string channel = kPwmchip0FanChannelDirectory;
        return io.ensurePwm(kPwmchip0, kPwmchip0FanChannel, error) && io.writeSysfs(channel + "/enable", "0", error) &&
               io.writeSysfs(channel + "/duty_cycle", "0", error) &&
               io.writeSysfs(channel + "/period", "40000", error) &&
               io.writeSysfs(channel + "/duty_cycle", duty, error) && io.writeSysfs(channel + "/enable", enable, error);
    }

    CommandInfo info_;
};

} // namespace
} // namespace zel
