// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#include "device/pin_control.hpp"

#include "device/linux_device_io.hpp"
#include "process/run_process.hpp"

namespace zel {

bool runPinctrl(const std::vector<std::string>& args, std::string& output, std::string& error)
{
    const CommandResult result = runProcess(kPinctrlProgram, args, kFixedProgramTimeoutMs);
    output += result.output;
    error += result.error;
    if (result.exitCode != 0) {
        error += "pinctrl exit=" + std::to_string(result.exitCode);
        return false;
    }
    return true;
}

CommandResult LinuxDeviceIo::pinctrl(const std::vector<std::string>& args)
{
    return runProcess(kPinctrlProgram, args, kFixedProgramTimeoutMs);
}

} // namespace zel
