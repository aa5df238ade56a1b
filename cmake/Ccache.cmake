# SPDX-License-Identifier: Apache-2.0
# Compiles through ccache where it is installed; it must be told that precompiled headers are safe to
# cache. No base folder is given: that would make the paths of __FILE__, and so of log lines, relative
# to the build folder.
find_program(CCACHE ccache)
if(CCACHE)
  set(ccache_launcher ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros ${CCACHE})
  set(CMAKE_C_COMPILER_LAUNCHER ${ccache_launcher})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${ccache_launcher})
  add_compile_options($<$<CXX_COMPILER_ID:GNU>:-fpch-preprocess>)
endif()
