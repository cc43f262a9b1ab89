# SPDX-License-Identifier: GPL-2.0-or-later
#
# What `cmake --install` puts where.  Component "daemon" is what runs, with its
# documents; "headers" is for building code that runs inside the daemon's process.
include(link_to)

# libfrr and the three device libraries are the daemon's own: in a folder that only
# it looks into, beside whatever the system has.
set(private_libraries ${CMAKE_INSTALL_LIBDIR}/horad)
file(RELATIVE_PATH from_daemon ${CMAKE_INSTALL_FULL_SBINDIR} ${CMAKE_INSTALL_FULL_LIBDIR}/horad)
set_target_properties(horad PROPERTIES INSTALL_RPATH "$ORIGIN/${from_daemon}")

install(TARGETS horad RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT daemon)
# Where a libfrr installed with the daemon looks for modules by their names.
install(TARGETS horad_status LIBRARY DESTINATION ${private_libraries}/modules COMPONENT daemon)
install(TARGETS horadctl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT daemon)
install(FILES packaging/horadctl.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
  RENAME horadctl COMPONENT daemon)
# A device has its own ones, and needs no copy of them.
foreach(library cli_helper config_db zone_catalogue)
  get_target_property(is_imported ${library} IMPORTED)
  if(NOT is_imported)
    set_target_properties(${library} PROPERTIES INSTALL_RPATH "$ORIGIN")
    install(TARGETS ${library} LIBRARY DESTINATION ${private_libraries} COMPONENT daemon)
    list(APPEND installed_libraries ${library})
  else()
    set(has_device_library ON)
  endif()
endforeach()
option(HORAD_INSTALL_LIBFRR "Install libfrr with the daemon: a device has one" ON)
if(HORAD_INSTALL_LIBFRR)
  file(REAL_PATH ${frr_library} frr_file)
  install(PROGRAMS ${frr_file} DESTINATION ${private_libraries} RENAME libfrr.so.0 COMPONENT daemon)
endif()

# Where all of these are installed with the daemon, the build folder is laid out in the same
# way: what runs in it, the tests' daemon too, is byte for byte what is installed.
cmake_path(ABSOLUTE_PATH from_daemon BASE_DIRECTORY ${CMAKE_RUNTIME_OUTPUT_DIRECTORY} NORMALIZE
  OUTPUT_VARIABLE as_installed)
cmake_path(IS_PREFIX CMAKE_BINARY_DIR ${as_installed} is_inside)
if(is_inside AND HORAD_INSTALL_LIBFRR AND NOT has_device_library)
  cmake_path(GET as_installed PARENT_PATH parent)
  file(MAKE_DIRECTORY ${parent} ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
  cmake_path(RELATIVE_PATH CMAKE_LIBRARY_OUTPUT_DIRECTORY BASE_DIRECTORY ${parent} OUTPUT_VARIABLE libraries)
  link_to(${libraries} ${as_installed})
  link_to(${frr_file} ${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/libfrr.so.0)
  set_target_properties(horad ${installed_libraries} PROPERTIES BUILD_WITH_INSTALL_RPATH ON)
endif()

# Samples: an installed configuration is the operator's, and is not overwritten.
install(FILES packaging/horad.conf packaging/horad.default packaging/horad.nft
  DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT daemon)
install(PROGRAMS packaging/restore-configuration DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/horad COMPONENT daemon)
install(FILES docs/horad.8 DESTINATION ${CMAKE_INSTALL_MANDIR}/man8 COMPONENT daemon)
install(FILES docs/horadctl.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT daemon)
# In folders as here, so that links from one to the other lead there.
install(FILES README.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT daemon)
install(DIRECTORY docs examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT daemon
  PATTERN horad.8 EXCLUDE PATTERN horadctl.1 EXCLUDE PATTERN CMakeLists.txt EXCLUDE)

# Only libfrr as the package has it looks for modules in our folder by their names.
set(finds_modules "")
if(HORAD_INSTALL_LIBFRR)
  set(finds_modules /usr)
endif()

# The units start what is installed with them, wherever that is.
install(CODE "
  cmake_policy(VERSION ${CMAKE_MINIMUM_REQUIRED_VERSION})
  get_filename_component(prefix \"\${CMAKE_INSTALL_PREFIX}\" ABSOLUTE)
  foreach(name horad.service horad-wait.service)
    file(READ \"${PROJECT_SOURCE_DIR}/packaging/\${name}\" unit)
    string(REPLACE /usr/sbin/horad \"\${prefix}/${CMAKE_INSTALL_SBINDIR}/horad\" unit \"\${unit}\")
    string(REPLACE /usr/bin/horadctl \"\${prefix}/${CMAKE_INSTALL_BINDIR}/horadctl\" unit \"\${unit}\")
    if(NOT prefix STREQUAL \"${finds_modules}\")
      string(REPLACE \"-M horad_status\" \"-M \${prefix}/${private_libraries}/modules/horad_status.so\" unit \"\${unit}\")
    endif()
    string(REPLACE /usr/libexec/ \"\${prefix}/${CMAKE_INSTALL_LIBEXECDIR}/\" unit \"\${unit}\")
    set(file \"\${prefix}/lib/systemd/system/\${name}\")
    message(STATUS \"Installing: \$ENV{DESTDIR}\${file}\")
    file(WRITE \"\$ENV{DESTDIR}\${file}\" \"\${unit}\")
    list(APPEND CMAKE_INSTALL_MANIFEST_FILES \"\${file}\")
  endforeach()
" COMPONENT daemon)

install(DIRECTORY include/horad DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT headers)
