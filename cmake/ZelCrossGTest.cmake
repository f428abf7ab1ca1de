# SPDX-FileCopyrightText: 2026 The zel_exec developers
# SPDX-License-Identifier: MIT
# Debian's libgtest-dev holds build-machine libraries only, so a cross build compiles GoogleTest from
# the sources that Debian's googletest package installs, with the target's compiler.
find_package(GTest QUIET)
if(NOT GTest_FOUND)
  set(ZEL_GOOGLETEST_SOURCE /usr/src/googletest CACHE PATH "GoogleTest sources to build for the target")
  if(NOT EXISTS ${ZEL_GOOGLETEST_SOURCE}/CMakeLists.txt)
    message(FATAL_ERROR "GoogleTest for the target not found: install Debian's googletest package")
  endif()
  # GoogleTest's own option() would ignore a plain variable, and its files must never reach a package.
  set(INSTALL_GTEST OFF CACHE BOOL "Install GoogleTest with the project" FORCE)
  add_subdirectory(${ZEL_GOOGLETEST_SOURCE} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
endif()
