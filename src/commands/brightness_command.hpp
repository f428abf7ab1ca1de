// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#pragma once
// Included only by registry.cpp: the handler classes are internal to the registry's unit.

#include "commands/check_parameters.hpp"
#include "commands/command_handler.hpp"
#include "device/device_io.hpp"

namespace zel {
namespace {

constexpr char kBacklightBrightness[] = "/sys/class/backlight/backlight/brightness";
constexpr char kHwmonBrightness[] = "/sys/class/hwmon/hwmon0/pwm1";
constexpr char kP5BacklightPeriod[] = "/sys/class/pwm/pwmchip0/pwm0/period";
constexpr char kP5BacklightDuty[] = "/sys/class/pwm/pwmchip0/pwm0/duty_cycle";
constexpr char kP5BacklightPeriodValue[] = "255000";

// No value is scaled: each node takes the number the user gave.
class BrightnessCommand final : public CommandHandler {
public:
    explicit BrightnessCommand(const CommandInfo& info) : info_(info) {}

    const CommandInfo& info() const override { return info_; }

    bool validate(const std::vector<int>& args, std::string& error) const override
    {
        if (info_.id != CommandId::BrightnessP5) {
            return checkParameters(args, 1, 0, 255, error);
        }
        if (!checkParameters(args, 2, 0, 255000, error)) {
            return false;
        }
        if (static_cast<unsigned int>(args[1]) > 255U) {
            error = "brightness must be 0..255";
            return false;
        }
        return true;
    }

    bool execute(DeviceIo& io, const std::vector<int>& args, std::ostream& /*out*/, std::string& error) const override
    {
        switch (info_.id) {
        case CommandId::Brightness588:
            return io.writeSysfs(kBacklightBrightness, std::to_string(args[0]), error);
        case CommandId::BrightnessNx:
            return io.writeSysfs(kHwmonBrightness, std::to_string(args[0]), error);
        default: // brightness-p5: the hardware first, the saved value last
            return io.writeSysfs(kP5BacklightPeriod, kP5BacklightPeriodValue, error) &&
                   io.writeSysfs(kP5BacklightDuty, std::to_string(args[0]), error) &&
                   io.writeConfig("/etc/device", "black.config", "BRIGHTNESS=" + std::to_string(args[1]), error);
        }
    }

private:
    CommandInfo info_;
};

} // namespace
} // namespace zel
