// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
// Feeds arbitrary command lines to the batch engine and checks what any caller may rely on, whatever the
// commands and their limits are: the documented statuses, one diagnostic line for a rejection, nothing
// touched before a batch is accepted, nothing run after a failure, the same answer every time.
//
// Input layout: byte 0 chooses the caller and how the device behaves, the rest is the argument list, one
// argument per NUL-separated piece:
//   bit 0     caller is not root (euid 1000)
//   bits 1-3  number of the device call that fails (0: none)
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

struct Outcome {
    int status;
    std::string out, err;
    std::vector<std::string> log;
    std::map<std::string, std::string> state;
    bool operator!=(const Outcome& other) const
    {
        return status != other.status || out != other.out || err != other.err || log != other.log ||
               state != other.state;
    }
};

Outcome run(const std::vector<std::string>& args, unsigned int euid, std::size_t failCall)
{
    zel::testing::FakeDeviceIo io;
    io.failCall = failCall;
    std::ostringstream out, err;
    const int status = zel::dispatchCommands(args, euid, io, out, err);
    return {status, out.str(), err.str(), io.log, io.state};
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
    if (o.status == 0 && (!o.err.empty() || o.log.empty() == o.out.empty())) {
        violated("success is either help or a silent batch that reached the device", o);
    }
    // The fake fails only the failCall'th call, and nothing may follow a failure.
    if (o.status == 74 && (failCall == 0 || o.log.size() != failCall || !isOneToolLine(o.err))) {
        violated("a failed execution ends at the failed call with one diagnostic line", o);
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
    std::vector<std::string> args;
    if (size > 0) {
        euid = (data[0] & 0x01U) != 0 ? 1000 : 0;
        failCall = (data[0] >> 1U) & 0x07U;
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
    const Outcome outcome = run(args, euid, failCall);
    check(outcome, euid, failCall);
    if (run(args, euid, failCall) != outcome) {
        violated("the same command line gave another answer", outcome);
    }
    return 0;
}
