#pragma once

#include "device/device_io.hpp"

#include <deque>
#include <string>
#include <vector>

namespace zel::testing {

// Records every device call as one line of text ("writeSysfs <path> <value>",
// "ensurePwm <chip> <channel>", "writeConfig <directory> <file> <content>",
// "motorPulse <id> <ms>", "pinctrl <arg>...") and can fail the Nth call.
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
    std::string motorOutput;                  // what motorPulse appends to its output
    std::deque<CommandResult> pinctrlResults; // answers in order; exit 0 and no text once used up

private:
    bool record(std::string call, std::string& error);
};

} // namespace zel::testing
