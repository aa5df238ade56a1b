# SPDX-License-Identifier: Apache-2.0
# The platform libraries that Debian packages from the Android sources, as imported targets named
# like the Android modules.
find_path(ANDROID_INCLUDE_DIR android-base/file.h PATH_SUFFIXES android REQUIRED)

foreach(module base log cutils crypto)
  find_library(ANDROID_${module}_LIBRARY ${module}
    PATHS /usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/android NO_DEFAULT_PATH REQUIRED)
  add_library(android::${module} SHARED IMPORTED)
  set_target_properties(android::${module} PROPERTIES
    IMPORTED_LOCATION ${ANDROID_${module}_LIBRARY}
    INTERFACE_INCLUDE_DIRECTORIES ${ANDROID_INCLUDE_DIR})
endforeach()
