// Feeds arbitrary command lines to the batch engine and checks what it
// promises about statuses, streams and device calls, not only that it lives.
//
// Input layout: byte 0 chooses the caller and how the device behaves, the
// rest is the argument list, one argument per NUL-separated piece:
//   bit 0     caller is not root (euid 1000)
//   bits 1-3  number of the device call that fails (0: none)
//   bit 4     the first pin-control run exits 1
#include "dispatch/dispatch.hpp"
#include "dispatch/help_text.hpp"
#include "support/fake_device_io.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

namespace {

constexpr char kPermissionLine[] = "zel_exec: root permission required; use sudo -n /usr/bin/zel_exec\n";
constexpr char kUsageLine[] = "zel_exec: expected -c followed by 1..64 command groups; see -h\n";
constexpr std::size_t kMaxGroups = 64;

struct FuzzCase {
    unsigned int euid = 0;
    std::size_t failCall = 0;
    bool pinctrlFails = false;
    std::vector<std::string> args;
};

FuzzCase decode(const std::uint8_t* data, std::size_t size)
{
    FuzzCase input;
    if (size == 0) {
        return input;
    }
    input.euid = (data[0] & 0x01U) != 0 ? 1000 : 0;
    input.failCall = (data[0] >> 1U) & 0x07U;
    input.pinctrlFails = (data[0] & 0x10U) != 0;
    if (size > 1) {
        const std::string rest(reinterpret_cast<const char*>(data) + 1, size - 1);
        std::size_t start = 0;
        for (std::size_t end = rest.find('\0'); end != std::string::npos; end = rest.find('\0', start)) {
            input.args.push_back(rest.substr(start, end - start));
            start = end + 1;
        }
        input.args.push_back(rest.substr(start));
    }
    return input;
}

const std::string& helpText()
{
    static const std::string text = [] {
        std::ostringstream out;
        zel::writeHelp(out);
        return out.str();
    }();
    return text;
}

[[noreturn]] void violated(const char* invariant, int status, const std::string& err)
{
    std::fprintf(stderr, "invariant violated: %s (status %d, stderr \"%s\")\n", invariant, status, err.c_str());
    std::abort();
}

bool startsWith(const std::string& text, const std::string& prefix) { return text.compare(0, prefix.size(), prefix) == 0; }

// Exactly one line of the tool's own: its prefix, no inner line feed, one at the end.
bool isOneDiagnosticLine(const std::string& text)
{
    return startsWith(text, "zel_exec: ") && text.find('\n') == text.size() - 1;
}

// The group number k of a "zel_exec: command[k] " line, 0 when there is none.
std::size_t groupNumber(const std::string& line)
{
    const std::string prefix = "zel_exec: command[";
    if (!startsWith(line, prefix)) {
        return 0;
    }
    std::size_t number = 0;
    std::size_t position = prefix.size();
    for (; position < line.size() && line[position] >= '0' && line[position] <= '9' && number < 1000; ++position) {
        number = number * 10 + static_cast<std::size_t>(line[position] - '0');
    }
    return line.compare(position, 2, "] ") == 0 ? number : 0;
}

void checkOutcome(const FuzzCase& input, const zel::testing::FakeDeviceIo& io, int status, const std::string& out,
                  const std::string& err)
{
    const std::vector<std::string>& args = input.args;
    const bool help = args.size() == 1 && (args[0] == "-h" || args[0] == "--help");
    const bool batchForm = args.size() >= 2 && args[0] == "-c" && args.size() - 1 <= kMaxGroups;
    const std::size_t groups = batchForm ? args.size() - 1 : 0;

    if (status != 0 && status != 64 && status != 65 && status != 66 && status != 67 && status != 74) {
        violated("status outside 0, 64..67, 74", status, err);
    }
    if (help) {
        if (status != 0 || out != helpText() || !err.empty() || !io.calls.empty()) {
            violated("a lone help request prints exactly the help text and nothing else", status, err);
        }
        return;
    }
    // The fake writes nothing, so every byte on `out` would be the engine's own.
    if (!out.empty()) {
        violated("output written outside a help request", status, err);
    }
    if (input.euid != 0 && (status != 67 || err != kPermissionLine)) {
        violated("a caller that is not root gets the permission line and 67", status, err);
    }
    if (input.euid == 0 && !batchForm && (status != 64 || err != kUsageLine)) {
        violated("root without -c and 1..64 groups gets the usage line and 64", status, err);
    }
    if (status >= 64 && status <= 67) {
        if (!io.calls.empty()) {
            violated("a rejected batch touched the device", status, err);
        }
        if (!isOneDiagnosticLine(err)) {
            violated("a rejected batch writes exactly one diagnostic line", status, err);
        }
    }
    if ((status == 65 || status == 66 || status == 74) && (groupNumber(err) == 0 || groupNumber(err) > groups)) {
        violated("a batch diagnostic names a group of the batch", status, err);
    }
    if (status == 65 && err.find("] unknown id=") == std::string::npos) {
        violated("65 comes only with the unknown-id line", status, err);
    }
    if (status == 74) {
        // The fake fails its Nth call only when that call is not a pin-control run.
        const bool injected =
            io.failCall != 0 && io.calls.size() == io.failCall && !startsWith(io.calls.back(), "pinctrl");
        const std::string reason = injected ? "injected failure" : "pinctrl exit=1";
        if (!isOneDiagnosticLine(err) || err.find(" execution: " + reason + "\n") == std::string::npos) {
            violated("a failed execution reports the device's reason in one line", status, err);
        }
        if (!injected && !input.pinctrlFails) {
            violated("execution failed although no device call failed", status, err);
        }
    }
    if (status == 0) {
        // Every command reaches the device at least once; none reports side text here.
        if (!err.empty() || io.calls.size() < groups) {
            violated("a successful batch ran every group and stayed silent", status, err);
        }
    }
    const bool negative = std::any_of(io.calls.begin(), io.calls.end(),
                                      [](const std::string& call) { return call.find('-') != std::string::npos; });
    if (negative) {
        violated("a negative value reached the device", status, err);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const FuzzCase input = decode(data, size);
    zel::testing::FakeDeviceIo io;
    io.failCall = input.failCall;
    if (input.pinctrlFails) {
        io.pinctrlResults.push_back(zel::CommandResult{1, "", ""});
    }
    std::ostringstream out;
    std::ostringstream err;
    const int status = zel::dispatchCommands(input.args, input.euid, io, out, err);
    checkOutcome(input, io, status, out.str(), err.str());
    return 0;
}
