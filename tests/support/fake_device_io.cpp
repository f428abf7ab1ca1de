#include "support/fake_device_io.hpp"

#include <stdexcept>

namespace zel::testing {

bool FakeDeviceIo::record(std::string call, std::string& error)
{
    calls.push_back(std::move(call));
    if (calls.size() == failCall && failureThrows) {
        throw std::runtime_error(failureText);
    }
    if (calls.size() == failCall) {
        error = failureText;
        return false;
    }
    return true;
}

bool FakeDeviceIo::writeSysfs(const std::string& path, const std::string& value, std::string& error)
{
    return record("writeSysfs " + path + " " + value, error);
}

bool FakeDeviceIo::ensurePwm(const std::string& chip, int channel, std::string& error)
{
    return record("ensurePwm " + chip + " " + std::to_string(channel), error);
}

bool FakeDeviceIo::writeConfig(const std::string& directory, const std::string& fileName, const std::string& content,
                               std::string& error)
{
    return record("writeConfig " + directory + " " + fileName + " " + content, error);
}

bool FakeDeviceIo::motorPulse(CommandId id, int durationMs, std::string& output, std::string& error)
{
    output += motorOutput;
    return record("motorPulse " + std::to_string(static_cast<int>(id)) + " " + std::to_string(durationMs), error);
}

CommandResult FakeDeviceIo::pinctrl(const std::vector<std::string>& args)
{
    std::string call = "pinctrl";
    for (const std::string& arg : args) {
        call += " " + arg;
    }
    calls.push_back(call);
    CommandResult result{0, "", ""};
    if (!pinctrlResults.empty()) {
        result = pinctrlResults.front();
        pinctrlResults.pop_front();
    }
    return result;
}

bool RecordingSysfsIo::writeSysfs(const std::string& path, const std::string& value, std::string& error)
{
    writes += path + "=" + value + "\n";
    times.push_back(std::chrono::steady_clock::now());
    if (onWrite) {
        onWrite();
    }
    const std::string number = std::to_string(times.size());
    if (failing.find(number) == std::string::npos) {
        return true;
    }
    error = "fail " + number;
    return false;
}

} // namespace zel::testing
