# SPDX-License-Identifier: Apache-2.0
# Manual, completion and JSON schema, made from the headers and from what the programs tell of
# themselves: none of them can say what is no more.
find_package(Python3 REQUIRED COMPONENTS Interpreter)
set(made ${CMAKE_CURRENT_BINARY_DIR}/made)
file(GLOB generators CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.py)
file(GLOB public_headers CONFIGURE_DEPENDS
  ${PROJECT_SOURCE_DIR}/include/orx/*.h ${PROJECT_SOURCE_DIR}/include/keymint/*.h)
set(programs $<TARGET_FILE:orx_tool> $<TARGET_FILE:orx-sim>)

# orx_make(NAME DEPENDS target... COMMAND word...): a folder of this name with what a command makes
# in it.
function(orx_make name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "COMMAND;DEPENDS")
  add_custom_command(OUTPUT ${made}/${name}.stamp
    COMMAND ${CMAKE_COMMAND} -E rm -rf ${made}/${name}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${made}/${name}
    COMMAND ${arg_COMMAND}
    COMMAND ${CMAKE_COMMAND} -E touch ${made}/${name}.stamp
    DEPENDS ${arg_DEPENDS} ${generators} COMMENT "Making ${name}" VERBATIM)
  add_custom_target(orx_${name} ALL DEPENDS ${made}/${name}.stamp)
endfunction()

set(python Python3::Interpreter -B)
orx_make(manual_of_programs DEPENDS orx_tool orx-sim
  COMMAND ${python} ${CMAKE_CURRENT_SOURCE_DIR}/manual_programs.py
    ${programs} ${PROJECT_VERSION} ${made}/manual_of_programs)
orx_make(manual_of_headers DEPENDS orx ${public_headers}
  COMMAND ${python} ${CMAKE_CURRENT_SOURCE_DIR}/manual_headers.py
    ${PROJECT_SOURCE_DIR}/include $<TARGET_FILE:orx> ${PROJECT_VERSION} ${made}/manual_of_headers)
orx_make(completion DEPENDS orx_tool orx-sim
  COMMAND ${python} ${CMAKE_CURRENT_SOURCE_DIR}/completion.py ${programs} ${made}/completion)
orx_make(schema DEPENDS orx_tool
  COMMAND $<TARGET_FILE:orx_tool> --schema > ${made}/schema/answer.schema.json)

install(DIRECTORY ${made}/manual_of_programs/
  DESTINATION ${CMAKE_INSTALL_MANDIR} COMPONENT tools)
install(DIRECTORY ${made}/manual_of_headers/
  DESTINATION ${CMAKE_INSTALL_MANDIR} COMPONENT development)
install(FILES ${made}/completion/orx ${made}/completion/orx-sim
  DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tools)
install(FILES ${made}/completion/_orx ${made}/completion/_orx-sim
  DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions COMPONENT tools)
install(FILES ${made}/schema/answer.schema.json
  DESTINATION ${CMAKE_INSTALL_DATADIR}/orx COMPONENT tools)
