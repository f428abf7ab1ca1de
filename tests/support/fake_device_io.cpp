#include "support/fake_device_io.hpp"

#include <chrono>

namespace zel::testing {

bool FakeDeviceIo::apply(const std::string& key, const std::string& value, std::string& error)
{
    log.push_back(key + "=" + value);
    if (key == failing || log.size() == failCall) {
        error = key + " failed";
        return false;
    }
    state[key] = value;
    return true;
}

bool FakeDeviceIo::writeSysfs(const std::string& path, const std::string& value, std::string& error)
{
    return apply(path, value, error);
}

bool FakeDeviceIo::ensurePwm(const std::string& chip, int channel, std::string& error)
{
    return apply(chip + "/pwm" + std::to_string(channel), "exported", error);
}

bool FakeDeviceIo::writeConfig(const std::string& directory, const std::string& fileName, const std::string& content,
                               std::string& error)
{
    return apply(directory + "/" + fileName, content, error);
}

bool FakeDeviceIo::motorPulse(CommandId id, int durationMs, std::string& output, std::string& error)
{
    output += motorOutput;
    return apply("motor", std::to_string(static_cast<int>(id)) + " " + std::to_string(durationMs), error);
}

CommandResult FakeDeviceIo::pinctrl(const std::vector<std::string>& args)
{
    std::string joined;
    for (const std::string& arg : args) {
        joined += (joined.empty() ? "" : " ") + arg;
    }
    log.push_back("pinctrl=" + joined);
    const auto reply = replies.find(joined);
    if (log.size() == failCall) {
        return CommandResult{1, "", ""};
    }
    return reply == replies.end() ? CommandResult{0, "", ""} : reply->second;
}

bool RecordingSysfsIo::writeSysfs(const std::string& path, const std::string& value, std::string& error)
{
    writes += path + "=" + value + "\n";
    timesMs.push_back(std::chrono::duration_cast<std::chrono::milliseconds>(
                          std::chrono::steady_clock::now().time_since_epoch())
                          .count());
    if (onWrite != nullptr) {
        onWrite();
    }
    const std::string number = std::to_string(timesMs.size());
    if (failing.find(number) == std::string::npos) {
        return true;
    }
    error = "fail " + number;
    return false;
}

} // namespace zel::testing
