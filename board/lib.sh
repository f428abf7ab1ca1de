# shellcheck shell=bash
# SPDX-FileCopyrightText: 2026 The zel_exec developers
# SPDX-License-Identifier: MIT
# Shared by board/check and board/try: host set-up, image building and booting
# of the simulated board. Sourced, not run.

# The guest kernels, each pinned once: the version board/try --kernel and
# board/check --kernel take, the ABI (image, headers and the module built
# against them must agree on it, or the module will not load) and the suite
# that serves it. The first is the default.
readonly KERNELS=(
  '6.12 6.12.117+deb12 bookworm-security'
  '6.1 6.1.0-50 bookworm'
  '5.10 5.10.0-32 bullseye'
)
# The board layouts, one per board family: its name (the module's parameter
# "layout"), the kernels that can have it, the commands it serves. The module
# builds its devices, guest/init brings it up as that family's boot would, and
# the board checks run the sections whose commands it serves. Before 6.9 the
# PWM core names a chip after its base in the global numbering, so the
# all-in-one board's pwmchip1 cannot follow its two-channel pwmchip0.
readonly LAYOUTS=(
  'all-in-one|6.12|101 102 103 104 105 201 202 301 302 303 401 402 403 501 502'
  'dual-fan|5.10 6.1 6.12|102 104 105 201 202 301 401'
  'p5|5.10 6.1 6.12|101 103 201 202 302 303 402 501 502'
  'nx|5.10 6.1 6.12|201 202 301 303 403'
)
# The guest's Debian release: what the root file system is built from.
readonly ROOTFS_SUITE=bookworm
# On top of minbase (which has apt, dpkg, passwd, util-linux, coreutils, mawk,
# diffutils): what the package and the checks need on a board.
readonly ROOTFS_PACKAGES=sudo,kmod,gpiod
# What a board of 32-bit programs adds on top, as dpkg's second architecture:
# what the armhf package depends on.
readonly FOREIGN_PACKAGES=(libc6)

BOARD_DIR=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
readonly BOARD_DIR
# The helpers and the architectures that the board shares with the check scripts.
source "$BOARD_DIR/../tools/lib.sh"
script_name=board
# Outside the work tree, so that fresh clones (CI) reuse kernel and root.
readonly CACHE_DIR=${ZEL_BOARD_CACHE:-/var/cache/zel-board}
HOST_ARCH=$(dpkg --print-architecture)
readonly HOST_ARCH

# Upper bound for one boot, tests included; a healthy run takes seconds.
readonly BOOT_TIMEOUT=${ZEL_BOARD_TIMEOUT:-600}

