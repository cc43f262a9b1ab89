# SPDX-License-Identifier: GPL-2.0-or-later
#
# What --version tells, as the header horad_build.h.  No date and no folder: the
# same sources give the same program.
#
# Included by horad/CMakeLists.txt, and run as a script (cmake -P) in every build,
# because the revision changes without a change to any file of the build.
if(CMAKE_SCRIPT_MODE_FILE)
  # An exported tree has no history: its packager names the revision.
  if(revision STREQUAL "" AND EXISTS ${source}/.git)
    # Root may build a user's clone.
    execute_process(COMMAND git -c safe.directory=${source} -C ${source} describe --always --dirty --abbrev=12
      OUTPUT_VARIABLE revision OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  endif()
  if(revision STREQUAL "")
    set(revision unknown)
  endif()
  # Written only when something changed.
  configure_file(${CMAKE_CURRENT_LIST_DIR}/horad_build.h.in ${header} @ONLY)
  return()
endif()

set(HORAD_REVISION "" CACHE STRING "The source's revision (default: what git says)")

add_custom_target(build_info
  COMMAND ${CMAKE_COMMAND}
    -D source=${PROJECT_SOURCE_DIR}
    -D revision=${HORAD_REVISION}
    -D version=${PROJECT_VERSION}
    -D target=${CMAKE_SYSTEM_PROCESSOR}
    -D "compiler=${CMAKE_CXX_COMPILER_ID} ${CMAKE_CXX_COMPILER_VERSION}"
    -D build_type=${CMAKE_BUILD_TYPE}
    -D frr_version=${frr_version}
    -D header=${CMAKE_CURRENT_BINARY_DIR}/horad_build.h
    -P ${CMAKE_CURRENT_LIST_FILE}
  BYPRODUCTS ${CMAKE_CURRENT_BINARY_DIR}/horad_build.h
  VERBATIM
)
