# SPDX-FileCopyrightText: 2026 The zel_exec developers
# SPDX-License-Identifier: MIT
# What a board gets: the program, its manual pages, the sudoers drop-in, the copyright file and
# changelog, and the Debian package that carries them (cpack -G DEB in the build directory).
include(GNUInstallDirs)

# The English page reads the same in any locale; the Chinese one shows the help text's own words.
set(zel_pages zel_exec.1 zel_exec.zh_CN.1)
set(zel_page_dirs ${CMAKE_INSTALL_MANDIR}/man1 ${CMAKE_INSTALL_MANDIR}/zh_CN/man1)
# Debian's place for the copyright file and changelog is named after the package.
set(zel_doc_dir ${CMAKE_INSTALL_DATAROOTDIR}/doc/zel-exec)
set(zel_install_dirs ${CMAKE_INSTALL_BINDIR} ${zel_page_dirs} ${zel_doc_dir})
# lintian's two mistaken tags: a static PIE taken for a shared library, and, in a program that
# loads the C library, fortification taken for missing where it found nothing to check. Each file
# says why.
set(zel_lintian_dir ${CMAKE_INSTALL_DATAROOTDIR}/lintian/overrides)
if(ZEL_STATIC_RUNTIME AND NOT ZEL_SANITIZE AND ZEL_HAS_STATIC_PIE)
  set(zel_lintian_overrides static-pie)
elseif(ZEL_HARDENING AND NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
  set(zel_lintian_overrides fortify)
endif()
if(zel_lintian_overrides)
  list(APPEND zel_install_dirs ${zel_lintian_dir})
endif()

# sudo reads drop-ins from /etc/sudoers.d only, and that is where the /usr prefix of the package
# puts this one, as GNUInstallDirs places SYSCONFDIR. Any other prefix keeps the file inside the
# prefix, also one given as "cmake --install --prefix DIR", which is why the choice is made when
# installing: a trial install never reaches the sudo set-up of the machine it runs on.
#
# mkdir leaves the installer's umask on the directories that the install creates, so under umask
# 077 the package and a root file system would get 0700 directories. The directories missing
# before the install are noted first and made 0755 last; those that existed are left alone.
install(CODE "set(zel_install_dirs \"${zel_install_dirs}\")")
install(CODE [[
  if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    set(zel_sudoers_dir /etc/sudoers.d)
  else()
    set(zel_sudoers_dir ${CMAKE_INSTALL_PREFIX}/etc/sudoers.d)
  endif()
  set(zel_new_dirs "")
  foreach(dir IN LISTS zel_install_dirs ITEMS ${zel_sudoers_dir})
    cmake_path(ABSOLUTE_PATH dir BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX})
    set(dir "$ENV{DESTDIR}${dir}")
    while(NOT EXISTS "${dir}")
      list(APPEND zel_new_dirs "${dir}")
      cmake_path(GET dir PARENT_PATH dir)
    endwhile()
  endforeach()
]])

install(TARGETS zel_exec RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
# A stripped install (cpack, --strip) also drops the compilers' version notes, which no one reads
# on a board.
install(CODE "set(zel_strip \"${CMAKE_STRIP}\")
              set(zel_program \"${CMAKE_INSTALL_BINDIR}/$<TARGET_FILE_NAME:zel_exec>\")")
install(CODE [[
  if(CMAKE_INSTALL_DO_STRIP)
    cmake_path(ABSOLUTE_PATH zel_program BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX})
    execute_process(COMMAND ${zel_strip} --remove-section=.comment "$ENV{DESTDIR}${zel_program}"
                    COMMAND_ERROR_IS_FATAL ANY)
  endif()
]])

# man-db expects compressed pages; -n leaves the name and time out, so the package is reproducible.
find_program(ZEL_GZIP gzip REQUIRED)
foreach(page page_dir IN ZIP_LISTS zel_pages zel_page_dirs)
  set(page_gz ${PROJECT_BINARY_DIR}/packaging/${page}.gz)
  add_custom_command(OUTPUT ${page_gz}
                     COMMAND ${ZEL_GZIP} -9 -n -c ${PROJECT_SOURCE_DIR}/packaging/${page} > ${page_gz}
                     DEPENDS ${PROJECT_SOURCE_DIR}/packaging/${page}
                     VERBATIM)
  list(APPEND zel_pages_gz ${page_gz})
  install(FILES ${page_gz} DESTINATION ${page_dir} RENAME zel_exec.1.gz)
endforeach()
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/packaging)
add_custom_target(zel_manpages ALL DEPENDS ${zel_pages_gz})

