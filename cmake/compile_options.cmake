# SPDX-License-Identifier: GPL-2.0-or-later
#
# How our own code is compiled: `horad_options`.  What is installed is linked with
# `horad_hardening` as well, what runs inside the daemon with `horad_daemon_options`, the
# unit tests with `horad_test_options`.
include_guard()

add_library(horad_options INTERFACE)
target_compile_options(horad_options INTERFACE
  -Wall -Wextra -Wconversion -Wshadow -Wformat-security
  # gcc leaves signs out of -Wconversion.
  $<$<COMPILE_LANG_AND_ID:CXX,Clang>:-Wno-sign-conversion>
  $<$<COMPILE_LANG_AND_ID:CXX,Clang>:-Wreserved-identifier>
  # A record names the fields that it sets; the others are zero.
  -Wno-missing-field-initializers
  # The same floating-point results on every machine.
  -ffp-contract=off
)

# No path of the builder's in __FILE__ (seen in libfrr's log references) and in the debug
# information.  The compiler follows links in a header's name when that makes it shorter,
# hence both names of a folder.  Of two that fit the later one counts.
foreach(folder ${frr_prefix} ${CMAKE_SYSROOT})
  file(REAL_PATH ${folder} real_folder)
  cmake_path(RELATIVE_PATH folder BASE_DIRECTORY ${CMAKE_SOURCE_DIR} OUTPUT_VARIABLE shown_folder)
  target_compile_options(horad_options INTERFACE -ffile-prefix-map=${real_folder}=${shown_folder})
endforeach()
file(REAL_PATH ${CMAKE_SOURCE_DIR} real_folder)
target_compile_options(horad_options INTERFACE
  -ffile-prefix-map=${real_folder}/= -ffile-prefix-map=${CMAKE_SOURCE_DIR}/=)

if(HORAD_COVERAGE)
  # The counts of all processes of a program are added up in one file, as they
  # happen: those of a killed process count, too.  Where two count at once one may be
  # lost, but what has run is not 0 any more.
  target_compile_options(horad_options INTERFACE
    -fprofile-instr-generate=${CMAKE_BINARY_DIR}/counts/%c%m.profraw -fcoverage-mapping
    -fprofile-list=${CMAKE_SOURCE_DIR}/cmake/counted_files.txt
    "SHELL:-mllvm -runtime-counter-relocation")
  target_link_options(horad_options INTERFACE -fprofile-instr-generate)
  # All that valgrind can read of clang's.
  add_compile_options(-gdwarf-4)
endif()

if(HORAD_SANITIZE)
  target_compile_options(horad_options INTERFACE
    -fsanitize=${HORAD_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(horad_options INTERFACE -fsanitize=${HORAD_SANITIZE})
endif()

add_library(horad_hardening INTERFACE)
if(NOT HORAD_SANITIZE AND NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
  target_compile_options(horad_hardening INTERFACE
    -fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
  target_link_options(horad_hardening INTERFACE -Wl,-z,relro,-z,now)
endif()

# It throws nothing: so the daemon does not load C++'s run-time library, which takes a
# hundred kB and half a millisecond of its start.
add_library(horad_daemon_options INTERFACE)
target_compile_options(horad_daemon_options INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions>)
target_link_libraries(horad_daemon_options INTERFACE horad_options horad_hardening)

# What tells a fuzzer where it has been slows down compiling and running: only what is fuzzed
# has it.
if(HORAD_FUZZERS)
  target_compile_options(horad_daemon_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

# Not optimised: compiling the unit tests is most of a build.  What they test is optimised.
add_library(horad_test_options INTERFACE)
target_compile_options(horad_test_options INTERFACE -O0)
target_link_libraries(horad_test_options INTERFACE horad_options)
