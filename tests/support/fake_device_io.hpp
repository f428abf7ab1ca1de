// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#pragma once

#include "device/device_io.hpp"

#include <map>
#include <string>
#include <vector>

namespace zel::test {

// A board in memory. `state` holds what each sysfs node, settings file ("<directory>/<file>"), exported PWM
// channel ("<chip>/pwm<n>": "exported") and the motor ("motor": "<id> <ms>") hold after the calls; `log` has
// every call in order as "<key>=<value>". The call on the key `failing`, or the `failCall`th call, fails with
// "<key> failed" and changes nothing. Pin-control runs answer from `replies`, looked up by their arguments
// joined with spaces; any other run exits 0 silently, the `failCall`th exits 1.
class FakeDeviceIo : public DeviceIo {
public:
    bool writeSysfs(const std::string& path, const std::string& value, std::string& error) override
    {
        return apply(path, value, error);
    }
    bool ensurePwm(const std::string& chip, int channel, std::string& error) override
    {
        return apply(chip + "/pwm" + std::to_string(channel), "exported", error);
    }
    bool writeConfig(const std::string& directory, const std::string& file, const std::string& content,
                     std::string& error) override
    {
        return apply(directory + "/" + file, content, error);
    }
    bool motorPulse(CommandId id, int durationMs, std::string& /*output*/, std::string& error) override
    {
        return apply("motor", std::to_string(static_cast<int>(id)) + " " + std::to_string(durationMs), error);
    }
    CommandResult pinctrl(const std::vector<std::string>& args) override
    {
        std::string joined;
        for (const std::string& arg : args) {
            joined += (joined.empty() ? "" : " ") + arg;
        }
        log.push_back("pinctrl=" + joined);
        const auto reply = replies.find(joined);
        return log.size() == failCall   ? CommandResult{1, "", ""}
               : reply == replies.end() ? CommandResult{0, "", ""}
                                        : reply->second;
    }

    std::map<std::string, std::string> state;
    std::vector<std::string> log;
    std::string failing;
    std::size_t failCall = 0;
    std::map<std::string, CommandResult> replies;

private:
    bool apply(const std::string& key, const std::string& value, std::string& error)
    {
        log.push_back(key + "=" + value);
        const bool fails = key == failing || log.size() == failCall;
        (fails ? error : state[key]) = fails ? key + " failed" : value;
        return !fails;
    }
};

} // namespace zel::test
