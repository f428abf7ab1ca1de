#include "device/linux_device_io.hpp"
#include "dispatch/dispatch.hpp"
#include "dispatch/exit_status.hpp"

#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include <unistd.h>

int main(int argc, char** argv)
{
    try {
        const std::vector<std::string> args(argc > 0 ? argv + 1 : argv, argv + argc);
        zel::LinuxDeviceIo io;
        return zel::dispatchCommands(args, ::geteuid(), io, std::cout, std::cerr);
    } catch (const std::exception& failure) {
        std::cerr << std::string("zel_exec: internal error: ") + failure.what() + "\n";
    } catch (...) {
        std::cerr << "zel_exec: unknown internal error\n";
    }
    return zel::kExitInternal;
}
