# SPDX-FileCopyrightText: 2026 The zel_exec developers
# SPDX-License-Identifier: MIT
# 32-bit ARM boards (Debian armhf): needs g++-arm-linux-gnueabihf, and qemu-user-static to run the tests.
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(ZEL_TARGET_TRIPLET arm-linux-gnueabihf)
set(ZEL_QEMU_ARCH arm)
set(ZEL_DEB_ARCHITECTURE armhf)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
