// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#include "app/caller_state.hpp"
#include "app/descriptor_buffer.hpp"
#include "device/linux_device_io.hpp"
#include "dispatch/dispatch.hpp"
#include "dispatch/exit_status.hpp"

#include <exception>
#include <ostream>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

int runBatch(int argc, char** argv, std::ostream& out, std::ostream& err)
{
    try {
        const std::vector<std::string> args(argc > 0 ? argv + 1 : argv, argv + argc);
        zel::LinuxDeviceIo io;
        return zel::dispatchCommands(args, ::geteuid(), io, out, err);
    } catch (const std::exception& failure) {
        err << std::string("zel_exec: internal error: ") + failure.what() + "\n";
    } catch (...) {
        err << "zel_exec: unknown internal error\n";
    }
    return zel::kExitInternal;
}

} // namespace

int main(int argc, char** argv)
{
    zel::undoCallerState();
    // Standard output is held until the end, or until standard error is
    // written: the error stream is tied to it, as std::cerr is to std::cout.
    char outputSpace[8192];
    zel::DescriptorBuffer outputBuffer(STDOUT_FILENO, outputSpace, sizeof outputSpace);
    zel::DescriptorBuffer errorBuffer(STDERR_FILENO, nullptr, 0);
    std::ostream out(&outputBuffer);
    std::ostream err(&errorBuffer);
    err.tie(&out);

    const int status = runBatch(argc, argv, out, err);
    // The caller of a stopped batch still sees the process killed by its signal.
    out.flush();
    zel::endIfStopRequested();
    return status;
}
