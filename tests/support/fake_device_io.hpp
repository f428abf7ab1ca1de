#pragma once

#include "device/linux_device_io.hpp"

#include <map>
#include <string>
#include <vector>

namespace zel::testing {

// A board in memory. `state` holds what each sysfs node, settings file ("<directory>/<file>"), exported PWM
// channel ("<chip>/pwm<n>": "exported") and the motor ("motor": "<id> <ms>") hold after the calls; `log` has
// every call in order as "<key>=<value>". The call on the key `failing`, or the `failCall`th call, fails with
// "<key> failed" and changes nothing. Pin-control runs answer from `replies`, looked up by their arguments
// joined with spaces; any other run exits 0 silently, the `failCall`th exits 1.
class FakeDeviceIo : public DeviceIo {
public:
    bool writeSysfs(const std::string& path, const std::string& value, std::string& error) override;
    bool ensurePwm(const std::string& chip, int channel, std::string& error) override;
    bool writeConfig(const std::string& directory, const std::string& fileName, const std::string& content,
                     std::string& error) override;
    bool motorPulse(CommandId id, int durationMs, std::string& output, std::string& error) override;
    CommandResult pinctrl(const std::vector<std::string>& args) override;

    std::map<std::string, std::string> state;
    std::vector<std::string> log;
    std::string failing;
    std::size_t failCall = 0;
    std::map<std::string, CommandResult> replies;
    std::string motorOutput; // what a pulse prints

private:
    bool apply(const std::string& key, const std::string& value, std::string& error);
};

// The real device object with its sysfs writes logged ("<path>=<value>\n") and timed instead of made. The
// calls whose numbers (from 1) appear in `failing` fail with "fail <number>"; `onWrite` plays the kernel.
struct RecordingSysfsIo : LinuxDeviceIo {
    bool writeSysfs(const std::string& path, const std::string& value, std::string& error) override;

    std::string failing;
    void (*onWrite)() = nullptr;
    std::string writes;
    std::vector<long long> timesMs;
};

} // namespace zel::testing
