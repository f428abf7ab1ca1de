#!/bin/sh
# End-to-end checks of zel_exec on the simulated board, run as root by /init.
# Every check runs the real binary and reads the outcome back from the kernel
# side: the sysfs attributes, and the board module's record of what the
# frameworks handed down to the hardware. The checks build on each other's
# board state and must run in this order.

ZEL=/usr/bin/zel_exec
RECORD=/sys/kernel/debug/zel_board/record
PWM=/sys/class/pwm
GPIO131=/sys/class/gpio/gpio131
PIN=/run/pinctrl
OUT=/tmp/zel.out
ERR=/tmp/zel.err
passed=0
failed=0

pass() {
    passed=$((passed + 1))
    echo "ok   $1"
}

fail() {
    failed=$((failed + 1))
    echo "FAIL $1"
    echo "$2" | sed 's/^/       want: /'
    echo "$3" | sed 's/^/       got:  /'
}

# check NAME WANT GOT
check() {
    if [ "$2" = "$3" ]; then pass "$1"; else fail "$1" "$2" "$3"; fi
}

# within NAME VALUE LOW HIGH: LOW <= VALUE <= HIGH
within() {
    if [ -n "$2" ] && [ "$2" -ge "$3" ] && [ "$2" -le "$4" ]; then
        pass "$1"
    else
        fail "$1" "$3..$4" "$2"
    fi
}

# zel GROUP...: one batch on a fresh record; leaves $status, $OUT and $ERR.
zel() {
    : >$RECORD
    : >$PIN/calls
    "$ZEL" -c "$@" >$OUT 2>$ERR
    status=$?
}

# outcome NAME STATUS STDOUT STDERR: exit status and the exact bytes of both
# streams; STDOUT and STDERR are printf formats.
# shellcheck disable=SC2059
outcome() {
    printf "$3" >/tmp/want.out
    printf "$4" >/tmp/want.err
    if [ "$status" = "$2" ] && cmp -s /tmp/want.out $OUT && cmp -s /tmp/want.err $ERR; then
        pass "$1"
    else
        fail "$1" "status $2, stdout [$(cat /tmp/want.out)], stderr [$(cat /tmp/want.err)]" \
            "status $status, stdout [$(cat $OUT)], stderr [$(cat $ERR)]"
    fi
}

# What reached the board during the last batch, without timestamps.
record() { cut -d' ' -f2- $RECORD; }

# Milliseconds between the record lines ending in FROM and in TO.
record_gap() {
    awk -v a="$1" -v b="$2" '
        substr($0, length($0) - length(a) + 1) == a { ta = $1 }
        substr($0, length($0) - length(b) + 1) == b { tb = $1 }
        END { if (ta && tb) printf "%d", (tb - ta) / 1000 }' $RECORD
}

# Channel CHIP CH as its sysfs attributes show it.
channel() {
    d=$PWM/pwmchip$1/pwm$2
    echo "period=$(cat $d/period) duty=$(cat $d/duty_cycle) polarity=$(cat $d/polarity) enable=$(cat $d/enable)"
}

# Settings file: owner, mode and exact content (line feeds shown as \n).
settings() {
    [ -f "$1" ] || { echo "missing"; return; }
    echo "$(stat -c '%u:%g %a' "$1") $(od -An -c "$1" | tr -s ' ' | sed 's/^ //')"
}

invalid='write: Invalid argument'

echo "== fan-legacy (101) on the channel the start-up configured"
zel "101 200000"
outcome "101 200000 succeeds silently" 0 "" ""
check "101 writes only the duty of pwmchip0/pwm1" \
    "pwm 0:1 apply period=255000 duty=200000 polarity=normal enabled=1 ok" "$(record)"
check "101 leaves period and enable as the start-up set them" \
    "period=255000 duty=200000 polarity=normal enable=1" "$(channel 0 1)"

echo "== fan-kylin (104) exports the dual-fan channels"
check "channel 0 of pwmchip1 and pwmchip2 not exported before" "no no" \
    "$([ -e $PWM/pwmchip1/pwm0 ] && echo yes || echo no) $([ -e $PWM/pwmchip2/pwm0 ] && echo yes || echo no)"
