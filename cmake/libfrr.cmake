# SPDX-License-Identifier: GPL-2.0-or-later
#
# libfrr and what its headers pull in, as the target `libfrr`.
# HORAD_FRR_PREFIX (cache variable or environment) names another build of it.
include_guard()
include(link_to)

set(HORAD_FRR_PREFIX "" CACHE PATH "Where libfrr is installed")
# The environment's is remembered for builds that configure anew by themselves, until the
# preset, which names the project's own, is asked for without it.
if(DEFINED ENV{HORAD_FRR_PREFIX} AND NOT CMAKE_CROSSCOMPILING)
  set_property(CACHE HORAD_FRR_PREFIX PROPERTY VALUE $ENV{HORAD_FRR_PREFIX})
endif()
if(HORAD_FRR_PREFIX)
  set(frr_prefix ${HORAD_FRR_PREFIX})
else()
  set(frr_prefix ${CMAKE_SOURCE_DIR}/build/deps/frr)
endif()

find_path(frr_headers libfrr.h PATHS ${frr_prefix}/include/frr
  NO_CACHE NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
find_library(frr_library frr PATHS ${frr_prefix}
  PATH_SUFFIXES lib lib/${CMAKE_LIBRARY_ARCHITECTURE}
  NO_CACHE NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
if(NOT frr_headers OR NOT frr_library)
  message(FATAL_ERROR "no libfrr in ${frr_prefix}: run tools/setup (for the preset arm64 with --arm64), "
    "or set HORAD_FRR_PREFIX")
endif()
if(NOT EXISTS ${frr_headers}/config.h)
  message(FATAL_ERROR "no config.h in ${frr_headers}: libfrr does not install it; copy it there "
    "from the folder libfrr was built in")
endif()
# Some headers include others as "lib/NAME.h".
set(frr_include_dirs ${frr_headers})
if(NOT EXISTS ${frr_headers}/lib)
  file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/frr_headers)
  link_to(${frr_headers} ${CMAKE_BINARY_DIR}/frr_headers/lib)
  list(APPEND frr_include_dirs ${CMAKE_BINARY_DIR}/frr_headers)
endif()
file(STRINGS ${frr_headers}/version.h frr_version REGEX "^#define FRR_VERSION ")
string(REGEX REPLACE "[^\"]*\"([^\"]*)\".*" "\\1" frr_version "${frr_version}")
message(STATUS "libfrr ${frr_version}: ${frr_library}")

find_package(PkgConfig REQUIRED)
pkg_check_modules(JSON_C REQUIRED IMPORTED_TARGET json-c)
pkg_check_modules(LIBYANG REQUIRED IMPORTED_TARGET libyang)

add_library(libfrr INTERFACE IMPORTED)
target_include_directories(libfrr SYSTEM INTERFACE ${frr_include_dirs})
target_compile_definitions(libfrr INTERFACE HAVE_CONFIG_H)
target_link_libraries(libfrr INTERFACE ${frr_library} PkgConfig::JSON_C)
# Only headers: the daemon calls nothing of libyang itself.
target_include_directories(libfrr SYSTEM INTERFACE ${LIBYANG_INCLUDE_DIRS})
