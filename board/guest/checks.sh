#!/bin/sh
# SPDX-FileCopyrightText: 2026 The zel_exec developers
# SPDX-License-Identifier: MIT
# The board checks of the zel-exec package on the simulated board, run as
# root by /init: installed with apt, sudo set up as docs/INSTALL.md says, every
# batch run as the front-end user "front" (umask 077) through sudo -n, the
# outcome read back from sysfs and the board module's record. The table runs
# in order, each case on the board state the earlier ones left:
#   == TEXT          a heading          COMMAND          a step that must succeed
#   COMMAND => WANT  COMMAND's output (standard error included) must be WANT
#   + MORE           continues the WANT above with "; MORE"
#   [KERNEL...] ROW  ROW only on these kernels (major.minor), where they differ
# A section runs where the board serves every command its heading names as
# "name (id)"; on a board of another family each of its rows prints a SKIP
# line, as does a row for other kernels.
# "run_as_front GROUP..." prints the batch's status, [stdout] [stderr] ("\n": line feed)
# and the record, lines joined by "; ".

# shellcheck disable=SC2034 # the table uses them through eval
REC=/sys/kernel/debug/zel_board/record
PWM=/sys/class/pwm
PIN=/run/pinctrl
GPIO131=/sys/class/gpio/gpio131
# The front-end that calls the tool through the client library, where the packages brought it.
CLIENT=/board/run/client_check
# The architecture the host built this board for: amd64, arm64 or armhf.
BOARD=$1
# The board family's layout and the commands it serves, and the kernel.
read -r LAYOUT COMMANDS </board/layout
[ ! -f $CLIENT ] || { chmod 0755 $CLIENT && COMMANDS="$COMMANDS client"; }
KERNEL=$(uname -r | cut -d. -f1,2)
passed=0
failed=0
skipped=0

