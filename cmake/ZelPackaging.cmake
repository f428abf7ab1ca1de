# SPDX-FileCopyrightText: 2026 The zel_exec developers
# SPDX-License-Identifier: MIT
# What a board gets, as four Debian packages of one source (cpack -G DEB in the build directory):
#   zel-exec           (component tool) the program, its manual pages, the sudoers drop-in; its
#                      postinst makes the group zel and the board's lock file of the client library
#   libzelclient1      (component library) the client library
#   libzelclient-dev   (component development) its header, pkg-config file and manual pages
#   python3-zel-client (component python) the Python module over the library
# Each carries the copyright file and changelog in its own documentation directory.
include(GNUInstallDirs)

# Debian keeps libraries in the multiarch directory of the board's architecture, which the compiler
# names; where it names none, the usual lib.
if(CMAKE_LIBRARY_ARCHITECTURE)
  set(zel_lib_dir lib/${CMAKE_LIBRARY_ARCHITECTURE})
else()
  set(zel_lib_dir ${CMAKE_INSTALL_LIBDIR})
endif()
set(zel_python_dir lib/python3/dist-packages)
set(zel_package_names zel-exec libzelclient1 libzelclient-dev python3-zel-client)
set(zel_components tool library development python)

# The English page reads the same in any locale; the Chinese one shows the help text's own words.
set(zel_pages zel_exec.1 zel_exec.zh_CN.1)
set(zel_page_dirs ${CMAKE_INSTALL_MANDIR}/man1 ${CMAKE_INSTALL_MANDIR}/zh_CN/man1)
set(zel_install_dirs ${CMAKE_INSTALL_BINDIR} ${zel_page_dirs} ${zel_lib_dir}/pkgconfig ${CMAKE_INSTALL_INCLUDEDIR}
    ${CMAKE_INSTALL_MANDIR}/man3 ${zel_python_dir})
foreach(name IN LISTS zel_package_names)
  list(APPEND zel_install_dirs ${CMAKE_INSTALL_DATAROOTDIR}/doc/${name})
endforeach()
# lintian's mistaken tags: a static PIE taken for a shared library, and, in a program that loads
# the C library, fortification taken for missing where it found nothing to check; in the library's
# package, the ldconfig calls that CPack writes. Each file says why.
set(zel_lintian_dir ${CMAKE_INSTALL_DATAROOTDIR}/lintian/overrides)
if(ZEL_STATIC_RUNTIME AND NOT ZEL_SANITIZE AND ZEL_HAS_STATIC_PIE)
  set(zel_lintian_overrides static-pie)
elseif(ZEL_HARDENING AND NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
  set(zel_lintian_overrides fortify)
endif()
list(APPEND zel_install_dirs ${zel_lintian_dir})

# sudo reads drop-ins from /etc/sudoers.d only, and that is where the /usr prefix of the package
# puts this one, as GNUInstallDirs places SYSCONFDIR. Any other prefix keeps the file inside the
# prefix, also one given as "cmake --install --prefix DIR", which is why the choice is made when
# installing: a trial install never reaches the sudo set-up of the machine it runs on.
#
# mkdir leaves the installer's umask on the directories that the install creates, so under umask
# 077 the package and a root file system would get 0700 directories. The directories missing
# before the install are noted first and made 0755 last; those that existed are left alone. Each
# component's install runs this first, so the packages' staging trees get the same.
install(CODE "set(zel_install_dirs \"${zel_install_dirs}\")" ALL_COMPONENTS)
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
]] ALL_COMPONENTS)

