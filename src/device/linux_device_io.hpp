// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#pragma once

#include "device/device_io.hpp"

namespace zel {

// DeviceIo on a real Linux board: sysfs, /etc, GPIO character devices and the
// fixed outside programs. Stateless; every call closes what it opened.
// Operations that write sysfs (the PWM export, the sysfs motor pulse) go
// through the virtual writeSysfs, so every sysfs write passes its checks.
class LinuxDeviceIo : public DeviceIo {
public:
    LinuxDeviceIo() = default;

    // sysfs_writer.cpp
    bool writeSysfs(const std::string& path, const std::string& value, std::string& error) override;
    // pwm_export.cpp
    bool ensurePwm(const std::string& chip, int channel, std::string& error) override;
    // settings_store.cpp
    bool writeConfig(const std::string& directory, const std::string& fileName, const std::string& content,
                     std::string& error) override;
    // motor_pulse.cpp, with the NX board's pulse in gpio_chardev_pulse.cpp
    bool motorPulse(CommandId id, int durationMs, std::string& output, std::string& error) override;
    // pin_control.cpp
    CommandResult pinctrl(const std::vector<std::string>& args) override;
};

} // namespace zel
