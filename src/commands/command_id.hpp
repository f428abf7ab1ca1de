// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace zel {

// The number a user types for each command; the first digit names the handler family.
// The device layer uses it too, to pick a motor backend.
enum class CommandId : std::int32_t {
    FanLegacy = 101,
    Fan588 = 102,
    FanP5 = 103,
    FanKylin = 104,
    FanThermal = 105,
    FanMode = 201,
    FanLevel = 202,
    Brightness588 = 301,
    BrightnessP5 = 302,
    BrightnessNx = 303,
    Motor588 = 401,
    MotorP5 = 402,
    MotorNx = 403,
    DevicePower = 501,
    DevicePowerRead = 502,
};

} // namespace zel