# board_arch BOARD [KERNEL]: picks the board by the Debian architecture of the
# programs it runs (amd64, arm64 or armhf) and its kernel's version (default:
# the first of KERNELS), and sets everything that depends on them. ARCH is the
# kernel's: armhf programs run on the arm64 board, through the kernel's 32-bit
# compatibility layer, as on many armhf boards in the field.
board_arch() {
  BOARD=$1
  KERNEL=${2:-${KERNELS[0]%% *}}
  case $BOARD in
    amd64 | arm64) ARCH=$BOARD ;;
    armhf) ARCH=arm64 ;;
    *) fail "no board for architecture '$BOARD' (amd64, arm64 or armhf)" ;;
  esac
  local entry
  KERNEL_ABI=''
  for entry in "${KERNELS[@]}"; do
    [[ ${entry%% *} == "$KERNEL" ]] && read -r _ KERNEL_ABI KERNEL_SUITE <<<"$entry"
  done
  [[ -n $KERNEL_ABI ]] || fail "no kernel '$KERNEL' ($(kernel_versions))"
  KERNEL_RELEASE=$KERNEL_ABI-$ARCH
  KERNEL_ROOT=$CACHE_DIR/kernel-$KERNEL_RELEASE
  VMLINUZ=$KERNEL_ROOT/boot/vmlinuz-$KERNEL_RELEASE
  KERNEL_HEADERS=$KERNEL_ROOT/usr/src/linux-headers-$KERNEL_RELEASE
  MODULE_BUILD=$CACHE_DIR/module-$KERNEL_RELEASE
  MODULE_KO=$MODULE_BUILD/zel_board.ko
  KERNEL_APT_DIR=$CACHE_DIR/apt-$KERNEL_SUITE
  # Host packages the board needs, keyed by a file each one provides; the
  # first is qemu itself.
  HOST_NEEDS=(
    /usr/sbin/debootstrap:debootstrap
    /usr/bin/cpio:cpio
    /usr/bin/make:make
    /usr/bin/pahole:pahole
  )
  case $ARCH in
    amd64)
      QEMU=qemu-system-x86_64
      HOST_NEEDS=("/usr/bin/$QEMU:qemu-system-x86" /usr/bin/x86_64-linux-gnu-gcc-12:gcc-12 "${HOST_NEEDS[@]}")
      # The isa-debug-exit port ends qemu as soon as the guest has a verdict.
      # shellcheck disable=SC2054 # commas inside one qemu argument
      QEMU_ARGS=(-accel tcg -cpu max -device isa-debug-exit,iobase=0xf4,iosize=0x04)
      KERNEL_CMDLINE="console=ttyS0 initcall_blacklist=acpi_processor_driver_init"
      # 5.10's headers ask for gcc-10, which bookworm lacks; its gcc-12
      # builds the module for every kernel.
      MAKE_CROSS=(CC=gcc-12)
      ;;
    arm64)
      QEMU=qemu-system-aarch64
      HOST_NEEDS=("/usr/bin/$QEMU:qemu-system-arm" /usr/bin/aarch64-linux-gnu-gcc-12:gcc-12-aarch64-linux-gnu
        /usr/libexec/qemu-binfmt/aarch64-binfmt-P:qemu-user-static "${HOST_NEEDS[@]}")
      # cortex-a72: "max" adds pointer authentication, which TCG emulates slowly.
      QEMU_ARGS=(-machine virt -cpu cortex-a72)
      KERNEL_CMDLINE="console=ttyAMA0"
      MAKE_CROSS=(ARCH=arm64 CROSS_COMPILE=aarch64-linux-gnu- CC=aarch64-linux-gnu-gcc-12)
      ;;
  esac
}

kernel_versions() { printf '%s\n' "${KERNELS[@]%% *}" | paste -sd ' ' -; }

# board_layout NAME: the layout of that name, which the kernel must be able to
# have; sets LAYOUT and LAYOUT_COMMANDS.
board_layout() {
  local entry name kernels
  for entry in "${LAYOUTS[@]}"; do
    IFS='|' read -r name kernels LAYOUT_COMMANDS <<<"$entry"
    [[ $name == "$1" ]] || continue
    [[ " $kernels " == *" $KERNEL "* ]] || fail "no $name board on kernel $KERNEL (only on $kernels)"
    LAYOUT=$name
    return 0
  done
  fail "no layout '$1' ($(layouts_of_kernel | paste -sd ' ' -))"
}

# The layouts the kernel can have, one a line, in the order of LAYOUTS.
layouts_of_kernel() {
  local entry name kernels
  for entry in "${LAYOUTS[@]}"; do
    IFS='|' read -r name kernels _ <<<"$entry"
    [[ " $kernels " != *" $KERNEL "* ]] || echo "$name"
  done
}

export DEBIAN_FRONTEND=noninteractive

log() { printf '%s: %s\n' "$script_name" "$*" >&2; }

apt_updated=false
apt_update_once() {
  if ! $apt_updated; then
    log "apt-get update"
    timeout 300 apt-get update -q >/dev/null || return 1
    apt_updated=true
  fi
}

apt_install() {
  apt_update_once || return 1
  log "installing $*"
  timeout 900 apt-get install -y -q --no-install-recommends \
    -o DPkg::Lock::Timeout=120 "$@" >/dev/null
}