# Lines of the files (or standard input) joined by "; ", leading blanks dropped.
joined() { awk '{ sub(/^ +/, ""); printf "%s%s", (NR > 1 ? "; " : ""), $0 }' "$@"; }
# A file's bytes with line feeds shown as \n.
escaped() { [ ! -s "$1" ] || sed -z 's/\n/\\n/g' "$1"; }
# as_user USER COMMAND...: COMMAND as USER and its groups, with umask 077.
as_user() { (u=$1 && shift && umask 077 && exec setpriv --reuid="$u" --regid="$u" --init-groups "$@"); }
# run_through_sudo USER GROUP...: one batch through sudo on a fresh record.
run_through_sudo() {
    : >$REC && : >$PIN/calls
    u=$1 && shift
    as_user "$u" sudo -n /usr/bin/zel_exec -c "$@" </dev/null >/tmp/out 2>/tmp/err
    st=$?
    printf '%s [%s] [%s]' $st "$(escaped /tmp/out)" "$(escaped /tmp/err)"
    # The record without its time stamps.
    awk '{ sub(/^[^ ]* /, NR > 1 ? "; " : " "); printf "%s", $0 } END { print "" }' $REC
}
run_as_front() { run_through_sudo front "$@"; }
# start_as_service GROUP...: starts one batch through sudo as front in the background, its
# output in /tmp/out and /tmp/err, and leaves the session leader's id in `pid` and sudo's in
# /tmp/sudo.pid. sudo passes on no signal that comes from its command's process group, and
# the kernel drops a stop signal sent to an orphaned group, so sudo runs in a group of its
# own below a session leader that waits for it, as a service's child would.
start_as_service() {
    rm -f /tmp/sudo.pid
    (umask 077 && exec setpriv --reuid=front --regid=front --init-groups setsid perl -e '
        defined(my $pid = fork) or die "fork: $!";
        if ($pid == 0) { setpgrp(0, 0); exec @ARGV or exit 127 }
        open(my $f, ">", "/tmp/sudo.pid.part") or die; print $f $pid; close $f;
        rename("/tmp/sudo.pid.part", "/tmp/sudo.pid") or die;
        waitpid($pid, 0); exit($? & 127 ? 128 + ($? & 127) : $? >> 8)' sudo -n /usr/bin/zel_exec -c "$@") \
        </dev/null >/tmp/out 2>/tmp/err &
    pid=$!
    until [ -s /tmp/sudo.pid ]; do sleep 0.01; done
}
# run_and_signal SIGNALS FILE TEXT GROUP...: one batch through sudo as front; once
# FILE holds TEXT (a motor switched on), SIGNALS go to sudo 0.2 s apart, so that
# sudo relays each, from root: front may not signal its sudo, but its service
# manager can; "storm:SIG" sends SIG every 10 ms until sudo has ended. Prints
# what run_as_front prints once the tool has ended, or "left STATES" if it has
# not 10 s later (T: stopped).
run_and_signal() {
    : >$REC && : >$PIN/calls
    signals=$1 file=$2 text=$3 && shift 3
    start_as_service "$@"
    n=0
    until grep -q "$text" "$file" || [ $n -ge 200 ]; do sleep 0.02 && n=$((n + 1)); done
    case $signals in
    storm:*) while kill -s "${signals#storm:}" "$(cat /tmp/sudo.pid)" 2>/dev/null; do sleep 0.01; done ;;
    *) for s in $signals; do kill -s "$s" "$(cat /tmp/sudo.pid)" && sleep 0.2; done ;;
    esac
    # The shell's own word on a killed job ("Killed") is not the tool's output.
    { wait $pid; st=$?; } 2>/dev/null
    # What is left of sudo's session: the states of its processes but zombies.
    n=0
    while left=$(awk -v sid=$pid '$6 == sid && $3 != "Z" { printf "%s", $3 }' /proc/[0-9]*/stat 2>/dev/null) &&
        [ -n "$left" ] && [ $n -lt 100 ]; do
        sleep 0.1 && n=$((n + 1))
    done
    [ -z "$left" ] || { echo "left $left" && return; }
    printf '%s [%s] [%s]' $st "$(escaped /tmp/out)" "$(escaped /tmp/err)"
    awk '{ sub(/^[^ ]* /, NR > 1 ? "; " : " "); printf "%s", $0 } END { print "" }' $REC
}
# run_with_limits GROUP...: run_as_front with sudo started in front's home directory, with no room
# for a file, 9 descriptors and SIGCHLD ignored, all of which sudo passes on.
run_with_limits() {
    : >$PIN/calls
    as_user front sh -c 'cd /home/front && ulimit -f 0 && ulimit -n 9 &&
        exec perl -e "\$SIG{CHLD} = q(IGNORE); exec @ARGV" sudo -n /usr/bin/zel_exec -c "$@"' sh "$@" \
        </dev/null >/tmp/out 2>/tmp/err
    printf '%s [%s] [%s]\n' $? "$(escaped /tmp/out)" "$(escaped /tmp/err)"
}
# PWM channels (CHIP CHANNEL...): period; duty; polarity; enable, " | " between.
pwm_channels() {
    while [ $# -ge 2 ]; do
        d=$PWM/pwmchip$1/pwm$2
        read -r p <"$d/period" && read -r u <"$d/duty_cycle" && read -r o <"$d/polarity" && read -r e <"$d/enable"
        printf '%s; %s; %s; %s%s' "$p" "$u" "$o" "$e" "${3:+ | }"
        shift 2
    done
}
# board_program FILE: whether FILE's ELF class and machine are those of the
# board's architecture, so that no other build can stand in for it unseen.
board_program() {
    case $BOARD:$(od -An -tx1 -j4 -N1 "$1")$(od -An -tx1 -j18 -N2 "$1") in
    'amd64: 02 3e 00' | 'arm64: 02 b7 00' | 'armhf: 01 28 00') echo "ELF of the board's architecture" ;;
    *) echo "$1 is no $BOARD program: $(od -An -tx1 -N20 "$1" | tr -d '\n')" ;;
    esac
}
settings_file() { printf '%s %s\n' "$(stat -c '%u:%g %a' "$1")" "$(escaped "$1")"; }
# The pin-control program's calls since the last batch, without time stamps.
pinctrl_calls() { awk '{ sub(/^[^ ]* /, NR > 1 ? "; " : ""); printf "%s", $0 }' $PIN/calls; }
# gap_is_within FILE TO_MS A B LOW HIGH: the time between FILE's last lines ending in A
# and in B (time stamps first, TO_MS to milliseconds) is LOW..HIGH ms.
gap_is_within() {
    awk -v k="$2" -v a="$3" -v b="$4" -v lo="$5" -v hi="$6" '
        substr($0, length($0) - length(a) + 1) == a { ta = $1 }
        substr($0, length($0) - length(b) + 1) == b { tb = $1 }
        END { d = int((tb - ta) * k); print (ta && tb && d >= lo && d <= hi) ? "in range" : d " ms" }' "$1"
}
# client_busy_board ROUNDS: through the client as front, a UI saving the fan settings, a daemon
# setting the fan and a reader of the settings at once, beside a front-end without the client
# that holds fanMode.config's own lock until it refuses the UI once, then half of the time;
# then what each saw and the files.
client_busy_board() {
    run_as_front "201 0" "202 0" >/dev/null
    rm -f /tmp/stop /tmp/hold
    as_user front sh -c "$CLIENT hold /etc/zel/fanMode.config && until [ -e /tmp/stop ]; do
        flock -s /etc/zel/fanMode.config sleep 0.05; sleep 0.05; done" >/tmp/hold &
    holder=$!
    until grep -q holding /tmp/hold 2>/dev/null || ! kill -0 $holder 2>/dev/null; do sleep 0.01; done
    as_user front $CLIENT ui "$1" >/tmp/ui &
    ui=$!
    as_user front $CLIENT daemon "$1" >/tmp/daemon &
    daemon=$!
    as_user front $CLIENT reader "$1" >/tmp/reader
    wait $ui $daemon
    touch /tmp/stop && wait $holder
    printf '%s; %s; %s; holder: %s; files %s %s\n' "$(cat /tmp/ui)" "$(cat /tmp/daemon)" "$(cat /tmp/reader)" \
        "$(tail -n 1 /tmp/hold)" "$(cat /etc/zel/fanMode.config)" "$(cat /etc/zel/fanLevel.config)"
}
check() {
    got=$(eval "$1" 2>&1 </dev/null)
    [ "$got" = "$2" ] && passed=$((passed + 1)) && printf 'ok   %s\n' "$1" && return
    failed=$((failed + 1))
    printf 'FAIL %s\n       want: %s\n       got:  %s\n' "$1" "$2" "$got"
}
step() {
    out=$(eval "$1" 2>&1 </dev/null) && return
    failed=$((failed + 1))
    printf 'FAIL %s\n%s\n' "$1" "$out"
}
skip() {
    skipped=$((skipped + 1))
    printf 'SKIP %s\n' "$1"
}
# The command ids a heading names that the board does not serve; "(client)" where the client is not there.
unserved() {
    for id in $(printf '%s\n' "$1" | grep -o '([0-9]\{3\})\|(client)' | tr -d '()'); do
        case " $COMMANDS " in *" $id "*) ;; *) printf ' %s' "$id" ;; esac
    done
}
# The row read last, if any: checked, or a SKIP line where its section or its
# kernels are not this board's.
flush_row() {
    [ -n "$cmd" ] || return 0
    if [ -n "$missing$other" ]; then skip "$tag$cmd"; else check "$cmd" "$want"; fi
    cmd=''
}
run_table() {
    cmd='' want='' missing='' other='' tag=''
    while IFS= read -r line; do
        case $line in
        '+ '*) want="$want; ${line#+ }"; continue ;;
        esac
        flush_row
        other='' tag=''
        case $line in
        '['*'] '*)
            kernels=${line%%]*}
            tag="$kernels] "
            case " ${kernels#[} " in *" $KERNEL "*) ;; *) other=y ;; esac
            line=${line#*] }
            ;;
        esac
        case $line in
        '' | '#'*) ;;
        '== '*)
            missing=$(unserved "$line")
            read -r up _ </proc/uptime && printf '%s [%s s]%s\n' "$line" "${up%.*}" \
                "${missing:+ [the $LAYOUT board serves no$missing]}"
            ;;
        *' => '*) cmd=${line%% => *} want=${line#* => } ;;
        *) if [ -n "$missing$other" ]; then skip "$tag$line"; else step "$line"; fi ;;
        esac
    done
    flush_row
}
run_table <<'EOF'
== the package, installed with apt, makes the system group zel (a bare program: by hand); sudo set up as docs/INSTALL.md says
cd /board/run && { test -f zel_exec || apt install -y ./*.deb >/tmp/apt.log 2>&1 || { cat /tmp/apt.log; false; }; }
test ! -f /board/run/zel_exec || { install -m 0755 /board/run/zel_exec /usr/bin && install -m 0440 /board/run/zel_exec.sudoers /etc/sudoers.d/zel_exec && groupadd --system zel; }
stat -c '%U:%G %a %n' /usr/bin/zel_exec /etc/sudoers.d/zel_exec | joined => root:root 755 /usr/bin/zel_exec; root:root 440 /etc/sudoers.d/zel_exec
board_program /usr/bin/zel_exec => ELF of the board's architecture
useradd -m front && useradd -m other
getent group zel | awk -F: '{ print $1, ($3 < 1000 ? "system" : "user"), "members=" $4 }' => zel system members=
usermod -aG zel front
visudo -cf /etc/sudoers.d/zel_exec => /etc/sudoers.d/zel_exec: parsed OK
sudo -l -U front | sed -n '/may run/,$p' | joined => User front may run the following commands on board:; (root) NOPASSWD: /usr/bin/zel_exec
== sudo refuses a user outside the group at once, and nothing runs
run_through_sudo other "201 1" "301 9" => 1 [] [sudo: a password is required\n]
test -e /etc/zel || echo absent => absent
== fan-legacy (101) on the channel the start-up configured
run_as_front "101 200000" => 0 [] [] pwm 0:1 apply period=255000 duty=200000 polarity=normal enabled=1 ok
pwm_channels 0 1 => 255000; 200000; normal; 1
== fan-kylin (104) exports the dual-fan channels, pwmchip1 before pwmchip2
run_as_front "104 30000" => 0 [] [] pwm 1:0 request
+ pwm 1:0 apply period=50000 duty=0 polarity=normal enabled=0 ok
+ pwm 1:0 apply period=50000 duty=30000 polarity=normal enabled=0 ok
+ pwm 1:0 apply period=50000 duty=30000 polarity=normal enabled=1 ok
+ pwm 2:0 request
+ pwm 2:0 apply period=50000 duty=0 polarity=normal enabled=0 ok
+ pwm 2:0 apply period=50000 duty=30000 polarity=normal enabled=0 ok
+ pwm 2:0 apply period=50000 duty=30000 polarity=normal enabled=1 ok
pwm_channels 1 0 2 0 => 50000; 30000; normal; 1 | 50000; 30000; normal; 1
== fan-588 (102): period, polarity, duty in order, one channel left inversed
echo inversed >$PWM/pwmchip2/pwm0/polarity
run_as_front "102 100000" => 0 [] [] pwm 1:0 apply period=255000 duty=30000 polarity=normal enabled=1 ok
+ pwm 1:0 apply period=255000 duty=100000 polarity=normal enabled=1 ok
+ pwm 2:0 apply period=255000 duty=30000 polarity=inversed enabled=1 ok
+ pwm 2:0 apply period=255000 duty=30000 polarity=normal enabled=1 ok
+ pwm 2:0 apply period=255000 duty=100000 polarity=normal enabled=1 ok
pwm_channels 2 0 => 255000; 100000; normal; 1
== fan-kylin (104) after fan-588 (102) left a duty above 50000: the core refuses the period
run_as_front "104 50000" => 74 [] [zel_exec: command[1] id=104 execution: write: Invalid argument\n]
pwm_channels 1 0 2 0 => 255000; 100000; normal; 1 | 255000; 100000; normal; 1
== fan-thermal (105): cooling device 0, then 1
run_as_front "105 5" => 0 [] [] cooling 0 state=5; cooling 1 state=5
run_as_front "105 1" => 0 [] [] cooling 0 state=1; cooling 1 state=1
cat /sys/class/thermal/cooling_device[01]/cur_state | joined => 1; 1
== a batch of fan-thermal (105), fan-kylin (104), brightness-588 (301) stops at the first refused write and keeps what ran; a rejected one touches nothing
run_as_front "105 2" "104 50000" "301 9" => 74 [] [zel_exec: command[2] id=104 execution: write: Invalid argument\n] cooling 0 state=2; cooling 1 state=2
run_as_front "301 5" "301 256" => 66 [] [zel_exec: command[2] id=301 validation: value outside allowed range\n]
== fan-p5 (103) reconfigures pwmchip0/pwm1 from scratch; fan-legacy (101) then meets the new period
run_as_front "103 8000 0" => 0 [] [] pwm 0:1 apply period=255000 duty=200000 polarity=normal enabled=0 ok
+ pwm 0:1 apply period=255000 duty=0 polarity=normal enabled=0 ok
+ pwm 0:1 apply period=40000 duty=0 polarity=normal enabled=0 ok
+ pwm 0:1 apply period=40000 duty=8000 polarity=normal enabled=0 ok
pwm_channels 0 1 => 40000; 8000; normal; 0
# a disabled channel: 6.12's core hands the duty down and the board refuses it; older cores refuse it themselves
[6.12] run_as_front "101 50000" => 74 [] [zel_exec: command[1] id=101 execution: write: Invalid argument\n] pwm 0:1 apply period=40000 duty=50000 polarity=normal enabled=0 refused
[5.10 6.1] run_as_front "101 50000" => 74 [] [zel_exec: command[1] id=101 execution: write: Invalid argument\n]
pwm_channels 0 1 => 40000; 8000; normal; 0
run_as_front "103 40000 1" => 0 [] [] pwm 0:1 apply period=40000 duty=0 polarity=normal enabled=0 ok
+ pwm 0:1 apply period=40000 duty=40000 polarity=normal enabled=0 ok
+ pwm 0:1 apply period=40000 duty=40000 polarity=normal enabled=1 ok
pwm_channels 0 1 => 40000; 40000; normal; 1
# a running channel: the core refuses it before the board sees it
run_as_front "101 50000" => 74 [] [zel_exec: command[1] id=101 execution: write: Invalid argument\n]
== brightness-588 (301) and brightness-nx (303)
run_as_front "301 255" "303 255" => 0 [] [] backlight brightness=255; hwmon pwm1=255 ok
run_as_front "301 0" "303 0" => 0 [] [] backlight brightness=0; hwmon pwm1=0 ok
run_as_front "301 77" "303 77" => 0 [] [] backlight brightness=77; hwmon pwm1=77 ok
cat /sys/class/backlight/backlight/brightness /sys/class/hwmon/hwmon0/pwm1 | joined => 77; 77
== brightness-p5 (302): period 255000, then the duty, enable left alone; black.config
run_as_front "302 1000 128" => 0 [] [] pwm 0:0 apply period=255000 duty=250000 polarity=normal enabled=1 ok; pwm 0:0 apply period=255000 duty=1000 polarity=normal enabled=1 ok
pwm_channels 0 0 => 255000; 1000; normal; 1
settings_file /etc/device/black.config => 0:0 644 BRIGHTNESS=128\n
run_as_front "302 0 7" => 0 [] [] pwm 0:0 apply period=255000 duty=0 polarity=normal enabled=1 ok
settings_file /etc/device/black.config => 0:0 644 BRIGHTNESS=7\n
== fan-mode (201), fan-level (202): sudo's umask for the command, not front's 077
run_as_front "201 1" "202 6" => 0 [] []
stat -c '%u:%g %a %F' /etc/zel => 0:0 755 directory
settings_file /etc/zel/fanMode.config => 0:0 644 1\n
settings_file /etc/zel/fanLevel.config => 0:0 644 6\n
as_user front cat /etc/zel/fanMode.config /etc/zel/fanLevel.config | joined => 1; 6
run_as_front "201 0" "202 3" => 0 [] []
settings_file /etc/zel/fanMode.config => 0:0 644 0\n
settings_file /etc/zel/fanLevel.config => 0:0 644 3\n
== motor-588 (401) on sysfs GPIO 131: direction out, on, off
run_as_front "401 300" => 0 [] [] gpio zel-gpio 3 output value=0 consumer=sysfs; gpio zel-gpio 3 set value=1; gpio zel-gpio 3 set value=0
gap_is_within $REC 0.001 'set value=1' 'set value=0' 300 1800 => in range
cat $GPIO131/direction $GPIO131/value | joined => out; 0
run_as_front "401 0" => 0 [] [] gpio zel-gpio 3 output value=0 consumer=sysfs; gpio zel-gpio 3 set value=1; gpio zel-gpio 3 set value=0
gap_is_within $REC 0.001 'set value=1' 'set value=0' 0 1500 => in range
echo 131 >/sys/class/gpio/unexport
run_as_front "401 10" => 74 [] [zel_exec: command[1] id=401 execution: open /sys/class/gpio/gpio131/direction: No such file or directory\n]
echo 131 >/sys/class/gpio/export
== motor-nx (403): PQ.06 through the GPIO character device, held by zel-motor, released; refused while held elsewhere
gpiofind PQ.06 | sed 's/^gpiochip[0-9]* /chip /' => chip 14
run_as_front "403 250" => 0 [] [] gpio zel-pq 14 request; gpio zel-pq 14 output value=1 consumer=zel-motor; gpio zel-pq 14 set value=0; gpio zel-pq 14 free
gap_is_within $REC 0.001 consumer=zel-motor 'set value=0' 250 1750 => in range
run_as_front "403 0" => 0 [] [] gpio zel-pq 14 request; gpio zel-pq 14 output value=1 consumer=zel-motor; gpio zel-pq 14 set value=0; gpio zel-pq 14 free
gap_is_within $REC 0.001 consumer=zel-motor 'set value=0' 0 1500 => in range
grep -c zel-motor /sys/kernel/debug/gpio => 0
set -- $(gpiofind PQ.06) && { gpioset -m signal "$1" "$2=0" >/dev/null 2>&1 & echo $! >/tmp/holder; } && sleep 1
run_as_front "403 20" => 74 [] [zel_exec: command[1] id=403 execution: request PQ.06: Device or resource busy\n]
kill $(cat /tmp/holder)
== motor-p5 (402) through the pin-control program
run_as_front "402 200" => 0 [] []
pinctrl_calls => set 10 op dh; set 10 op dl
gap_is_within $PIN/calls 1000 'op dh' 'op dl' 190 5000 => in range
joined <$PIN/environ => PATH=/usr/sbin:/usr/bin:/sbin:/bin; LC_ALL=C
cat $PIN/stdin => /dev/null
== device-power (501) and device-power-read (502): GPIO 7, then GPIO 21
run_as_front "501 1" => 0 [] []
pinctrl_calls => set 7 op dh; set 21 op dh
run_as_front 502 => 0 [7: op dh | hi // GPIO7 = output\n21: op dh | hi // GPIO21 = output\n] []
pinctrl_calls => get 7; get 21
run_as_front "501 0" => 0 [] []
pinctrl_calls => set 7 op dl; set 21 op dl
run_as_front 502 => 0 [7: op dl | lo // GPIO7 = output\n21: op dl | lo // GPIO21 = output\n] []
== a front-end's time-out: TERM to sudo mid-pulse switches motor-588 (401) off at once, the tool ends by TERM, fan-mode (201) does not run
run_and_signal TERM $REC 'set value=1' "401 10000" "201 1" => 143 [] [zel_exec: stopped by signal 15 after command[1]\n] gpio zel-gpio 3 output value=0 consumer=sysfs
+ gpio zel-gpio 3 set value=1; gpio zel-gpio 3 set value=0
gap_is_within $REC 0.001 'set value=1' 'set value=0' 0 5000 => in range
settings_file /etc/zel/fanMode.config => 0:0 644 0\n
== the same for motor-p5 (402), after device-power-read (502) printed, and fan-mode (201)
run_and_signal TERM $PIN/calls 'op dh' 502 "402 10000" "201 1" => 143 [7: op dl | lo // GPIO7 = output\n21: op dl | lo // GPIO21 = output\n] [zel_exec: stopped by signal 15 after command[2]\n]
pinctrl_calls => get 7; get 21; set 10 op dh; set 10 op dl
gap_is_within $PIN/calls 1000 'op dh' 'op dl' 0 5000 => in range
== the same for motor-nx (403) and fan-mode (201)
run_and_signal TERM $REC consumer=zel-motor "403 10000" "201 1" => 143 [] [zel_exec: stopped by signal 15 after command[1]\n] gpio zel-pq 14 request
+ gpio zel-pq 14 output value=1 consumer=zel-motor; gpio zel-pq 14 set value=0; gpio zel-pq 14 free
gap_is_within $REC 0.001 consumer=zel-motor 'set value=0' 0 5000 => in range
settings_file /etc/zel/fanMode.config => 0:0 644 0\n
== SIGPIPE to sudo is relayed like TERM: motor-588 (401) goes off at once, fan-mode (201) does not run
run_and_signal PIPE $REC 'set value=1' "401 10000" "201 1" => 141 [] [zel_exec: stopped by signal 13 after command[1]\n] gpio zel-gpio 3 output value=0 consumer=sysfs
+ gpio zel-gpio 3 set value=1; gpio zel-gpio 3 set value=0
gap_is_within $REC 0.001 'set value=1' 'set value=0' 0 5000 => in range
== SIGPIPE amid fan-mode (201), device-power (501) and fan-level (202): the batch stops after the power sequence, both files whole
run_as_front "201 0" "202 3" => 0 [] []
run_and_signal PIPE $PIN/calls 'set 7' "201 1" "501 1" "202 4" => 141 [] [zel_exec: stopped by signal 13 after command[2]\n]
pinctrl_calls => set 7 op dh; set 21 op dh
settings_file /etc/zel/fanMode.config => 0:0 644 1\n
settings_file /etc/zel/fanLevel.config => 0:0 644 3\n
== a storm of TERM, one every 10 ms, through device-power (501): both lines set, the programs reaped, not timed out
run_and_signal storm:TERM $PIN/calls 'set 7' "501 1" => 143 [] [zel_exec: stopped by signal 15 after command[1]\n]
pinctrl_calls => set 7 op dh; set 21 op dh
== a caller's timer slack of 60 s stretches no wait: motor-p5 (402) for 20 ms keeps the motor on for about 20 ms
: >$PIN/calls && as_user front sh -c 'echo 60000000000 >/proc/self/timerslack_ns && exec sudo -n /usr/bin/zel_exec -c "402 20"'
gap_is_within $PIN/calls 1000 'op dh' 'op dl' 15 5000 => in range
== TSTP, then KILL to sudo mid-pulse of motor-588 (401): the tool is not stopped, runs its batch to the end, fan-mode (201) included, and the next call succeeds
run_and_signal 'TSTP KILL' $REC 'set value=1' "401 1000" "201 1" => 137 [] [] gpio zel-gpio 3 output value=0 consumer=sysfs
+ gpio zel-gpio 3 set value=1; gpio zel-gpio 3 set value=0
settings_file /etc/zel/fanMode.config => 0:0 644 1\n
run_as_front "201 0" => 0 [] []
== the client library (client), installed with apt beside the tool: the board's lock is the group's alone
[6.12] stat -c '%U:%G %a' /var/lib/zel-exec/lock => root:zel 640
[6.12] as_user other sh -c 'exec 3</var/lib/zel-exec/lock' 2>&1 | sed 's/.*: //' => Permission denied
== two clients (client) sending fan-p5 (103) at the same moment, 100 times: one call at a time, never a mixed state
[6.12] as_user front $CLIENT race 100 => 200 ok, 0 mixed
== through the client (client), a UI saving fan-mode (201) and fan-level (202), a daemon setting fan-p5 (103), a reader of the settings, and a front-end without the client holding fanMode.config's lock: no refusal reaches a caller, no read is empty, no write is lost
[6.12] client_busy_board 20 => ui: 0 of 20 failed, saved 0 6, lock refusals retried; daemon: 0 of 20 failed; reader: 0 of 40 failed; holder: a writer refused; files 0 6
== a hung pin-control program under device-power (501), called through the client (client): timed out within the deadline, the command's worst case and a second; the next call runs
[6.12] touch $PIN/hang && as_user front $CLIENT run 1000 "501 1"; rm -f $PIN/hang => timed out, status -1, signal 15, group 1, command 501, in time
[6.12] as_user front $CLIENT run 12000 "501 0" "502" => ok, status 0, signal 0, group 2, command 0, in time
== a slider on brightness-p5 (302) dragged through 50 positions with the client (client): the last one lands
[6.12] as_user front $CLIENT slide 50 => ok, last 250000 250
[6.12] pwm_channels 0 0 => 255000; 250000; normal; 1
[6.12] settings_file /etc/device/black.config => 0:0 644 BRIGHTNESS=250\n
== the caller's directory, no room for a file, 9 descriptors and an ignored SIGCHLD reach neither a rewrite by fan-mode (201) nor the pin-control program of motor-p5 (402), which gets every limit a process started at boot has
run_with_limits "201 1" "402 10" => 0 [] []
settings_file /etc/zel/fanMode.config => 0:0 644 1\n
pinctrl_calls => set 10 op dh; set 10 op dl
joined $PIN/cwd $PIN/signals $PIN/limits => /; SigBlk: 0000000000000000; SigIgn: 0000000000000000
+ Max cpu time unlimited unlimited seconds; Max file size unlimited unlimited bytes; Max data size unlimited unlimited bytes
+ Max stack size 8388608 unlimited bytes; Max core file size 0 unlimited bytes; Max resident set unlimited unlimited bytes
+ Max processes unlimited unlimited processes; Max open files 1024 4096 files
+ Max locked memory 8388608 8388608 bytes; Max address space unlimited unlimited bytes
+ Max file locks unlimited unlimited locks; Max pending signals unlimited unlimited signals
+ Max msgqueue size 819200 819200 bytes; Max nice priority 0 0; Max realtime priority 0 0
+ Max realtime timeout unlimited unlimited us
EOF

read -r up _ </proc/uptime
echo "== done [${up%.*} s]"
echo "RESULT passed=$passed failed=$failed skipped=$skipped"
[ $failed -eq 0 ]
