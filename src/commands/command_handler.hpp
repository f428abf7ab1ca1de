// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#pragma once

#include "commands/command_id.hpp"

#include <ostream>
#include <string>
#include <vector>

namespace zel {

class DeviceIo;

// What the help text shows of one command; all texts are static literals.
struct CommandInfo {
    CommandId id;
    const char* name;
    const char* usage;
    const char* description;
};

// One numbered command. `validate` runs for the whole batch before anything
// is executed and must not touch hardware; `execute` acts only through `io`.
// Both report a failure as false with a one-line reason in `error`.
class CommandHandler {
public:
    virtual ~CommandHandler() = default;
    virtual const CommandInfo& info() const = 0;
    virtual bool validate(const std::vector<int>& args, std::string& error) const = 0;
    virtual bool execute(DeviceIo& io, const std::vector<int>& args, std::ostream& out, std::string& error) const = 0;

protected:
    CommandHandler() = default;
    CommandHandler(const CommandHandler&) = default;
    CommandHandler& operator=(const CommandHandler&) = default;
};

// The handlers in help and lookup order, ascending by id; built once on first use.
const std::vector<const CommandHandler*>& registeredCommands();

} // namespace zel