# Installs what is missing. Fails only when qemu itself cannot be had, the
# one condition under which callers may skip instead of failing; any other
# missing package is an error.
ensure_host_packages() {
  local entry missing=()
  for entry in "${HOST_NEEDS[@]}"; do
    [[ -x ${entry%%:*} ]] || missing+=("${entry#*:}")
  done
  ((${#missing[@]} == 0)) && return 0
  apt_install "${missing[@]}" || log "apt-get install failed"
  [[ -x ${HOST_NEEDS[0]%%:*} ]] || return 1
  for entry in "${HOST_NEEDS[@]}"; do
    [[ -x ${entry%%:*} ]] || fail "${entry%%:*} still missing after installing ${entry#*:}"
  done
}

# kernel_apt COMMAND ARG...: apt-get or apt-cache with a configuration of the
# board's own, under the cache: its sources list names only the kernel's
# suite, from the archive this host's apt uses for it (for a suite the host
# does not use, the archive of its ROOTFS_SUITE), its lists and cache are its
# own, for the host's architecture and the kernel's. The host's sources,
# lists and dpkg stay as they are. Ten minutes at most.
kernel_apt() {
  local command=$1
  shift
  timeout 600 "$command" -q -o Dir::Etc::SourceList="$KERNEL_APT_DIR/sources.list" -o Dir::Etc::SourceParts=/dev/null \
    -o Dir::State::Lists="$KERNEL_APT_DIR/lists" -o Dir::Cache="$KERNEL_APT_DIR/cache" \
    -o Dir::State::Status=/dev/null -o APT::Sandbox::User=root \
    -o APT::Architectures::="$HOST_ARCH" -o APT::Architectures::="$ARCH" "$@"
}

# Downloads with apt-get and unpacks without installing: installing the
# headers package would pull the image onto the host and rebuild its
# initramfs. Only the kernel image and its config are kept from the image
# package; the guest needs no loadable module but ours. The build tools
# (linux-kbuild, of the version of the headers) are the host's, also for a
# foreign kernel.
ensure_kernel() {
  [[ -f $VMLINUZ && -f $KERNEL_HEADERS/Makefile && -f $KERNEL_ROOT/.complete ]] && return 0
  local debs=$CACHE_DIR/debs-$KERNEL_RELEASE archive version kbuild
  archive=$(host_archive "$KERNEL_SUITE" "$ROOTFS_SUITE") || fail "no apt source for $ROOTFS_SUITE on this host"
  rm -rf "$debs" "$KERNEL_ROOT" "$KERNEL_APT_DIR"
  mkdir -p "$debs" "$KERNEL_ROOT" "$KERNEL_APT_DIR/lists/partial" "$KERNEL_APT_DIR/cache/archives/partial"
  echo "deb $archive $KERNEL_SUITE main" >"$KERNEL_APT_DIR/sources.list"
  log "downloading kernel $KERNEL_RELEASE from $KERNEL_SUITE"
  kernel_apt apt-get update >/dev/null || fail "apt-get update of $KERNEL_SUITE failed"
  version=$(kernel_apt apt-cache show --no-all-versions "linux-headers-$KERNEL_ABI-common" | sed -n 's/^Version: //p')
  kbuild=$(kernel_apt apt-cache show --no-all-versions "linux-headers-$KERNEL_RELEASE:$ARCH" |
    sed -n 's/^Depends: .*\(linux-kbuild-[^ ,]*\).*/\1/p')
  [[ -n $version && -n $kbuild ]] || fail "no linux-headers-$KERNEL_RELEASE in $KERNEL_SUITE"
  (cd "$debs" && kernel_apt apt-get download "linux-image-$KERNEL_RELEASE:$ARCH" \
    "linux-headers-$KERNEL_RELEASE:$ARCH" "linux-headers-$KERNEL_ABI-common" "$kbuild:$HOST_ARCH=$version" \
    >/dev/null) || fail "could not download kernel $KERNEL_RELEASE"
  local deb
  for deb in "$debs"/*.deb; do
    case $deb in
      */linux-image-*)
        dpkg-deb --fsys-tarfile "$deb" |
          tar -x -C "$KERNEL_ROOT" --wildcards './boot/vmlinuz-*' './boot/config-*' ;;
      *) dpkg-deb -x "$deb" "$KERNEL_ROOT" ;;
    esac
  done
  [[ -f $VMLINUZ ]] || fail "no kernel image in linux-image-$KERNEL_RELEASE"
  [[ -f $KERNEL_HEADERS/Makefile ]] || fail "no headers tree at $KERNEL_HEADERS"
  # The flavour's Makefile includes the common tree by its installed path.
  sed -i "s|/usr/src/|$KERNEL_ROOT/usr/src/|" "$KERNEL_HEADERS/Makefile"
  rm -rf "$debs"
  touch "$KERNEL_ROOT/.complete"
}

# The source is copied so that the build litter stays in the cache; make
# runs only when a copied file changed (its no-op pass alone takes seconds).
ensure_module() {
  mkdir -p "$MODULE_BUILD"
  local f changed=false
  for f in "$BOARD_DIR"/module/*; do
    cmp -s "$f" "$MODULE_BUILD/${f##*/}" && continue
    cp "$f" "$MODULE_BUILD/"
    changed=true
  done
  [[ -f $MODULE_KO ]] && ! $changed && return 0
  log "building the board module for $ARCH"
  make -s -j2 -C "$KERNEL_HEADERS" M="$MODULE_BUILD" "${MAKE_CROSS[@]}" modules \
    >"$MODULE_BUILD/build.log" 2>&1 || {
    cat "$MODULE_BUILD/build.log" >&2
    rm -f "$MODULE_KO"
    fail "module build failed"
  }
  [[ -f $MODULE_KO ]] || fail "module build produced no $MODULE_KO"
}

