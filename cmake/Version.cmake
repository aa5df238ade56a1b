# SPDX-License-Identifier: Apache-2.0
# ORX_VERSION as the header has it, which is the one place where it is written.
set(version_header ${CMAKE_CURRENT_LIST_DIR}/../include/orx/orx.h)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${version_header})
file(STRINGS ${version_header} ORX_VERSION REGEX "^#define ORX_VERSION_(MAJOR|MINOR|PATCH) [0-9]+$")
list(TRANSFORM ORX_VERSION REPLACE "^.* " "")
list(JOIN ORX_VERSION "." ORX_VERSION)
