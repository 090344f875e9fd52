# Libraries of the system that a program loads at the first call into them instead of at its start.

# nexlet_add_delay_library(NAME): a library delay_NAME to link in place of the system's NAME. Its first call loads
# NAME.dll; a call into a library that the system lacks ends the process.
function(nexlet_add_delay_library name)
  find_program(NEXLET_DLLTOOL ${triple}-dlltool REQUIRED)
  find_program(NEXLET_NM ${triple}-nm REQUIRED)
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=lib${name}.a
                  OUTPUT_VARIABLE library OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND ${NEXLET_NM} ${library} OUTPUT_VARIABLE symbols ERROR_QUIET COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX MATCHALL " T [A-Za-z_][A-Za-z0-9_]*" functions "${symbols}")
  list(TRANSFORM functions REPLACE "^ T " "")
  list(REMOVE_DUPLICATES functions)
  list(SORT functions)
  list(JOIN functions "\n" exports)
  set(folder ${CMAKE_BINARY_DIR}/delay)
  file(MAKE_DIRECTORY ${folder})
  file(CONFIGURE OUTPUT ${folder}/${name}.def CONTENT "LIBRARY ${name}.dll\nEXPORTS\n@exports@\n" @ONLY)
  # The prefix of dlltool's temporary files becomes part of its output; by default it holds the process id.
  add_custom_command(OUTPUT ${folder}/libdelay_${name}.a
    COMMAND ${NEXLET_DLLTOOL} --input-def ${name}.def --output-delaylib libdelay_${name}.a --temp-prefix ${name}
    DEPENDS ${folder}/${name}.def
    WORKING_DIRECTORY ${folder}
    VERBATIM)
  add_custom_target(make_delay_${name} DEPENDS ${folder}/libdelay_${name}.a)
  add_library(delay_${name} INTERFACE)
  target_link_libraries(delay_${name} INTERFACE ${folder}/libdelay_${name}.a delayimp)
  add_dependencies(delay_${name} make_delay_${name})
endfunction()
