# SPDX-FileCopyrightText: 2026 The zel_exec developers
# SPDX-License-Identifier: MIT
# Run by CPack on its staging tree before it packs it. CPack makes the tree's top directories
# itself, under the builder's umask; every directory of the package is 0755 whatever that umask.
file(GLOB_RECURSE staged LIST_DIRECTORIES true "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*")
foreach(path IN LISTS staged)
  if(IS_DIRECTORY "${path}" AND NOT IS_SYMLINK "${path}")
    file(CHMOD "${path}" PERMISSIONS
         OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
  endif()
endforeach()
