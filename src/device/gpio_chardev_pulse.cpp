// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#include "device/gpio_chardev_pulse.hpp"

#include "base/posix_io.hpp"
#include "base/stop_record.hpp"
#include "base/unique_fd.hpp"
#include "device/gpio_line_location.hpp"
#include "device/pin_control.hpp"
#include "process/run_process.hpp"

#include <cstring>

#include <fcntl.h>
#include <linux/gpio.h>
#include <sys/ioctl.h>

namespace zel {
namespace {

constexpr char kLineName[] = "PQ.06";
constexpr char kConsumerLabel[] = "zel-motor";

static_assert(sizeof(kConsumerLabel) <= sizeof(gpiohandle_request::consumer_label), "label must fit");
static_assert(sizeof(gpioline_info) == 72 && GPIO_GET_LINEINFO_IOCTL == 0xC048B402, "v1 line info ABI");
static_assert(sizeof(gpiohandle_request) == 364 && GPIO_GET_LINEHANDLE_IOCTL == 0xC16CB403, "v1 line handle ABI");
static_assert(sizeof(gpiohandle_data) == 64 && GPIOHANDLE_SET_LINE_VALUES_IOCTL == 0xC040B409, "v1 line values ABI");

bool lineIsNamed(int chip, unsigned int offset)
{
    gpioline_info info{};
    info.line_offset = offset;
    return ::ioctl(chip, GPIO_GET_LINEINFO_IOCTL, &info) == 0 &&
           std::strncmp(info.name, kLineName, sizeof info.name) == 0;
}

// The line starts high as it is requested, so the pulse begins with the request.
UniqueFd requestLineHigh(int chip, unsigned int offset)
{
    gpiohandle_request request{};
    request.lineoffsets[0] = offset;
    request.flags = GPIOHANDLE_REQUEST_OUTPUT;
    request.default_values[0] = 1;
    std::memcpy(request.consumer_label, kConsumerLabel, sizeof kConsumerLabel);
    request.lines = 1;
    if (::ioctl(chip, GPIO_GET_LINEHANDLE_IOCTL, &request) != 0) {
        return {};
    }
    return UniqueFd(request.fd);
}

} // namespace

bool pulseGpioCharDevLine(int durationMs, std::string& error)
{
    const CommandResult located = runProcess(kLineLookupProgram, {kLineName}, kFixedProgramTimeoutMs);
    if (located.exitCode != 0) {
        error = "gpiofind PQ.06 failed: " + located.error;
        return false;
    }
    GpioLineLocation location;
    if (!parseGpioLineLocation(located.output, location, error)) {
        return false;
    }
    UniqueFd chip(::open(("/dev/" + location.chipName).c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    if (!chip) {
        systemError("open GPIO chip", error);
        return false;
    }
    if (!lineIsNamed(chip.get(), location.offset)) {
        error = "GPIO line is not PQ.06 or cannot be queried";
        return false;
    }
    UniqueFd line = requestLineHigh(chip.get(), location.offset);
    if (!line) {
        systemError("request PQ.06", error);
        return false;
    }
    chip.reset();
    sleepUnlessStopped(durationMs);
    gpiohandle_data low{};
    if (::ioctl(line.get(), GPIOHANDLE_SET_LINE_VALUES_IOCTL, &low) != 0) {
        systemError("reset PQ.06", error);
        return false;
    }
    return true;
}

} // namespace zel
