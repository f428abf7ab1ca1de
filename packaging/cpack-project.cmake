# SPDX-FileCopyrightText: 2026 The zel_exec developers
# SPDX-License-Identifier: MIT
# Read by cpack before it packs. Time stamps are what made two packages of the same sources differ:
# the archive members take theirs from SOURCE_DATE_EPOCH, so when the builder has not set it, it is
# the time of the last commit, or outside a git checkout the date of the changelog's latest entry.
# Either way it is fixed by the sources, and so is every byte of the package.
if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
  set(zel_epoch "")
  find_program(ZEL_GIT git)
  set(zel_epoch_from "the last commit")
  if(ZEL_GIT AND EXISTS "${CPACK_ZEL_SOURCE_DIR}/.git")
    execute_process(COMMAND "${ZEL_GIT}" log -1 --format=%ct WORKING_DIRECTORY "${CPACK_ZEL_SOURCE_DIR}"
                    OUTPUT_VARIABLE zel_epoch OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  endif()
  if(NOT zel_epoch MATCHES "^[0-9]+$")
    set(zel_epoch_from "the changelog")
    execute_process(COMMAND dpkg-parsechangelog -l "${CPACK_ZEL_SOURCE_DIR}/packaging/changelog" -S Timestamp
                    OUTPUT_VARIABLE zel_epoch OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  endif()
  message(STATUS "SOURCE_DATE_EPOCH=${zel_epoch}, from ${zel_epoch_from}")
  set(ENV{SOURCE_DATE_EPOCH} "${zel_epoch}")
endif()
