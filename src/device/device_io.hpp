// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#pragma once

#include "commands/command_id.hpp"
#include "process/command_result.hpp"

#include <string>
#include <vector>

namespace zel {

// The only door from the commands to the operating system. Every operation
// that can fail returns false and leaves a one-line reason in `error`.
class DeviceIo {
public:
    virtual ~DeviceIo() = default;
    DeviceIo(const DeviceIo&) = delete;
    DeviceIo& operator=(const DeviceIo&) = delete;

    // Writes `value` and a line feed into an existing sysfs attribute.
    virtual bool writeSysfs(const std::string& path, const std::string& value, std::string& error) = 0;
    // Makes sure `chip`/pwm<channel> exists, exporting the channel if needed.
    virtual bool ensurePwm(const std::string& chip, int channel, std::string& error) = 0;
    // Replaces a whitelisted settings file with `content` and a line feed, durably.
    virtual bool writeConfig(const std::string& directory, const std::string& fileName, const std::string& content,
                             std::string& error) = 0;
    // One vibration pulse on the board that the motor command `id` serves.
    virtual bool motorPulse(CommandId id, int durationMs, std::string& output, std::string& error) = 0;
    // One run of the pin-control program, judged by the caller.
    virtual CommandResult pinctrl(const std::vector<std::string>& args) = 0;

protected:
    DeviceIo() = default;
};

} // namespace zel
