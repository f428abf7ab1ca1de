#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The zel_exec developers
# SPDX-License-Identifier: MIT
# Runs the Private tests, which need their own /etc and /usr/bin, in a private mount namespace: a scratch tmpfs
# on /mnt and /usr/bin as an overlay whose changes land there, so nothing reaches the machine. The tests mount
# their own empty /etc on top of the real one. Exits 77 (skipped) where such a namespace is not permitted.
# Usage: run_private.sh [emulator...] test-program [arguments]
set -euo pipefail
source "$(dirname "$0")/../../tools/lib.sh"
if [ "${1:-}" = --inside ]; then
  scratch_overlays /usr/bin
  exec "${@:2}"
fi
if [ "$(id -u)" != 0 ] || ! unshare -m true 2>/dev/null; then
  echo "private mount namespace not permitted here: the /etc and /usr/bin cases are skipped"
  exit 77
fi
private_mounts bash "$0" --inside "$@"
