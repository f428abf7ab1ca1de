// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
// Feeds arbitrary command lines to the batch engine and checks what any caller may rely on, whatever the
// commands and their limits are: the documented statuses, one diagnostic line for a rejection, nothing
// touched before a batch is accepted, nothing run after a failure, the programs' texts passed on untouched
// and nothing else printed, the same answer every time.
//
// Input layout: byte 0 chooses the caller and how the device behaves, the rest is the argument list, one
// argument per NUL-separated piece:
//   bit 0     caller is not root (euid 1000)
//   bits 1-3  number of the device call that fails (0: none)
//   bit 4     pin-control runs print on standard output
//   bit 5     pin-control runs print on standard error
//   bit 6     motor pulses print on standard output
//   bit 7     motor pulses print on standard error
#include "dispatch/dispatch.hpp"
#include "support/fake_device_io.hpp"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

// The fake board with programs that talk: each chosen text names its call, so the checks can find every one
// of them, in order, in what the tool printed.
struct TalkativeDevice : zel::test::FakeDeviceIo {
    zel::CommandResult pinctrl(const std::vector<std::string>& args) override
    {
        zel::CommandResult result = FakeDeviceIo::pinctrl(args);
        result.output += say(talk & 0x10U, "pin-control output ");
        result.error += warn(talk & 0x20U, "pin-control warning ");
        return result;
    }
    bool motorPulse(zel::CommandId id, int durationMs, std::string& output, std::string& error) override
    {
        const bool pulsed = FakeDeviceIo::motorPulse(id, durationMs, output, error);
        output += say(talk & 0x40U, "pulse output ");
        error += warn(talk & 0x80U, "pulse warning ");
        return pulsed;
    }
    std::string say(bool chosen, const char* text)
    {
        const std::string line = chosen ? text + std::to_string(log.size()) + "\n" : "";
        printed += line;
        return line;
    }
    std::string warn(bool chosen, const char* text)
    {
        const std::string line = chosen ? text + std::to_string(log.size()) + "\n" : "";
        if (chosen) {
            sideTexts.push_back(line);
        }
        return line;
    }

    unsigned int talk = 0;
    std::string printed;                // all that programs wrote to standard output, in order
    std::vector<std::string> sideTexts; // each text a program wrote to standard error, in order
};

struct Outcome {
    int status;
    std::string out, err;
    std::vector<std::string> log;
    std::map<std::string, std::string> state;
    std::string printed, own; // what programs printed; the standard error without their side texts
    bool operator!=(const Outcome& other) const
    {
        return status != other.status || out != other.out || err != other.err || log != other.log ||
               state != other.state;
    }
};

// The standard error with each side text taken out where it stands, in order; "(side text lost)" when one is
// missing or out of order.
std::string withoutSideTexts(std::string err, const std::vector<std::string>& sideTexts)
{
    std::size_t from = 0;
    for (const std::string& text : sideTexts) {
        from = err.find(text, from);
        if (from == std::string::npos) {
            return "(side text lost)";
        }
        err.erase(from, text.size());
    }
    return err;
}

Outcome run(const std::vector<std::string>& args, unsigned int euid, std::size_t failCall, unsigned int talk)
{
    TalkativeDevice io;
    io.failCall = failCall;
    io.talk = talk;
    std::ostringstream out, err;
    const int status = zel::dispatchCommands(args, euid, io, out, err);
    return {status, out.str(), err.str(), io.log, io.state, io.printed, withoutSideTexts(err.str(), io.sideTexts)};
}

[[noreturn]] void violated(const char* invariant, const Outcome& outcome)
{
    std::fprintf(stderr, "invariant violated: %s (status %d, stderr \"%s\")\n", invariant, outcome.status,
                 outcome.err.c_str());
    std::abort();
}

bool isOneToolLine(const std::string& text)
{
    return text.rfind("zel_exec: ", 0) == 0 && text.find('\n') == text.size() - 1;
}

void check(const Outcome& o, unsigned int euid, std::size_t failCall)
{
    if (o.status != 0 && (o.status < 64 || o.status > 67) && o.status != 74) {
        violated("status outside 0, 64..67, 74", o);
    }
    if (o.status >= 64 && o.status <= 67 && (!o.out.empty() || !isOneToolLine(o.err) || !o.log.empty())) {
        violated("a rejection prints one diagnostic line and touches nothing", o);
    }
    if (euid != 0 && ((o.status != 0 && o.status != 67) || !o.log.empty())) {
        violated("a caller who is not root gets help or the refusal, never the device", o);
    }
    // Every command calls the device, so a success that did not is the help.
    if (o.status == 0 && o.log.empty() && (o.out.empty() || !o.err.empty())) {
        violated("help is printed on standard output alone", o);
    }
    if (o.status == 0 && !o.log.empty() && (o.out != o.printed || !o.own.empty())) {
        violated("a successful batch prints only what its programs printed, and their side texts", o);
    }
    // The fake fails only the failCall'th call, and nothing may follow a failure.
    if (o.status == 74 && (failCall == 0 || o.log.size() != failCall || o.out != o.printed || !isOneToolLine(o.own))) {
        violated("a failed execution ends at the failed call with one diagnostic line besides the side texts", o);
    }
    if (o.status != 74 && failCall != 0 && o.log.size() >= failCall) {
        violated("a failed device call went unreported", o);
    }
    for (const auto& entry : o.state) {
        if (entry.second.rfind('-', 0) == 0) {
            violated("a negative value reached the device", o);
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    unsigned int euid = 0;
    std::size_t failCall = 0;
    unsigned int talk = 0;
    std::vector<std::string> args;
    if (size > 0) {
        euid = (data[0] & 0x01U) != 0 ? 1000 : 0;
        failCall = (data[0] >> 1U) & 0x07U;
        talk = data[0] & 0xf0U;
    }
    if (size > 1) {
        std::istringstream pieces(std::string(reinterpret_cast<const char*>(data) + 1, size - 1));
        for (std::string piece; std::getline(pieces, piece, '\0');) {
            args.push_back(piece);
        }
        if (data[size - 1] == '\0') {
            args.emplace_back();
        }
    }
    const Outcome outcome = run(args, euid, failCall, talk);
    check(outcome, euid, failCall);
    if (run(args, euid, failCall, talk) != outcome) {
        violated("the same command line gave another answer", outcome);
    }
    return 0;
}
