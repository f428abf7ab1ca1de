#!/bin/sh
# SPDX-FileCopyrightText: 2026 The zel_exec developers
# SPDX-License-Identifier: MIT
# Runs one zel_exec batch as root and shows what it did to the board. The
# tool is the package or the program that the host put into /board/run.
REC=/sys/kernel/debug/zel_board/record
if [ -f /board/run/zel_exec ]; then
    install -m 0755 /board/run/zel_exec /usr/bin/zel_exec
else
    (cd /board/run && apt install -y ./zel-exec_*.deb) >/tmp/apt.log 2>&1 || { cat /tmp/apt.log; exit 1; }
fi
: >$REC
/usr/bin/zel_exec "$@" >/tmp/zel.out 2>/tmp/zel.err
status=$?

echo "@@try-begin"
echo "--- stdout"
awk 1 /tmp/zel.out
echo "--- stderr"
awk 1 /tmp/zel.err
echo "--- exit status $status"
echo "--- reached the board (ms after the first event; pinctrl calls to 10 ms)"
{
    cat $REC
    [ -f /run/pinctrl/calls ] &&
        awk '{ t = $1 * 1000000; $1 = ""; printf "%d pinctrl%s\n", t, $0 }' /run/pinctrl/calls
} | sort -s -n -k1,1 | awk 'NR == 1 { t = $1 } { $1 = sprintf("%8.1f", ($1 - t) / 1000); print }'
echo "--- board state"
sh /board/state.sh
echo "@@try-status $status"
