#pragma once

#include "device/linux_device_io.hpp"

#include <chrono>
#include <deque>
#include <functional>
#include <string>
#include <vector>

namespace zel::testing {

// Records every device call as one line of text ("writeSysfs <path> <value>",
// "ensurePwm <chip> <channel>", "writeConfig <directory> <file> <content>",
// "motorPulse <id> <ms>", "pinctrl <arg>...") and can fail the Nth call, or throw there as the standard
// library may deep inside a real device operation.
class FakeDeviceIo : public DeviceIo {
public:
    bool writeSysfs(const std::string& path, const std::string& value, std::string& error) override;
    bool ensurePwm(const std::string& chip, int channel, std::string& error) override;
    bool writeConfig(const std::string& directory, const std::string& fileName, const std::string& content,
                     std::string& error) override;
    bool motorPulse(CommandId id, int durationMs, std::string& output, std::string& error) override;
    CommandResult pinctrl(const std::vector<std::string>& args) override;

    std::vector<std::string> calls;
    std::size_t failCall = 0;                 // 1-based number of the call to fail; 0 fails none
    std::string failureText = "injected failure";
    bool failureThrows = false;               // the failed call throws std::runtime_error instead
    std::string motorOutput;                  // what motorPulse appends to its output
    std::deque<CommandResult> pinctrlResults; // answers in order; exit 0 and no text once used up

private:
    bool record(std::string call, std::string& error);
};

// The real device object with its sysfs writes recorded ("<path>=<value>\n") instead of made. The calls whose
// numbers (counted from 1) appear in `failing` fail with "fail <number>"; `onWrite` plays the kernel's part.
struct RecordingSysfsIo : LinuxDeviceIo {
    bool writeSysfs(const std::string& path, const std::string& value, std::string& error) override;

    std::string failing;
    std::function<void()> onWrite;
    std::string writes;
    std::vector<std::chrono::steady_clock::time_point> times;
};

} // namespace zel::testing