# host_archive SUITE...: the archive this host's apt uses for the first SUITE
# it uses at all; without lists, they are fetched once first.
host_archive() {
  local try suite archive
  for try in 1 2; do
    ((try == 1)) || apt_update_once >&2 || true
    for suite; do
      # shellcheck disable=SC2016 # apt's own placeholders
      archive=$(apt-get indextargets --format '$(REPO_URI) $(RELEASE)' 'Created-By: Packages' 2>/dev/null |
        awk -v s="$suite" '$2 == s { print $1; exit }')
      [[ -z $archive ]] || { echo "$archive" && return 0; }
    done
  done
  return 1
}

# The Debian mirror this host's apt uses for the guest's release, unless
# ZEL_BOARD_MIRROR names one.
debian_mirror() {
  [[ -z ${ZEL_BOARD_MIRROR:-} ]] || { echo "$ZEL_BOARD_MIRROR" && return 0; }
  host_archive "$ROOTFS_SUITE" || fail "no apt source for $ROOTFS_SUITE on this host; set ZEL_BOARD_MIRROR"
}

# The root file system: Debian minbase with ROOTFS_PACKAGES, as one
# uncompressed newc archive that the kernel unpacks as its initramfs; for a
# board of another architecture than its kernel's, that archive with the
# BOARD architecture added, kept as an archive of its own. Each name carries a
# hash of everything that builds it, so a change rebuilds it.
ensure_rootfs() {
  local key
  key=$({ echo "$ARCH $ROOTFS_SUITE $ROOTFS_PACKAGES"; declare -f build_rootfs; } |
    sha256sum | cut -c1-12)
  cached_rootfs "$ARCH" "$key" build_rootfs
  [[ $BOARD != "$ARCH" ]] || return 0
  key=$({ echo "$key $BOARD ${FOREIGN_PACKAGES[*]}"; declare -f add_foreign_arch; } |
    sha256sum | cut -c1-12)
  cached_rootfs "$ARCH+$BOARD" "$key" add_foreign_arch "$ROOTFS_CPIO"
}

