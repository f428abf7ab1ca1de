# shellcheck shell=bash
# Shared by board/e2e and board/try: host set-up, image building and booting
# of the simulated board. Sourced, not run.

# The one place the guest kernel is pinned. Image, headers and the module
# built against them must agree on this ABI, or the module will not load.
readonly KERNEL_ABI=6.12.117+deb12
readonly KERNEL_FLAVOUR=amd64

BOARD_DIR=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
readonly BOARD_DIR
# Outside the work tree, so that fresh clones (CI) reuse the kernel download.
readonly CACHE_DIR=${ZEL_BOARD_CACHE:-/var/cache/zel-board}
readonly KERNEL_RELEASE=$KERNEL_ABI-$KERNEL_FLAVOUR
readonly KERNEL_ROOT=$CACHE_DIR/kernel-$KERNEL_RELEASE
readonly VMLINUZ=$KERNEL_ROOT/boot/vmlinuz-$KERNEL_RELEASE
readonly KERNEL_HEADERS=$KERNEL_ROOT/usr/src/linux-headers-$KERNEL_RELEASE
readonly MODULE_BUILD=$CACHE_DIR/module-$KERNEL_RELEASE
readonly MODULE_KO=$MODULE_BUILD/zel_board.ko

# Host packages the board needs, keyed by a file each one provides.
readonly -a HOST_NEEDS=(
  /usr/bin/qemu-system-x86_64:qemu-system-x86
  /bin/busybox:busybox-static
  /usr/bin/gpiofind:gpiod
  /usr/bin/cpio:cpio
  /usr/bin/make:make
  /usr/bin/x86_64-linux-gnu-gcc-12:gcc-12
  /usr/bin/pahole:pahole
)

# What the guest verdict byte on the isa-debug-exit port turns into:
# qemu exits with (byte << 1) | 1.
readonly VERDICT_PASS=$(( (0x50 << 1) | 1 )) # guest wrote 'P'
readonly VERDICT_FAIL=$(( (0x46 << 1) | 1 )) # guest wrote 'F'

# Upper bound for one boot, tests included; a healthy run takes seconds.
readonly BOOT_TIMEOUT=${ZEL_BOARD_TIMEOUT:-180}

export DEBIAN_FRONTEND=noninteractive

log() { printf 'board: %s\n' "$*" >&2; }
die() { printf 'board: error: %s\n' "$*" >&2; exit 1; }

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
  [[ -x /usr/bin/qemu-system-x86_64 ]] || return 1
  for entry in "${HOST_NEEDS[@]}"; do
    [[ -x ${entry%%:*} ]] || die "${entry%%:*} still missing after installing ${entry#*:}"
  done
}

# Downloads with apt-get and unpacks without installing: installing the
# headers package would pull the image onto the host and rebuild its
# initramfs. Only the kernel image and its config are kept from the image
# package; the guest needs no loadable module but ours.
ensure_kernel() {
  [[ -f $VMLINUZ && -f $KERNEL_HEADERS/Makefile && -f $KERNEL_ROOT/.complete ]] && return 0
  local debs=$CACHE_DIR/debs
  local -a pkgs=(
    "linux-image-$KERNEL_RELEASE"
    "linux-headers-$KERNEL_RELEASE"
    "linux-headers-$KERNEL_ABI-common"
    "linux-kbuild-$KERNEL_ABI"
  )
  rm -rf "$debs" "$KERNEL_ROOT"
  mkdir -p "$debs" "$KERNEL_ROOT"
  log "downloading kernel $KERNEL_RELEASE"
  if ! (cd "$debs" && timeout 600 apt-get download -q "${pkgs[@]}" >/dev/null 2>&1); then
    apt_update_once || die "apt-get update failed"
    (cd "$debs" && timeout 600 apt-get download -q "${pkgs[@]}" >/dev/null) ||
      die "could not download ${pkgs[*]}"
  fi
  local deb
  for deb in "$debs"/*.deb; do
    case $deb in
      */linux-image-*)
        dpkg-deb --fsys-tarfile "$deb" |
          tar -x -C "$KERNEL_ROOT" --wildcards './boot/vmlinuz-*' './boot/config-*' ;;
      *) dpkg-deb -x "$deb" "$KERNEL_ROOT" ;;
    esac
  done
  [[ -f $VMLINUZ ]] || die "no kernel image in linux-image-$KERNEL_RELEASE"
  [[ -f $KERNEL_HEADERS/Makefile ]] || die "no headers tree at $KERNEL_HEADERS"
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
  log "building the board module"
  make -s -C "$KERNEL_HEADERS" M="$MODULE_BUILD" modules >"$MODULE_BUILD/build.log" 2>&1 || {
    cat "$MODULE_BUILD/build.log" >&2
    rm -f "$MODULE_KO"
    die "module build failed"
  }
  [[ -f $MODULE_KO ]] || die "module build produced no $MODULE_KO"
}

