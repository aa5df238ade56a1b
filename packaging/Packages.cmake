# SPDX-License-Identifier: Apache-2.0
# Debian packages, one a component: cpack -G DEB in the build folder of the preset release.
set(maintainer "liborx maintainers <maintainers@liborx.invalid>" CACHE STRING "as Debian wants it")
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME liborx)
set(CPACK_PACKAGE_VENDOR liborx)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime development tools)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${maintainer})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY >=)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
  ${CMAKE_LIBRARY_OUTPUT_DIRECTORY} ${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/orx-sim)
set(same_version "liborx1 (= ${PROJECT_VERSION})")

set(about "liborx is a vendor security library for Android devices: keys that live in the
secure hardware (KeyMint), digests, key derivation, small secrets in files, the
device's identifiers, and self-tests of key attestation and secure element.
")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME liborx1)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_SOURCE_DIR}/triggers)
# The crypto library is loaded into a scope of its own, so that no linker's entry tells of it.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS android-libboringssl)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "keys in the secure hardware of Android devices
${about}
This package has the library as it runs on a PC, on top of a stand-in for the
Android platform. orx-tools has the simulated device behind it.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME liborx-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS ${same_version})
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS "orx-tools, cmake, pkg-config")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
  "keys in the secure hardware of Android devices (development)
${about}
This package has the headers for C and C++, the CMake package orx, orx.pc, the
manual of the interface, and examples.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME orx-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS ${same_version})
set(CPACK_DEBIAN_TOOLS_PACKAGE_RECOMMENDS "bubblewrap | proot")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "simulated Android device and command line for liborx
${about}
orx-sim makes simulated Android devices, with a KeyMint in software, and runs
programs that use liborx inside them, on request with faults. orx offers all of
the library from the command line and tests a device's key attestation and
secure element.")
include(CPack)

# What Debian wants to find in each package.
find_package(Git REQUIRED)
execute_process(COMMAND ${GIT_EXECUTABLE} log -1 --format=%ct
  WORKING_DIRECTORY ${PROJECT_SOURCE_DIR} OUTPUT_VARIABLE commit_time
  OUTPUT_STRIP_TRAILING_WHITESPACE)
orx_make(debian DEPENDS ${PROJECT_SOURCE_DIR}/CHANGELOG.md
  COMMAND ${python} ${CMAKE_CURRENT_SOURCE_DIR}/debian_changelog.py
    ${PROJECT_SOURCE_DIR}/CHANGELOG.md ${PROJECT_VERSION} ${maintainer} "${commit_time}"
    ${made}/debian/changelog.gz)
foreach(component ${CPACK_COMPONENTS_ALL})
  string(TOUPPER ${component} name)
  set(name ${CPACK_DEBIAN_${name}_PACKAGE_NAME})
  set(more_overrides "")
  if(component STREQUAL runtime)
    string(CONCAT more_overrides "# What cpack writes does what the trigger does.\n"
      "${name}: maintscript-calls-ldconfig *\n")
  endif()
  configure_file(lintian-overrides ${CMAKE_CURRENT_BINARY_DIR}/overrides/${name})
  if(NOT component STREQUAL development)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/overrides/${name}
      DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides COMPONENT ${component})
  endif()
  install(FILES ${made}/debian/changelog.gz copyright
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name} COMPONENT ${component})
endforeach()