install(TARGETS zel_exec RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)
install(TARGETS zelclient
        LIBRARY DESTINATION ${zel_lib_dir} COMPONENT library NAMELINK_COMPONENT development
        PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
# A stripped install (cpack, --strip) also drops the compilers' version notes, which no one reads
# on a board.
foreach(binary IN ITEMS "tool|${CMAKE_INSTALL_BINDIR}/$<TARGET_FILE_NAME:zel_exec>"
                        "library|${zel_lib_dir}/$<TARGET_FILE_NAME:zelclient>")
  string(REPLACE "|" ";" binary "${binary}")
  list(GET binary 0 component)
  list(GET binary 1 path)
  install(CODE "set(zel_strip \"${CMAKE_STRIP}\")
                set(zel_stripped \"${path}\")" COMPONENT ${component})
  install(CODE [[
    if(CMAKE_INSTALL_DO_STRIP)
      cmake_path(ABSOLUTE_PATH zel_stripped BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX})
      execute_process(COMMAND ${zel_strip} --remove-section=.comment "$ENV{DESTDIR}${zel_stripped}"
                      COMMAND_ERROR_IS_FATAL ANY)
    endif()
  ]] COMPONENT ${component})
endforeach()
# The pkg-config file names the prefix the install is made for: the package's /usr, or what
# "cmake --install --prefix" was given.
install(CODE "set(zel_pc_template \"${PROJECT_SOURCE_DIR}/client/zelclient.pc.in\")
              set(zel_pc \"${PROJECT_BINARY_DIR}/packaging/zelclient.pc\")
              set(zel_lib_dir \"${zel_lib_dir}\")
              set(zel_include_dir \"${CMAKE_INSTALL_INCLUDEDIR}\")
              set(PROJECT_VERSION \"${PROJECT_VERSION}\")" COMPONENT development)
install(CODE [[
  configure_file(${zel_pc_template} ${zel_pc} @ONLY)
  file(INSTALL ${zel_pc} DESTINATION ${CMAKE_INSTALL_PREFIX}/${zel_lib_dir}/pkgconfig)
]] COMPONENT development)
install(FILES client/python/zel_client.py DESTINATION ${zel_python_dir} COMPONENT python)

# man-db expects compressed pages; -n leaves the name and time out, so the package is reproducible.
# A library page's other names are links to it, made from its NAME line.
find_program(ZEL_GZIP gzip REQUIRED)
file(GLOB zel_library_pages RELATIVE ${PROJECT_SOURCE_DIR}/client/man ${PROJECT_SOURCE_DIR}/client/man/*.3)
foreach(page IN LISTS zel_library_pages)
  list(APPEND zel_page_sources client/man/${page})
  list(APPEND zel_page_targets ${CMAKE_INSTALL_MANDIR}/man3/${page}.gz)
  list(APPEND zel_page_components development)
  file(READ ${PROJECT_SOURCE_DIR}/client/man/${page} text)
  string(REGEX MATCH "\n\\.SH NAME\n([^\\]*)\\\\-" name_section "${text}")
  string(REGEX REPLACE "[ \n]" "" names "${CMAKE_MATCH_1}")
  string(REPLACE "," ";" names "${names}")
  list(REMOVE_AT names 0)
  foreach(name IN LISTS names)
    list(APPEND zel_page_links "${page}.gz|${CMAKE_INSTALL_MANDIR}/man3/${name}.3.gz")
  endforeach()
endforeach()
foreach(page page_dir IN ZIP_LISTS zel_pages zel_page_dirs)
  list(PREPEND zel_page_sources packaging/${page})
  list(PREPEND zel_page_targets ${page_dir}/zel_exec.1.gz)
  list(PREPEND zel_page_components tool)
endforeach()
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/packaging)
foreach(source target component IN ZIP_LISTS zel_page_sources zel_page_targets zel_page_components)
  cmake_path(GET source FILENAME page)
  set(page_gz ${PROJECT_BINARY_DIR}/packaging/${page}.gz)
  add_custom_command(OUTPUT ${page_gz}
                     COMMAND ${ZEL_GZIP} -9 -n -c ${PROJECT_SOURCE_DIR}/${source} > ${page_gz}
                     DEPENDS ${PROJECT_SOURCE_DIR}/${source}
                     VERBATIM)
  list(APPEND zel_pages_gz ${page_gz})
  cmake_path(GET target PARENT_PATH target_dir)
  cmake_path(GET target FILENAME target_name)
  install(FILES ${page_gz} DESTINATION ${target_dir} RENAME ${target_name} COMPONENT ${component})
endforeach()
add_custom_target(zel_manpages ALL DEPENDS ${zel_pages_gz})
install(CODE "set(zel_page_links \"${zel_page_links}\")" COMPONENT development)
install(CODE [[
  foreach(link IN LISTS zel_page_links)
    string(REPLACE "|" ";" link "${link}")
    list(GET link 0 page)
    list(GET link 1 name)
    cmake_path(ABSOLUTE_PATH name BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX})
    file(CREATE_LINK ${page} "$ENV{DESTDIR}${name}" SYMBOLIC)
  endforeach()
]] COMPONENT development)

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
foreach(name component IN ZIP_LISTS zel_package_names zel_components)
  install(FILES ${zel_copyright} ${zel_changelog_gz} DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${name}
          COMPONENT ${component})
endforeach()
if(zel_lintian_overrides)
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/lintian-overrides-${zel_lintian_overrides}
          DESTINATION ${zel_lintian_dir} RENAME zel-exec COMPONENT tool)
endif()
install(FILES ${PROJECT_SOURCE_DIR}/packaging/lintian-overrides-library
        DESTINATION ${zel_lintian_dir} RENAME libzelclient1 COMPONENT library)

install(CODE "set(zel_sudoers_file \"${PROJECT_SOURCE_DIR}/packaging/zel_exec.sudoers\")" COMPONENT tool)
install(CODE [[
  file(INSTALL ${zel_sudoers_file} DESTINATION ${zel_sudoers_dir} RENAME zel_exec
       PERMISSIONS OWNER_READ GROUP_READ)
]] COMPONENT tool)
# Of the directories noted, those that this component's install made.
install(CODE [[
  foreach(dir IN LISTS zel_new_dirs)
    if(IS_DIRECTORY "${dir}")
      file(CHMOD "${dir}" DIRECTORY_PERMISSIONS
           OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
    endif()
  endforeach()
]] ALL_COMPONENTS)

set(ZEL_PACKAGE_MAINTAINER "zel_exec maintainers <zel-exec@example.invalid>"
    CACHE STRING "Maintainer field of the Debian packages")

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL ${zel_components})
set(CPACK_PACKAGE_NAME zel-exec)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/staging-modes.cmake)
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_SOURCE_DIR}/packaging/cpack-project.cmake)
set(CPACK_ZEL_SOURCE_DIR ${PROJECT_SOURCE_DIR})
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${ZEL_PACKAGE_MAINTAINER})
set(CPACK_DEBIAN_PACKAGE_SOURCE zel-exec)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
foreach(name component IN ZIP_LISTS zel_package_names zel_components)
  string(TOUPPER ${component} component)
  set(CPACK_DEBIAN_${component}_PACKAGE_NAME ${name})
endforeach()

# CPack indents the lines of the long descriptions as the control file needs; the first line of
# each is the package's summary.
string(CONCAT CPACK_DEBIAN_TOOL_DESCRIPTION
       "privileged hardware command tool for embedded Linux boards\n"
       "zel_exec drives the fans, the screen brightness, a vibration motor and two\n"
       "device power lines of a board through sysfs, a GPIO character device and\n"
       "the board's pin-control program, and saves three small settings files\n"
       "under /etc. An unprivileged front-end starts it through sudo -n. The\n"
       "sudoers drop-in lets the members of the group zel do so, and nothing else.")
set(zel_client_summary
    "The client runs batches of zel_exec commands through sudo one call at a\n"
    "time per board, retries a settings file's lock refusal without repeating\n"
    "what ran, stops a call at its deadline without leaving a motor on or a\n"
    "file empty, and reports a typed outcome.")
string(CONCAT CPACK_DEBIAN_LIBRARY_DESCRIPTION
       "front-end client library for zel_exec\n" ${zel_client_summary})
string(CONCAT CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
       "front-end client library for zel_exec - development files\n" ${zel_client_summary}
       "\nThis package holds the header, the pkg-config file and the manual pages.")
string(CONCAT CPACK_DEBIAN_PYTHON_DESCRIPTION
       "front-end client for zel_exec - Python 3 module\n" ${zel_client_summary}
       "\nThis package holds the module zel_client, which calls the C library.")

set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION admin)
# The front-end goes through sudo, but root may run the tool directly, so sudo is not a hard need.
set(CPACK_DEBIAN_TOOL_PACKAGE_RECOMMENDS sudo)
# The postinst makes the group with groupadd, and passwd is not an essential package. CPack puts
# this before what dpkg-shlibdeps finds.
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS passwd)
set(CPACK_DEBIAN_TOOL_PACKAGE_SHLIBDEPS ON)
# dpkg keeps an administrator's edits of the drop-in across upgrades; postinst makes the group and
# the board's lock, postrm removes the lock on purge.
set(CPACK_DEBIAN_TOOL_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/conffiles
    ${PROJECT_SOURCE_DIR}/packaging/postinst ${PROJECT_SOURCE_DIR}/packaging/postrm)

set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SHLIBDEPS ON)
# The symbols file lists what the library promises, each function from the version that brought
# it; the shlibs file asks for this version or later. ldconfig runs through dpkg's trigger.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/libzelclient1/symbols
    ${PROJECT_SOURCE_DIR}/packaging/libzelclient1/triggers)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libzelclient1 (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "python3, libzelclient1 (>= ${PROJECT_VERSION})")

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
