# shellcheck shell=bash
# SPDX-FileCopyrightText: 2026 The zel_exec developers
# SPDX-License-Identifier: MIT
# What the scripts of tools/ and board/, bench/run and the private test runner share: sourced, not run.

# What a script's own lines begin with: its file's name; board/lib.sh calls its scripts "board".
script_name=${0##*/}

# fail WHY...: how every script ends on a failed check, with a line on standard error that says
# which script and why, and status 1.
fail() {
  echo "$script_name: FAILED: $*" >&2
  exit 1
}

# quietly LOG COMMAND...: runs COMMAND with its output in LOG, which is shown only when COMMAND fails;
# a failure ends the script.
quietly() {
  local log=$1 status=0
  shift
  "$@" >"$log" 2>&1 || status=$?
  if [ "$status" -ne 0 ]; then
    cat "$log" >&2
    fail "$1 exited with status $status (log: $log)"
  fi
}

# In a private mount namespace only. scratch_usr_bin: a scratch tmpfs on /mnt, and /usr/bin as an overlay
# whose changes land there, so that fake programs can take the fixed programs' places.
scratch_usr_bin() {
  mount --make-rprivate /
  mount -t tmpfs -o mode=0755 scratch /mnt
  mkdir /mnt/upper /mnt/work
  mount -t overlay overlay -o lowerdir=/usr/bin,upperdir=/mnt/upper,workdir=/mnt/work /usr/bin
}

# In a private mount namespace only. scratch_dirs DIR...: an empty tmpfs, mode 0755, over each DIR.
scratch_dirs() {
  local dir
  for dir; do
    mount -t tmpfs -o mode=0755 scratch "$dir"
  done
}
