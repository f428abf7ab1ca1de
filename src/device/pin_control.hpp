// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace zel {

constexpr char kPinctrlProgram[] = "/usr/bin/pinctrl";
constexpr char kLineLookupProgram[] = "/usr/bin/gpiofind";
constexpr int kFixedProgramTimeoutMs = 5000;

// Runs the pin-control program and appends its standard output to `output`
// and its error text to `error`, plus "pinctrl exit=" and the status when it
// did not exit 0. Never replaces either string: texts of several runs collect.
bool runPinctrl(const std::vector<std::string>& args, std::string& output, std::string& error);

} // namespace zel