zel "104 30000"
outcome "104 30000 succeeds silently" 0 "" ""
check "104 exports, then period, duty, enable; pwmchip1 before pwmchip2" \
    "pwm 1:0 request
pwm 1:0 apply period=50000 duty=0 polarity=normal enabled=0 ok
pwm 1:0 apply period=50000 duty=30000 polarity=normal enabled=0 ok
pwm 1:0 apply period=50000 duty=30000 polarity=normal enabled=1 ok
pwm 2:0 request
pwm 2:0 apply period=50000 duty=0 polarity=normal enabled=0 ok
pwm 2:0 apply period=50000 duty=30000 polarity=normal enabled=0 ok
pwm 2:0 apply period=50000 duty=30000 polarity=normal enabled=1 ok" "$(record)"
for chip in 1 2; do
    check "104 leaves pwmchip$chip/pwm0 running at 30000/50000" \
        "period=50000 duty=30000 polarity=normal enable=1" "$(channel $chip 0)"
done

echo "== fan-588 (102) on exported channels, one left inversed"
echo inversed >$PWM/pwmchip2/pwm0/polarity
zel "102 100000"
outcome "102 100000 succeeds silently" 0 "" ""
check "102 writes period, polarity, duty in order and exports nothing" \
    "pwm 1:0 apply period=255000 duty=30000 polarity=normal enabled=1 ok
pwm 1:0 apply period=255000 duty=100000 polarity=normal enabled=1 ok
pwm 2:0 apply period=255000 duty=30000 polarity=inversed enabled=1 ok
pwm 2:0 apply period=255000 duty=30000 polarity=normal enabled=1 ok
pwm 2:0 apply period=255000 duty=100000 polarity=normal enabled=1 ok" "$(record)"
for chip in 1 2; do
    check "102 leaves pwmchip$chip/pwm0 running at 100000/255000, normal" \
        "period=255000 duty=100000 polarity=normal enable=1" "$(channel $chip 0)"
done

echo "== fan-kylin (104) after fan-588 left a duty above 50000"
zel "104 50000"
outcome "104 50000 fails: the core refuses a period below the running duty" \
    74 "" "zel_exec: command[1] id=104 execution: $invalid\n"
check "the refused period never reaches the board" "" "$(record)"
check "pwmchip1/pwm0 keeps the fan-588 setting" \
    "period=255000 duty=100000 polarity=normal enable=1" "$(channel 1 0)"
check "pwmchip2/pwm0 is not touched after pwmchip1 failed" \
    "period=255000 duty=100000 polarity=normal enable=1" "$(channel 2 0)"

echo "== fan-thermal (105)"
for state in 3 1 5; do
    zel "105 $state"
    outcome "105 $state succeeds silently" 0 "" ""
    check "105 $state sets cooling device 0, then 1" \
        "cooling 0 state=$state
cooling 1 state=$state" "$(record)"
    check "105 $state: both cur_state read back" "$state $state" \
        "$(cat /sys/class/thermal/cooling_device0/cur_state) $(cat /sys/class/thermal/cooling_device1/cur_state)"
done

echo "== a batch stops at the first refused write and keeps what ran"
backlight=$(cat /sys/class/backlight/backlight/brightness)
zel "105 2" "104 50000" "301 9"
outcome "105, refused 104, 301: status 74 naming command 2" \
    74 "" "zel_exec: command[2] id=104 execution: $invalid\n"
check "only 105 reached the board" "cooling 0 state=2
cooling 1 state=2" "$(record)"
check "301 never ran" "$backlight" "$(cat /sys/class/backlight/backlight/brightness)"

echo "== a batch failing validation touches nothing"
zel "301 5" "301 256"
outcome "301 256 in group 2 is refused before anything runs" \
    66 "" "zel_exec: command[2] id=301 validation: value outside allowed range\n"
check "nothing reached the board" "" "$(record)"

echo "== fan-p5 (103) reconfigures pwmchip0/pwm1 from scratch"
zel "103 8000 0"
outcome "103 8000 0 succeeds silently" 0 "" ""
check "103 disables, zeroes the duty, then period and duty (enable 0 is no change)" \
    "pwm 0:1 apply period=255000 duty=200000 polarity=normal enabled=0 ok