# cached_rootfs NAME KEY BUILDER [ARG...]: points ROOTFS_CPIO at the archive
# NAME-KEY, built by "BUILDER OUT ARG..." unless it is there. An archive of
# NAME with another key is one that the present code would not build: it goes.
cached_rootfs() {
  local name=$1 key=$2 builder=$3
  shift 3
  ROOTFS_CPIO=$CACHE_DIR/rootfs-$name-$key.cpio
  [[ -f $ROOTFS_CPIO ]] && return 0
  rm -f "$CACHE_DIR/rootfs-$name-"*.cpio
  local t0 log=$CACHE_DIR/rootfs-$name.log
  t0=$(now)
  log "building the $ROOTFS_SUITE $name root file system (log: $log)"
  # A job of its own: on the left of || the builder's set -e would be ignored
  # and a failed step followed by the next.
  "$builder" "$ROOTFS_CPIO.part" "$@" >"$log" 2>&1 &
  wait $! || {
    tail -n 30 "$log" >&2
    fail "could not build the $name root file system"
  }
  mv "$ROOTFS_CPIO.part" "$ROOTFS_CPIO"
  log "root file system: $(du -m "$ROOTFS_CPIO" | cut -f1) MB in $(since "$t0") s"
}

# run_foreign ROOT COMMAND...: runs COMMAND chrooted into a root of another
# architecture through qemu-user, under a binfmt_misc entry of its own for the
# time of the command. The entry's F flag has the kernel open the interpreter
# at once, so the root need not hold it; the newest entry wins, so removing
# this one cannot pull qemu from under a set-up running beside it. The command
# gets a mount namespace of its own: what it mounts (debootstrap mounts /proc
# and /sys) goes with it, even when it fails.
run_foreign() {
  local root=$1 binfmt=/proc/sys/fs/binfmt_misc name=zel-qemu-aarch64-$BASHPID entry rc=0
  shift
  [[ -f $binfmt/register ]] || mount -t binfmt_misc binfmt_misc "$binfmt" 2>/dev/null ||
    { echo "binfmt_misc is not available: cannot run $ARCH programs to configure the root"; return 1; }
  entry=$(sed -n "s/^:qemu-aarch64:/:$name:/p" /usr/lib/binfmt.d/qemu-aarch64.conf)
  [[ ${entry##*:} == *F* ]] && echo "$entry" >"$binfmt/register" ||
    { echo "cannot register $name with binfmt_misc"; return 1; }
  unshare --mount chroot "$root" "$@" || rc=$?
  echo -1 >"$binfmt/$name"
  return $rc
}

# build_rootfs OUT: debootstrap, trimmed of what no board check reads.
build_rootfs() (
  set -e
  umask 022
  root=$CACHE_DIR/rootfs-$ARCH.tree
  rm -rf --one-file-system "$root"
  if [[ $ARCH == "$HOST_ARCH" ]]; then
    debootstrap --variant=minbase --include="$ROOTFS_PACKAGES" "$ROOTFS_SUITE" "$root" "$(debian_mirror)"
  else
    debootstrap --variant=minbase --include="$ROOTFS_PACKAGES" --arch="$ARCH" --foreign \
      "$ROOTFS_SUITE" "$root" "$(debian_mirror)"
    run_foreign "$root" /debootstrap/debootstrap --second-stage
  fi
  rm -rf "${root:?}"/usr/share/{doc,man,info,locale} "$root"/var/cache/apt/*.bin \
    "$root"/var/lib/apt/lists/* "$root"/var/cache/apt/archives/*.deb "$root"/var/cache/debconf/*-old \
    "$root"/usr/lib/*-linux-gnu/gconv
  (cd "$root" && find . -print0 | cpio --null -o -H newc --quiet) >"$1"
  rm -rf --one-file-system "$root"
)

# add_foreign_arch OUT BASE: the root file system of the archive BASE with
# BOARD as dpkg's second architecture and FOREIGN_PACKAGES of it, installed by
# apt from the root's own sources: packages of both architectures must have
# the same version, which only the mirror that built BASE guarantees.
add_foreign_arch() (
  set -e
  umask 022
  root=$CACHE_DIR/rootfs-$ARCH+$BOARD.tree
  rm -rf --one-file-system "$root"
  mkdir -p "$root"
  (cd "$root" && cpio -i -d -m --quiet --no-absolute-filenames) <"$2"
  cp /etc/resolv.conf "$root/etc/resolv.conf"
  run_foreign "$root" dpkg --add-architecture "$BOARD"
  run_foreign "$root" apt-get update -q
  run_foreign "$root" apt-get install -y -q --no-install-recommends "${FOREIGN_PACKAGES[@]/%/:$BOARD}"
  rm -rf "${root:?}"/usr/share/{doc,man,info,locale} "$root"/var/cache/apt/*.bin \
    "$root"/var/lib/apt/lists/* "$root"/var/cache/apt/archives/*.deb
  (cd "$root" && find . -print0 | cpio --null -o -H newc --quiet) >"$1"
  rm -rf --one-file-system "$root"
)

# The one-time part: packages, kernel, module, root file system. Returns 1
# where qemu cannot be installed, the one condition under which a caller
# may skip instead of failing.
board_setup() {
  ensure_host_packages || return 1
  mkdir -p "$CACHE_DIR"
  ensure_kernel
  ensure_module
  ensure_rootfs
}

# build_image JOB OUT [FILE...]: the cached root file system followed by a
# small archive with the board module, the guest scripts, the pin-control
# stand-in and FILEs (the packages and the client checks' front-end, or a
# zel_exec binary) under /board/run;
# JOB becomes /board/job, the script /init runs after the board's start-up,
# and /board/layout names LAYOUT and the commands it serves.
# Runs in a subshell for its umask: the tool refuses a group-writable /etc.
build_image() (
  umask 022
  local job=$1 out=$2 root
  shift 2
  root=$(mktemp -d)
  chmod 0755 "$root"
  mkdir -p "$root"/usr/bin "$root"/board/run
  install -m 0755 "$BOARD_DIR/guest/pinctrl" "$root/usr/bin/pinctrl"
  install -m 0755 "$BOARD_DIR/guest/init" "$root/init"
  install -m 0644 "$BOARD_DIR"/guest/*.sh "$MODULE_KO" "$root/board/"
  install -m 0644 "$job" "$root/board/job"
  echo "$LAYOUT $LAYOUT_COMMANDS" >"$root/board/layout"
  (($# == 0)) || install -m 0644 "$@" "$root/board/run/"
  # The kernel unpacks the archives in turn, later files over earlier ones.
  {
    cat "$ROOTFS_CPIO"
    (cd "$root" && find . ! -name . -print0 | cpio --null -o -H newc -R 0:0 --quiet)
  } >"$out"
  rm -rf "$root"
)

# boot INITRAMFS CONSOLE_LOG: runs the board until the guest hands over its
# verdict, a line "@@verdict P" or "@@verdict F" on the console before it
# powers off. Returns 0 for a pass, 1 for a fail, 2 when the guest gave none.
boot() {
  local rc=0
  timeout -k 10 "$BOOT_TIMEOUT" "$QEMU" "${QEMU_ARGS[@]}" -smp 1 -m 1024 \
    -nodefaults -display none -serial stdio -no-reboot \
    -kernel "$VMLINUZ" -initrd "$1" -append "$KERNEL_CMDLINE panic=-1 ${BOARD_QUIET-quiet}" \
    </dev/null >"$2.raw" 2>"$2.qemu" || rc=$?
  tr -d '\r' <"$2.raw" >"$2"
  case $(grep -a '^@@verdict [PF]$' "$2" | tail -n 1) in
    '@@verdict P') return 0 ;;
    '@@verdict F') return 1 ;;
  esac
  case $rc in
    124 | 137) log "board did not finish within $BOOT_TIMEOUT s" ;;
    *) log "board ended without a verdict (qemu status $rc)" ;;
  esac
  [[ -s $2.qemu ]] && log "qemu: $(tail -n 5 "$2.qemu")"
  return 2
}

# Seconds since an earlier now(), one decimal.
now() { date +%s.%N; }
since() { awk -v a="$1" -v b="$(now)" 'BEGIN { printf "%.1f", b - a }'; }
