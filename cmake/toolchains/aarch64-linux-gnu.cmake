# SPDX-FileCopyrightText: 2026 The zel_exec developers
# SPDX-License-Identifier: MIT
# 64-bit ARM boards (Debian arm64): needs g++-aarch64-linux-gnu, and qemu-user-static to run the tests.
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(ZEL_TARGET_TRIPLET aarch64-linux-gnu)
set(ZEL_QEMU_ARCH aarch64)
set(ZEL_DEB_ARCHITECTURE arm64)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
