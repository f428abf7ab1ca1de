#!/bin/sh
# SPDX-FileCopyrightText: 2026 The zel_exec developers
# SPDX-License-Identifier: MIT
# The simulated board's present state, as a short table.
PWM=/sys/class/pwm

row() { printf '%-28s %s\n' "$1" "$2"; }

# Only what the board's layout has.
for d in $PWM/pwmchip*/pwm*; do
    [ -d "$d" ] || continue
    row "${d#$PWM/}" "period $(cat $d/period) duty $(cat $d/duty_cycle) $(cat $d/polarity) enable $(cat $d/enable)"
done
for c in $PWM/pwmchip*; do
    [ ! -d "$c" ] || [ -d "$c/pwm0" ] || row "${c#$PWM/}/pwm0" "not exported"
done
for n in 0 1; do
    f=/sys/class/thermal/cooling_device$n/cur_state
    [ ! -f $f ] || row "cooling_device$n" "cur_state $(cat $f)"
done
f=/sys/class/backlight/backlight/brightness
[ ! -f $f ] || row "backlight" "brightness $(cat $f)"
f=/sys/class/hwmon/hwmon0/pwm1
[ ! -f $f ] || row "hwmon0" "pwm1 $(cat $f)"
if [ -d /sys/class/gpio/gpio131 ]; then
    row "gpio131 (sysfs)" "$(cat /sys/class/gpio/gpio131/direction) $(cat /sys/class/gpio/gpio131/value)"
elif grep -q '^zel-gpio ' /sys/kernel/debug/zel_board/lines; then
    row "gpio131 (sysfs)" "not exported"
fi
pq=$(awk '$3 == "PQ.06" { print $4, $5 }' /sys/kernel/debug/zel_board/lines)
holder=$(grep -o 'PQ.06 *|[^)]*' /sys/kernel/debug/gpio | sed 's/.*|//; s/ *$//')
[ -z "$pq" ] || row "PQ.06 (chardev)" "$pq${holder:+, held by $holder}"
for n in 7 10 21; do
    row "pinctrl GPIO$n" "$(cat /run/pinctrl/$n 2>/dev/null || echo 'never set')"
done
for f in /etc/zel/fanMode.config /etc/zel/fanLevel.config /etc/device/black.config; do
    if [ -f $f ]; then row "$f" "$(cat $f)"; else row "$f" "absent"; fi
done
