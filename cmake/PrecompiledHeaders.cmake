# SPDX-License-Identifier: Apache-2.0
# orx_precompile_headers(TARGET): reads the headers of the target's precompiled.h once for all of its
# sources, unless the sources are taken many as one: then the compiler reads them once anyway.
function(orx_precompile_headers target)
  if(NOT CMAKE_UNITY_BUILD)
    target_precompile_headers(${target} PRIVATE precompiled.h)
  endif()
endfunction()