# The copyright file is made anew from the licensing data at each build, as any file's header may
# change it; it is rewritten only when it changes.
set(zel_changelog_gz ${PROJECT_BINARY_DIR}/packaging/changelog.gz)
add_custom_command(OUTPUT ${zel_changelog_gz}
                   COMMAND ${ZEL_GZIP} -9 -n -c ${PROJECT_SOURCE_DIR}/packaging/changelog > ${zel_changelog_gz}
                   DEPENDS ${PROJECT_SOURCE_DIR}/packaging/changelog
                   VERBATIM)
set(zel_copyright ${PROJECT_BINARY_DIR}/packaging/copyright)
add_custom_target(zel_doc ALL
                  COMMAND ${CMAKE_COMMAND} -D SOURCE_DIR=${PROJECT_SOURCE_DIR} -D OUTPUT=${zel_copyright}
                          -P ${PROJECT_SOURCE_DIR}/packaging/copyright.cmake
                  DEPENDS ${zel_changelog_gz}
                  BYPRODUCTS ${zel_copyright}
                  VERBATIM)
install(FILES ${zel_copyright} ${zel_changelog_gz} DESTINATION ${zel_doc_dir})
if(zel_lintian_overrides)
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/lintian-overrides-${zel_lintian_overrides}
          DESTINATION ${zel_lintian_dir} RENAME zel-exec)
endif()

install(CODE "set(zel_sudoers_file \"${PROJECT_SOURCE_DIR}/packaging/zel_exec.sudoers\")")
install(CODE [[
  file(INSTALL ${zel_sudoers_file} DESTINATION ${zel_sudoers_dir} RENAME zel_exec
       PERMISSIONS OWNER_READ GROUP_READ)
  if(zel_new_dirs)
    file(CHMOD ${zel_new_dirs} DIRECTORY_PERMISSIONS
         OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
  endif()
]])

set(ZEL_PACKAGE_MAINTAINER "zel_exec maintainers <zel-exec@example.invalid>"
    CACHE STRING "Maintainer field of the Debian package")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zel-exec)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "privileged hardware command tool for embedded Linux boards")
# CPack indents the lines of the long description as the control file needs.
string(CONCAT CPACK_PACKAGE_DESCRIPTION
       "zel_exec drives the fans, the screen brightness, a vibration motor and two\n"
       "device power lines of a board through sysfs, a GPIO character device and\n"
       "the board's pin-control program, and saves three small settings files\n"
       "under /etc. An unprivileged front-end starts it through sudo -n. The\n"
       "sudoers drop-in lets the members of the group zel do so, and nothing else.")
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/staging-modes.cmake)
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_SOURCE_DIR}/packaging/cpack-project.cmake)
set(CPACK_ZEL_SOURCE_DIR ${PROJECT_SOURCE_DIR})
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${ZEL_PACKAGE_MAINTAINER})
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# The front-end goes through sudo, but root may run the tool directly, so sudo is not a hard need.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS sudo)
# The postinst makes the group with groupadd, and passwd is not an essential package. CPack puts
# this before what dpkg-shlibdeps finds.
set(CPACK_DEBIAN_PACKAGE_DEPENDS passwd)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS OFF)
# dpkg keeps an administrator's edits of the drop-in across upgrades; postinst makes the group.
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/conffiles
    ${PROJECT_SOURCE_DIR}/packaging/postinst)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# dpkg --print-architecture would name the build machine; the board toolchains name the target.
# dpkg-shlibdeps finds the target's C library where Debian's cross packages keep it, and the
# package that provides it on the board from their shlibs files.
if(CMAKE_CROSSCOMPILING AND ZEL_DEB_ARCHITECTURE)
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${ZEL_DEB_ARCHITECTURE})
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS /usr/${ZEL_TARGET_TRIPLET}/lib)
elseif(CMAKE_CROSSCOMPILING)
  message(WARNING "ZEL_DEB_ARCHITECTURE is not set: a Debian package of this build would be labelled "
                  "with the build machine's architecture. The toolchains of cmake/toolchains set it.")
endif()
include(CPack)
