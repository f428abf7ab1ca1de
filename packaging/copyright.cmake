# SPDX-FileCopyrightText: 2026 The zel_exec developers
# SPDX-License-Identifier: MIT
# Writes the package's copyright file, in Debian's machine-readable format, from the licensing
# data that "reuse lint" checks: the SPDX header of each file, .reuse/dep5 for the files that
# cannot carry one, and the licence texts of LICENSES/. Nothing about licences is written twice.
#   cmake -D SOURCE_DIR=... -D OUTPUT=... -P copyright.cmake
# The licence shared by most files becomes "Files: *"; each other file gets a paragraph of its
# own, then come the paragraphs of .reuse/dep5 and one licence paragraph per licence named.
cmake_minimum_required(VERSION 3.25)

# The tags are put together so that this file's own header is the only one reuse finds here.
string(CONCAT licence_tag "SPDX-License-" "Identifier: ")
string(CONCAT copyright_tag "SPDX-File" "CopyrightText: ")

# The files of the checkout, as reuse sees them; where git cannot list them (no git, or a checkout
# it refuses to read), every file but those of build trees.
find_program(ZEL_GIT git)
set(status 1)
if(ZEL_GIT AND EXISTS "${SOURCE_DIR}/.git")
  execute_process(COMMAND "${ZEL_GIT}" -c core.quotePath=false ls-files
                  WORKING_DIRECTORY "${SOURCE_DIR}" OUTPUT_VARIABLE files RESULT_VARIABLE status
                  OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  string(REPLACE "\n" ";" files "${files}")
endif()
if(NOT status EQUAL 0)
  file(GLOB_RECURSE files RELATIVE "${SOURCE_DIR}" "${SOURCE_DIR}/*")
  file(GLOB_RECURSE caches RELATIVE "${SOURCE_DIR}" "${SOURCE_DIR}/*/CMakeCache.txt")
  list(FILTER files EXCLUDE REGEX "^\\.git/")
  foreach(cache IN LISTS caches)
    cmake_path(GET cache PARENT_PATH tree)
    list(FILTER files EXCLUDE REGEX "^${tree}/")
  endforeach()
endif()
list(SORT files)

# Groups the files by "copyright|licence"; a header's comment closer is not part of it.
set(groups "")
foreach(file IN LISTS files)
  if(IS_SYMLINK "${SOURCE_DIR}/${file}" OR NOT EXISTS "${SOURCE_DIR}/${file}")
    continue()
  endif()
  file(STRINGS "${SOURCE_DIR}/${file}" header LIMIT_COUNT 2 REGEX "(${licence_tag}|${copyright_tag})")
  set(licence "")
  set(copyright "")
  foreach(line IN LISTS header)
    string(STRIP "${line}" line)
    string(REGEX REPLACE "[ \t]*(\\*/|-->)$" "" line "${line}")
    if(line MATCHES "${licence_tag}(.+)$")
      set(licence "${CMAKE_MATCH_1}")
    elseif(line MATCHES "${copyright_tag}(.+)$")
      set(copyright "${CMAKE_MATCH_1}")
    endif()
  endforeach()
  if(licence STREQUAL "" OR copyright STREQUAL "")
    continue()
  endif()
  string(MAKE_C_IDENTIFIER "${copyright}|${licence}" key)
  if(NOT DEFINED group_${key})
    list(APPEND groups ${key})
    set(group_${key}_copyright "${copyright}")
    set(group_${key}_licence "${licence}")
  endif()
  list(APPEND group_${key} "${file}")
endforeach()
if(NOT groups)
  message(FATAL_ERROR "no file of ${SOURCE_DIR} has an SPDX header")
endif()

set(common "")
set(common_count 0)
foreach(key IN LISTS groups)
  list(LENGTH group_${key} count)
  if(count GREATER common_count)
    set(common ${key})
    set(common_count ${count})
  endif()
endforeach()

# .reuse/dep5 is already in this format: its header paragraph heads the file, its file paragraphs
# follow those of the headers.
file(READ "${SOURCE_DIR}/.reuse/dep5" dep5)
string(REGEX REPLACE "\n\n+" ";" paragraphs "${dep5}")
list(POP_FRONT paragraphs head)
string(APPEND text "${head}\n")
set(licences ${group_${common}_licence})
string(APPEND text "\nFiles: *\nCopyright: ${group_${common}_copyright}\nLicense: ${group_${common}_licence}\n")
foreach(key IN LISTS groups)
  if(NOT key STREQUAL common)
    list(JOIN group_${key} "\n " names)
    string(APPEND text "\nFiles: ${names}\nCopyright: ${group_${key}_copyright}\nLicense: ${group_${key}_licence}\n")
    list(APPEND licences ${group_${key}_licence})
  endif()
endforeach()
foreach(paragraph IN LISTS paragraphs)
  string(STRIP "${paragraph}" paragraph)
  string(APPEND text "\n${paragraph}\n")
  if(paragraph MATCHES "\nLicense: ([^\n]+)")
    list(APPEND licences ${CMAKE_MATCH_1})
  endif()
endforeach()

# Debian keeps the GPL's text in /usr/share/common-licenses and wants it referred to, not copied.
# Other texts go in whole, without the title and the copyright template line of SPDX's version.
list(REMOVE_DUPLICATES licences)
list(SORT licences)
foreach(licence IN LISTS licences)
  string(APPEND text "\nLicense: ${licence}\n")
  if(licence STREQUAL "GPL-2.0-only")
    string(APPEND text
           " This program is free software; you can redistribute it and/or modify it under\n"
           " the terms of the GNU General Public License version 2 as published by the\n"
           " Free Software Foundation.\n"
           " .\n"
           " On Debian systems, the complete text of the GNU General Public License\n"
           " version 2 can be found in \"/usr/share/common-licenses/GPL-2\".\n")
    continue()
  endif()
  set(licence_file "${SOURCE_DIR}/LICENSES/${licence}.txt")
  if(NOT EXISTS "${licence_file}")
    message(FATAL_ERROR "no text for the licence ${licence}: ${licence_file} is missing")
  endif()
  file(READ "${licence_file}" body)
  string(REGEX REPLACE "^[^\n]*License\n\nCopyright \\(c\\) <year>[^\n]*\n\n" "" body "${body}")
  string(STRIP "${body}" body)
  string(REGEX REPLACE "\n\n+" "\n.\n" body "${body}")
  string(REPLACE "\n" "\n " body "${body}")
  string(APPEND text " ${body}\n")
endforeach()

# Rewritten only when it changes, so that an unchanged build installs nothing new.
if(EXISTS "${OUTPUT}")
  file(READ "${OUTPUT}" old)
  if(old STREQUAL text)
    return()
  endif()
endif()
file(WRITE "${OUTPUT}" "${text}")