pwm 0:1 apply period=255000 duty=0 polarity=normal enabled=0 ok
pwm 0:1 apply period=40000 duty=0 polarity=normal enabled=0 ok
pwm 0:1 apply period=40000 duty=8000 polarity=normal enabled=0 ok" "$(record)"
check "103 8000 0 leaves the fan configured but off" \
    "period=40000 duty=8000 polarity=normal enable=0" "$(channel 0 1)"

zel "101 50000"
outcome "101 duty above the disabled channel's period fails" \
    74 "" "zel_exec: command[1] id=101 execution: $invalid\n"
check "the core hands it down and the board refuses it" \
    "pwm 0:1 apply period=40000 duty=50000 polarity=normal enabled=0 refused" "$(record)"
check "the refused duty leaves the channel as it was" \
    "period=40000 duty=8000 polarity=normal enable=0" "$(channel 0 1)"

zel "103 40000 1"
outcome "103 40000 1 succeeds silently" 0 "" ""
check "103 zeroes the duty, sets it and enables (unchanged writes not handed down)" \
    "pwm 0:1 apply period=40000 duty=0 polarity=normal enabled=0 ok
pwm 0:1 apply period=40000 duty=40000 polarity=normal enabled=0 ok
pwm 0:1 apply period=40000 duty=40000 polarity=normal enabled=1 ok" "$(record)"
check "103 40000 1 leaves the fan running at full duty" \
    "period=40000 duty=40000 polarity=normal enable=1" "$(channel 0 1)"

zel "101 50000"
outcome "101 duty above the running channel's period fails" \
    74 "" "zel_exec: command[1] id=101 execution: $invalid\n"
check "the core refuses it before the board sees it" "" "$(record)"

echo "== brightness-588 (301) and brightness-nx (303)"
check "hwmon0 is the board's" "zelboard" "$(cat /sys/class/hwmon/hwmon0/name)"
for value in 255 0 77; do
    zel "301 $value"
    outcome "301 $value succeeds silently" 0 "" ""
    check "301 $value reaches the backlight" "backlight brightness=$value" "$(record)"
    check "301 $value reads back" "$value" "$(cat /sys/class/backlight/backlight/brightness)"
    zel "303 $value"
    outcome "303 $value succeeds silently" 0 "" ""
    check "303 $value reaches hwmon pwm1" "hwmon pwm1=$value ok" "$(record)"
    check "303 $value reads back" "$value" "$(cat /sys/class/hwmon/hwmon0/pwm1)"
done

echo "== brightness-p5 (302) on the panel channel the start-up configured"
zel "302 1000 128"
outcome "302 1000 128 succeeds silently" 0 "" ""
check "302 writes period 255000, then the duty, leaving enable alone" \
    "pwm 0:0 apply period=255000 duty=250000 polarity=normal enabled=1 ok
pwm 0:0 apply period=255000 duty=1000 polarity=normal enabled=1 ok" "$(record)"
check "302 channel reads back" "period=255000 duty=1000 polarity=normal enable=1" "$(channel 0 0)"
check "302 saves black.config" '0:0 644 B R I G H T N E S S = 1 2 8 \n' \
    "$(settings /etc/device/black.config)"
zel "302 0 7"
outcome "302 0 7 succeeds silently" 0 "" ""
check "302 0 7: only the duty changes" \
    "pwm 0:0 apply period=255000 duty=0 polarity=normal enabled=1 ok" "$(record)"
check "302 0 7 rewrites black.config whole" '0:0 644 B R I G H T N E S S = 7 \n' \
    "$(settings /etc/device/black.config)"

