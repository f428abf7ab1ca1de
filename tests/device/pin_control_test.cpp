#include "device/linux_device_io.hpp"
#include "dispatch/dispatch.hpp"
#include "support/sandbox.hpp"

#include <gtest/gtest.h>

#include <sstream>

namespace zel {
namespace {

TEST(PinControl, PowerCommandsDriveLineSevenThenLineTwentyOneAndStopAtTheFirstFailure)
{
    const struct { const char *group, *answer, *log, *out, *err; int status; } cases[] = { // answer: $2 is the line
        {"501 1", "", "set 7 op dh\nset 21 op dh\n", "", "", 0},
        {"501 0", "", "set 7 op dl\nset 21 op dl\n", "", "", 0},
        {"502", "echo \"$2: op dh | hi\"", "get 7\nget 21\n", "7: op dh | hi\n21: op dh | hi\n", "", 0},
        {"502", "printf \"<$2>\"; echo \"warn $2\" >&2", "get 7\nget 21\n", "<7><21>", "warn 7\nwarn 21\n", 0},
        {"501 1", "echo \"out $2\"; echo \"bad $2\" >&2; exit 3", "set 7 op dh\n", "out 7\n",
         "zel_exec: command[1] id=501 execution: bad 7\npinctrl exit=3\n", 74},
        {"501 1", "echo \"warn $2\" >&2; [ $2 = 7 ] || kill -TERM $$", "set 7 op dh\nset 21 op dh\n", "",
         "zel_exec: command[1] id=501 execution: warn 7\nwarn 21\npinctrl exit=143\n", 74},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.group) + " answering: " + c.answer);
        ZEL_RUN_IN_SANDBOX([&c] {
            const std::string error = testing::installLoggingProgram("/usr/bin/pinctrl", c.answer);
            LinuxDeviceIo io;
            std::ostringstream out;
            std::ostringstream err;
            const int status = dispatchCommands({"-c", c.group}, 0, io, out, err);
            return error + testing::mismatch(std::to_string(status) + "|" + testing::readFile("/tmp/log") + "|" +
                                                 out.str() + "|" + err.str(),
                                             std::to_string(c.status) + "|" + c.log + "|" + c.out + "|" + c.err);
        });
    }
}

} // namespace
} // namespace zel
