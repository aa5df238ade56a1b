# SPDX-License-Identifier: Apache-2.0
# orx_scope_crypto(TARGET OBJECTS): links the shared library TARGET, made of the object library
# OBJECTS, with the crypto library in a scope of its own, so that a program may use OpenSSL beside it;
# host/crypto_scope/crypto_scope.c says how.
function(orx_scope_crypto target objects)
  if(ORX_SANITIZE)
    # A scope of its own (RTLD_DEEPBIND) is what the sanitizers refuse.
    target_link_libraries(${target} PRIVATE android::crypto)
    return()
  endif()
  set(scope ${PROJECT_SOURCE_DIR}/host/crypto_scope)
  set(generated ${CMAKE_CURRENT_BINARY_DIR}/${target}_crypto)
  file(MAKE_DIRECTORY ${generated})
  add_custom_command(
    OUTPUT ${generated}/crypto_names.h
    COMMAND ${scope}/crypto_names.sh ${CMAKE_NM} ${CMAKE_READELF} ${ANDROID_crypto_LIBRARY}
      ${generated}/crypto_names.h $<TARGET_OBJECTS:${objects}>
    DEPENDS ${scope}/crypto_names.sh ${ANDROID_crypto_LIBRARY} $<TARGET_OBJECTS:${objects}>
    COMMENT "Listing the crypto functions that ${target} calls"
    COMMAND_EXPAND_LISTS VERBATIM)
  target_sources(${target} PRIVATE ${scope}/crypto_scope.c ${generated}/crypto_names.h)
  # Its stubs are assembler code, which link-time optimisation may put elsewhere than their slots.
  set_property(SOURCE ${scope}/crypto_scope.c APPEND PROPERTY COMPILE_OPTIONS -fno-lto)
  target_include_directories(${target} PRIVATE ${generated})
  target_compile_definitions(${target} PRIVATE CRYPTO_SCOPE_OF="$<TARGET_SONAME_FILE_NAME:${target}>")
  target_link_libraries(${target} PRIVATE ${CMAKE_DL_LIBS})
endfunction()
