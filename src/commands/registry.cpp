// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#include "commands/brightness_command.hpp"
#include "commands/command_handler.hpp"
#include "commands/config_command.hpp"
#include "commands/fan_command.hpp"
#include "commands/motor_command.hpp"
#include "commands/power_command.hpp"

namespace zel {
namespace {

// The texts users see in the help, in registry order.
constexpr CommandInfo kFanInfos[] = {
    {CommandId::FanLegacy, "fan-legacy", "<duty ns:0..255000>", "旧PWM风扇，仅下发duty，依赖启动初始化"},
    {CommandId::Fan588, "fan-588", "<duty ns:0..255000>", "588双路风扇，周期255000ns，极性normal"},
    {CommandId::FanP5, "fan-p5", "<duty ns:8000..40000> <启用:0|1>", "P5风扇，先停用清零再配置40000ns周期"},
    {CommandId::FanKylin, "fan-kylin", "<duty ns:0..50000>", "麒麟双路风扇，50000ns周期，只写enable=1"},
    {CommandId::FanThermal, "fan-thermal", "<state:1..5>", "RP风扇，两路thermal cooling state"},
};
constexpr CommandInfo kFanModeInfo{CommandId::FanMode, "fan-mode", "<模式:0|1>", "保存风扇模式(0静音/1标准)"};
constexpr CommandInfo kFanLevelInfo{CommandId::FanLevel, "fan-level", "<档位:0..6>", "保存风扇软件档位索引"};
constexpr CommandInfo kBrightnessInfos[] = {
    {CommandId::Brightness588, "brightness-588", "<亮度:0..255>", "588屏幕亮度，backlight实现"},
    {CommandId::BrightnessP5, "brightness-p5", "<duty ns:0..255000> <亮度:0..255>",
     "P5屏幕亮度，PWM实现并保存black.config"},
    {CommandId::BrightnessNx, "brightness-nx", "<亮度:0..255>", "NX屏幕亮度，hwmon实现"},
};
constexpr CommandInfo kMotorInfos[] = {
    {CommandId::Motor588, "motor-588", "<持续时间ms:0..60000>", "588振动，固定GPIO131，结束复位"},
    {CommandId::MotorP5, "motor-p5", "<持续时间ms:0..60000>", "P5振动，固定pinctrl定义，结束复位"},
    {CommandId::MotorNx, "motor-nx", "<持续时间ms:0..60000>", "NX振动，固定PQ.06，同一句柄内复位"},
};
constexpr CommandInfo kDevicePowerInfo{CommandId::DevicePower, "device-power", "<状态:0=OFF|1=ON>",
                                       "同步设置设备两路电源控制状态"};
constexpr CommandInfo kDevicePowerReadInfo{CommandId::DevicePowerRead, "device-power-read", "",
                                           "读取设备两路电源控制状态"};

} // namespace

const std::vector<const CommandHandler*>& registeredCommands()
{
    static const FanCommand fans[] = {FanCommand(kFanInfos[0]), FanCommand(kFanInfos[1]), FanCommand(kFanInfos[2]),
                                      FanCommand(kFanInfos[3]), FanCommand(kFanInfos[4])};
    static const ConfigCommand mode(kFanModeInfo);
    static const ConfigCommand level(kFanLevelInfo);
    static const BrightnessCommand brightness[] = {BrightnessCommand(kBrightnessInfos[0]),
                                                   BrightnessCommand(kBrightnessInfos[1]),
                                                   BrightnessCommand(kBrightnessInfos[2])};
    static const MotorCommand motors[] = {MotorCommand(kMotorInfos[0]), MotorCommand(kMotorInfos[1]),
                                          MotorCommand(kMotorInfos[2])};
    static const PowerCommand powerWrite(kDevicePowerInfo, false);
    static const PowerCommand powerRead(kDevicePowerReadInfo, true);
    static const std::vector<const CommandHandler*> commands{
        &fans[0],       &fans[1],       &fans[2],   &fans[3],   &fans[4],   &mode,       &level,    &brightness[0],
        &brightness[1], &brightness[2], &motors[0], &motors[1], &motors[2], &powerWrite, &powerRead};
    return commands;
}

} // namespace zel