# The one-time part: packages, kernel, module. Exits 0 with a skip line
# where qemu cannot be installed.
board_setup() {
  if ! ensure_host_packages; then
    echo "SKIP: simulated board: qemu-system-x86 cannot be installed on this machine"
    exit 0
  fi
  ensure_kernel
  ensure_module
}

# Copies a dynamically linked program and the libraries it loads to the same
# paths under the image root.
copy_program() {
  local src=$1 dst=$2 root=$3 libs lib
  install -D -m 0755 "$src" "$root$dst"
  libs=$(ldd "$src" 2>&1) || {
    [[ $libs == *"not a dynamic executable"* ]] && return 0
    die "ldd $src: $libs"
  }
  [[ $libs != *"not found"* ]] || die "$src needs libraries this host lacks: $libs"
  for lib in $(awk '$2 == "=>" && $3 ~ /^\// {print $3} $1 ~ /^\// {print $1}' <<<"$libs"); do
    [[ -e $root$lib ]] && continue
    mkdir -p "$root$(dirname "$lib")"
    cp -L "$lib" "$root$lib"
  done
}

# build_image ZEL_EXEC JOB OUT: a newc initramfs with busybox, the board
# module and guest scripts, gpiofind, the pin-control stand-in and zel_exec;
# JOB becomes /board/job, the script /init runs after the board's start-up.
# Runs in a subshell for its umask: the tool refuses a group-writable /etc.
build_image() (
  umask 022
  local zel=$1 job=$2 out=$3 root
  root=$(mktemp -d)
  chmod 0755 "$root"
  mkdir -p "$root"/usr/{bin,sbin,lib,lib64} "$root"/{board,dev,etc,proc,run,sys,tmp}
  ln -s usr/bin "$root/bin"
  ln -s usr/sbin "$root/sbin"
  ln -s usr/lib "$root/lib"
  ln -s usr/lib64 "$root/lib64"
  # /init installs the other applets itself, in one call instead of hundreds.
  copy_program /bin/busybox /usr/bin/busybox "$root"
  ln -s busybox "$root/usr/bin/sh"
  copy_program /usr/bin/gpiofind /usr/bin/gpiofind "$root"
  copy_program "$zel" /usr/bin/zel_exec "$root"
  install -m 0755 "$BOARD_DIR/guest/pinctrl" "$root/usr/bin/pinctrl"
  install -m 0755 "$BOARD_DIR/guest/init" "$root/init"
  install -m 0644 "$BOARD_DIR"/guest/*.sh "$MODULE_KO" "$root/board/"
  install -m 0644 "$job" "$root/board/job"
  chmod 1777 "$root/tmp"
  (cd "$root" && find . -print0 | cpio --null -o -H newc -R 0:0 --quiet) >"$out"
  rm -rf "$root"
)

# boot INITRAMFS CONSOLE_LOG: runs the board until the guest hands over its
# verdict. Returns 0 for a pass, 1 for a fail, 2 when the guest gave none.
boot() {
  local rc=0
  timeout -k 10 "$BOOT_TIMEOUT" qemu-system-x86_64 \
    -accel tcg -smp 1 -m 512 -cpu max \
    -nodefaults -display none -serial stdio -no-reboot \
    -device isa-debug-exit,iobase=0xf4,iosize=0x04 \
    -kernel "$VMLINUZ" -initrd "$1" \
    -append "console=ttyS0 panic=-1 quiet initcall_blacklist=acpi_processor_driver_init" \
    </dev/null >"$2.raw" 2>"$2.qemu" || rc=$?
  tr -d '\r' <"$2.raw" >"$2"
  case $rc in
    "$VERDICT_PASS") return 0 ;;
    "$VERDICT_FAIL") return 1 ;;
    124 | 137) log "board did not finish within $BOOT_TIMEOUT s" ;;
    *) log "board ended without a verdict (qemu status $rc)" ;;
  esac
  [[ -s $2.qemu ]] && log "qemu: $(tail -n 5 "$2.qemu")"
  return 2
}

# Seconds since an earlier now(), one decimal.
now() { date +%s.%N; }
since() { awk -v a="$1" -v b="$(now)" 'BEGIN { printf "%.1f", b - a }'; }
