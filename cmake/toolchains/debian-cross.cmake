# SPDX-FileCopyrightText: 2026 The zel_exec developers
# SPDX-License-Identifier: MIT
# Shared part of the board toolchains: Debian's cross compilers for ZEL_TARGET_TRIPLET, and qemu-user
# so that ctest can run the target's test binaries on the build machine.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${ZEL_TARGET_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${ZEL_TARGET_TRIPLET}-g++)

# Debian's cross packages keep the target's headers and libraries here; no sysroot is set, because
# the compilers already know this layout. Looking anywhere else would pick up build-machine libraries.
set(CMAKE_FIND_ROOT_PATH /usr/${ZEL_TARGET_TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# -L lets qemu find the target's dynamic loader and libraries without binfmt_misc.
find_program(ZEL_QEMU_USER NAMES qemu-${ZEL_QEMU_ARCH}-static qemu-${ZEL_QEMU_ARCH})
if(ZEL_QEMU_USER)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${ZEL_QEMU_USER} -L /usr/${ZEL_TARGET_TRIPLET})
endif()
