// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#include "base/posix_io.hpp"
#include "base/stop_record.hpp"
#include "device/gpio_chardev_pulse.hpp"
#include "device/linux_device_io.hpp"
#include "device/pin_control.hpp"

namespace zel {
namespace {

constexpr char kGpio131Direction[] = "/sys/class/gpio/gpio131/direction";
constexpr char kGpio131Value[] = "/sys/class/gpio/gpio131/value";

constexpr char kP5MotorLine[] = "10"; // as the pin-control program numbers it

// The switch-off runs even after a failed switch-on: a motor must never be left running.
bool pulseSysfsGpio(DeviceIo& io, int durationMs, std::string& error)
{
    if (!io.writeSysfs(kGpio131Direction, "out", error)) {
        return false;
    }
    const bool on = io.writeSysfs(kGpio131Value, "1", error);
    if (on) {
        sleepUnlessStopped(durationMs);
    }
    std::string resetError;
    const bool off = io.writeSysfs(kGpio131Value, "0", resetError);
    if (!off) {
        error += " reset: " + resetError;
    }
    return on && off;
}

bool pulsePinctrl(int durationMs, std::string& output, std::string& error)
{
    const bool on = runPinctrl({"set", kP5MotorLine, "op", "dh"}, output, error);
    if (on) {
        sleepUnlessStopped(durationMs);
    }
    std::string resetError;
    const bool off = runPinctrl({"set", kP5MotorLine, "op", "dl"}, output, resetError);
    if (!resetError.empty()) {
        error += " reset: " + resetError;
    }
    return on && off;
}

} // namespace

bool LinuxDeviceIo::motorPulse(CommandId id, int durationMs, std::string& output, std::string& error)
{
    switch (id) {
    case CommandId::Motor588:
        return pulseSysfsGpio(*this, durationMs, error);
    case CommandId::MotorP5:
        return pulsePinctrl(durationMs, output, error);
    case CommandId::MotorNx:
        return pulseGpioCharDevLine(durationMs, error);
    default:
        error = "unknown motor backend";
        return false;
    }
}

} // namespace zel
