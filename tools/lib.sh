# shellcheck shell=bash
# SPDX-FileCopyrightText: 2026 The zel_exec developers
# SPDX-License-Identifier: MIT
# What the scripts of tools/ and board/, bench/run and the private test runner share: sourced, not run.

ZEL_ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# What a script's own lines begin with: its file's name; board/lib.sh calls its scripts "board".
script_name=${0##*/}

# fail WHY...: how every script ends on a failed check, with a line on standard error that says
# which script and why, and status 1.
fail() {
  echo "$script_name: FAILED: $*" >&2
  exit 1
}

# within_deadline SECONDS ARG...: first thing in a stage, with the stage's arguments: the stage runs
# again under timeout, so that whatever hangs in it, it ends.
within_deadline() {
  local seconds=$1
  shift
  [ -n "${ZEL_STAGE_DEADLINE:-}" ] || ZEL_STAGE_DEADLINE=$seconds exec timeout -k 10 "$seconds" "$0" "$@"
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

# build_tree SOURCE BUILD [CMAKE_ARGUMENT...]: configures BUILD from SOURCE as RelWithDebInfo with the
# arguments and builds all of it; the logs stay in BUILD and are shown only on failure.
build_tree() {
  local source=$1 build=$2
  shift 2
  mkdir -p "$build"
  quietly "$build/configure.log" cmake -S "$source" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@"
  quietly "$build/build.log" cmake --build "$build" -j"$(nproc)"
}

# The version of the project, and so of its packages, as CMakeLists.txt gives it.
project_version() { sed -n 's/^project(zel_exec VERSION \([0-9.]*\).*/\1/p' "$ZEL_ROOT/CMakeLists.txt"; }

# The packages one build makes, by name: the tool's, the client library's two and the Python module's,
# which is the same on every architecture.
readonly PACKAGES=(zel-exec libzelclient1 libzelclient-dev python3-zel-client)

# package_file BUILD ARCH NAME: where the package NAME of a build for ARCH lies.
package_file() {
  local arch=$2
  [ "$3" != python3-zel-client ] || arch=all
  echo "$1/$3_$(project_version)_$arch.deb"
}

# pack BUILD ARCH: packs a configured build (cpack brings it up to date first) and names its packages,
# the tool's first.
pack() {
  local name deb
  rm -f "$1"/*.deb
  (cd "$1" && quietly cpack.log cpack -G DEB)
  for name in "${PACKAGES[@]}"; do
    deb=$(package_file "$1" "$2" "$name")
    [ -f "$deb" ] || fail "no $2 package $name in $1"
    echo "$deb"
  done
}

# The architectures the packages are built for, a row each. ARCHITECTURES lists them in the table's
# order; every other column is an array of its own, indexed by the architecture's Debian name:
#   ARCH_BUILD      where tools/check-cross and tools/check-package build its package, in the build root
#   ARCH_TOOLCHAIN  its cross compilers, cmake/toolchains/<toolchain>.cmake; empty ("-"): this machine's
#   ARCH_BITS       the ELF class of its programs: 32 or 64 bits
#   ARCH_MACHINE    the machine field of its programs' ELF header
declare -ga ARCHITECTURES=()
declare -gA ARCH_BUILD=() ARCH_TOOLCHAIN=() ARCH_BITS=() ARCH_MACHINE=()
read_architectures() {
  local arch build toolchain bits machine
  while read -r arch build toolchain bits machine; do
    [[ $arch != '#'* ]] || continue
    ARCHITECTURES+=("$arch")
    ARCH_BUILD[$arch]=$build ARCH_TOOLCHAIN[$arch]=${toolchain#-} ARCH_BITS[$arch]=$bits ARCH_MACHINE[$arch]=$machine
  done
}
read_architectures <<'EOF'
# arch  build        toolchain            bits machine
amd64  pkg-deb      -                    64   0x3e
arm64  pkg-aarch64  aarch64-linux-gnu    64   0xb7
armhf  pkg-armhf    arm-linux-gnueabihf  32   0x28
EOF
unset -f read_architectures
# shellcheck disable=SC2034 # the columns that only the scripts read
readonly ARCHITECTURES ARCH_BUILD ARCH_TOOLCHAIN ARCH_BITS ARCH_MACHINE

# elf_arch FILE: the architecture whose programs FILE's ELF header describes, nothing for any other file.
elf_arch() {
  local header arch machine
  header=$(od -An -tx1 -N20 "$1" | tr -d ' \n')
  for arch in "${ARCHITECTURES[@]}"; do
    machine=${ARCH_MACHINE[$arch]}
    # The magic number, the class (1 for 32 bits, 2 for 64) and, in bytes 18 and 19, the machine.
    # shellcheck disable=SC2053 # the right side is a pattern
    [[ $header != $(printf '7f454c46%02x*%02x%02x' $((ARCH_BITS[$arch] / 32)) $((machine & 255)) $((machine >> 8))) ]] ||
      { echo "$arch" && return 0; }
  done
}

# private_mounts COMMAND...: runs COMMAND in a mount namespace of its own, the only place where the
# scratch helpers below mount anything.
private_mounts() { ZEL_OUTER_MOUNTS=$(readlink /proc/self/ns/mnt) unshare --mount --propagation private "$@"; }

# Fails outside a namespace of private_mounts: a script run there by hand must not change the
# machine's own mounts.
in_private_mounts() {
  [ -n "${ZEL_OUTER_MOUNTS:-}" ] && [ "$(readlink /proc/self/ns/mnt)" != "$ZEL_OUTER_MOUNTS" ] ||
    fail "not in a private mount namespace: the machine's own mounts would change"
}

# In private_mounts only. scratch_overlays DIR...: a scratch tmpfs on /mnt, and each DIR an
# overlay whose changes land there, so that programs can write to DIR (fake programs take the fixed
# programs' places in /usr/bin) and nothing they write outlives the namespace. The overlays take their
# modes from the directories made here, under the caller's umask.
scratch_overlays() {
  local dir
  in_private_mounts
  mount --make-rprivate /
  mount -t tmpfs -o mode=0755 scratch /mnt
  for dir; do
    mkdir -p "/mnt/upper$dir" "/mnt/work$dir"
    mount -t overlay overlay -o "lowerdir=$dir,upperdir=/mnt/upper$dir,workdir=/mnt/work$dir" "$dir"
  done
}

# In private_mounts only. scratch_dirs DIR...: an empty tmpfs, mode 0755, over each DIR.
scratch_dirs() {
  local dir
  in_private_mounts
  for dir; do
    mount -t tmpfs -o mode=0755 scratch "$dir"
  done
}
