// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#include "dispatch/dispatch.hpp"

#include "base/stop_record.hpp"
#include "commands/command_handler.hpp"
#include "dispatch/exit_status.hpp"
#include "dispatch/group_parser.hpp"
#include "dispatch/help_text.hpp"

#include <algorithm>

namespace zel {
namespace {

constexpr std::size_t kMaxGroups = 64;
constexpr char kPermissionLine[] = "zel_exec: root permission required; use sudo -n /usr/bin/zel_exec\n";
constexpr char kUsageLine[] = "zel_exec: expected -c followed by 1..64 command groups; see -h\n";

struct PreparedCommand {
    const CommandHandler* handler;
    std::vector<int> args;
};

bool isHelpRequest(const std::vector<std::string>& args)
{
    return args.size() == 1 && (args[0] == "-h" || args[0] == "--help");
}

bool isBatch(const std::vector<std::string>& args)
{
    return args.size() >= 2 && args[0] == "-c" && args.size() - 1 <= kMaxGroups;
}

std::string idText(const CommandHandler& handler) { return std::to_string(static_cast<int>(handler.info().id)); }

// One diagnostic line in one piece, so that it reaches the stream in one write.
void report(std::ostream& err, std::size_t group, const std::string& text)
{
    err << "zel_exec: command[" + std::to_string(group) + "] " + text + "\n";
}

const CommandHandler* findHandler(int id)
{
    const std::vector<const CommandHandler*>& handlers = registeredCommands();
    const auto found = std::find_if(handlers.begin(), handlers.end(), [id](const CommandHandler* handler) {
        return static_cast<int>(handler->info().id) == id;
    });
    return found == handlers.end() ? nullptr : *found;
}

// Phase 1: nothing is executed unless every group parses and validates.
// args[0] is "-c", so a group's index in args is its number.
int prepareBatch(const std::vector<std::string>& args, std::ostream& err, std::vector<PreparedCommand>& prepared)
{
    for (std::size_t number = 1; number < args.size(); ++number) {
        std::vector<int> values;
        std::string error;
        if (!parseGroup(args[number], values, error)) {
            report(err, number, error);
            return kExitParameter;
        }
        const CommandHandler* handler = findHandler(values.front());
        if (handler == nullptr) {
            report(err, number, "unknown id=" + std::to_string(values.front()));
            return kExitUnknownCommand;
        }
        values.erase(values.begin());
        if (!handler->validate(values, error)) {
            report(err, number, "id=" + idText(*handler) + " validation: " + error);
            return kExitParameter;
        }
        prepared.push_back({handler, std::move(values)});
    }
    return kExitSuccess;
}

// Phase 2: in order, stopping at the first failure; what ran stays done. A
// caller's stop signal ends the batch between two commands, never inside one;
// the process then ends by that signal, so the status returned is never seen,
// and one line tells the caller how many commands ran.
int executeBatch(const std::vector<PreparedCommand>& prepared, DeviceIo& io, std::ostream& out, std::ostream& err)
{
    std::size_t index = 0;
    for (; index < prepared.size() && !stopRequested(); ++index) {
        const PreparedCommand& command = prepared[index];
        std::string error;
        if (!command.handler->execute(io, command.args, out, error)) {
            report(err, index + 1, "id=" + idText(*command.handler) + " execution: " + error);
            return kExitDispatch;
        }
        // Side text of a command that succeeded, such as an outside program's warnings.
        if (!error.empty()) {
            err << error;
        }
    }
    if (stopRequested()) {
        err << "zel_exec: stopped by signal " + std::to_string(stopSignalNumber()) + " after command[" +
                   std::to_string(index) + "]\n";
    }
    return kExitSuccess;
}

} // namespace

int dispatchCommands(const std::vector<std::string>& args, unsigned int euid, DeviceIo& io, std::ostream& out,
                     std::ostream& err)
{
    if (isHelpRequest(args)) {
        writeHelp(out);
        return kExitSuccess;
    }
    if (euid != 0) {
        err << kPermissionLine;
        return kExitPermission;
    }
    if (!isBatch(args)) {
        err << kUsageLine;
        return kExitUsage;
    }
    std::vector<PreparedCommand> prepared;
    const int status = prepareBatch(args, err, prepared);
    if (status != kExitSuccess) {
        return status;
    }
    return executeBatch(prepared, io, out, err);
}

} // namespace zel