echo "== fan-mode (201) and fan-level (202)"
check "/etc/zel does not exist before" "no" "$([ -e /etc/zel ] && echo yes || echo no)"
zel "201 1" "202 6"
outcome "201 1, 202 6 succeed silently" 0 "" ""
check "/etc/zel created root-owned 0755" "0:0 755 directory" "$(stat -c '%u:%g %a %F' /etc/zel)"
check "fanMode.config" '0:0 644 1 \n' "$(settings /etc/zel/fanMode.config)"
check "fanLevel.config" '0:0 644 6 \n' "$(settings /etc/zel/fanLevel.config)"
check "201/202 touch no hardware" "" "$(record)"
zel "201 0" "202 3"
outcome "201 0, 202 3 succeed silently" 0 "" ""
check "fanMode.config rewritten" '0:0 644 0 \n' "$(settings /etc/zel/fanMode.config)"
check "fanLevel.config rewritten" '0:0 644 3 \n' "$(settings /etc/zel/fanLevel.config)"

echo "== motor-588 (401) on sysfs GPIO 131"
for ms in 300 0; do
    zel "401 $ms"
    outcome "401 $ms succeeds silently" 0 "" ""
    check "401 $ms: direction out, on, off" \
        "gpio zel-gpio 3 output value=0 consumer=sysfs
gpio zel-gpio 3 set value=1
gpio zel-gpio 3 set value=0" "$(record)"
    within "401 $ms: pulse length in ms" "$(record_gap 'set value=1' 'set value=0')" $ms $((ms + 1500))
    check "401 $ms leaves GPIO 131 an output at 0" "out 0" "$(cat $GPIO131/direction) $(cat $GPIO131/value)"
done
echo 131 >/sys/class/gpio/unexport
zel "401 10"
outcome "401 with GPIO 131 not exported fails at the direction" \
    74 "" "zel_exec: command[1] id=401 execution: open $GPIO131/direction: No such file or directory\n"
check "nothing reached the line" "" "$(record)"
echo 131 >/sys/class/gpio/export

echo "== motor-nx (403) through the GPIO character device"
check "gpiofind locates PQ.06 on the board's second chip" "gpiochip1 14" "$(gpiofind PQ.06)"
for ms in 250 0; do
    zel "403 $ms"
    outcome "403 $ms succeeds silently" 0 "" ""
    check "403 $ms: PQ.06 requested as output at 1 by zel-motor, reset, released" \
        "gpio zel-pq 14 request
gpio zel-pq 14 output value=1 consumer=zel-motor
gpio zel-pq 14 set value=0
gpio zel-pq 14 free" "$(record)"
    within "403 $ms: pulse length in ms" "$(record_gap 'consumer=zel-motor' 'set value=0')" $ms $((ms + 1500))
    check "403 $ms: no line left requested by zel-motor" "" \
        "$(grep zel-motor /sys/kernel/debug/gpio)"
done

echo "== motor-p5 (402) through the pin-control program"
zel "402 200"
outcome "402 200 succeeds silently" 0 "" ""
check "402 drives GPIO 10 high, then low" "set 10 op dh
set 10 op dl" "$(cut -d' ' -f2- $PIN/calls)"
within "402 200: pulse length in ms" \
    "$(awk 'NR == 1 { a = $1 } NR == 2 { printf "%d", ($1 - a) * 1000 }' $PIN/calls)" 190 2000
check "pinctrl runs with the fixed environment" "PATH=/usr/sbin:/usr/bin:/sbin:/bin
LC_ALL=C" "$(cat $PIN/environ)"
check "pinctrl runs with standard input from /dev/null" "/dev/null" "$(cat $PIN/stdin)"

echo "== device-power (501) and device-power-read (502)"
for level in 1 0; do
    if [ $level = 1 ]; then drive=dh word=hi; else drive=dl word=lo; fi
    zel "501 $level"
    outcome "501 $level succeeds silently" 0 "" ""
    check "501 $level sets GPIO 7, then GPIO 21" "set 7 op $drive
set 21 op $drive" "$(cut -d' ' -f2- $PIN/calls)"
    zel "502"
    outcome "502 passes both answers on, GPIO 7 first" 0 \
        "7: op $drive | $word // GPIO7 = output\n21: op $drive | $word // GPIO21 = output\n" ""
    check "502 asks for GPIO 7, then GPIO 21" "get 7
get 21" "$(cut -d' ' -f2- $PIN/calls)"
done

echo "RESULT passed=$passed failed=$failed"
[ $failed -eq 0 ]
