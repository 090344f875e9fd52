# The reference of the client library as one page, reference/reference.html in the build folder. Doxygen reads the
# headers; a declaration without a comment stops the build.
find_program(NEXLET_DOXYGEN doxygen)
if(NOT NEXLET_DOXYGEN)
  message(FATAL_ERROR "Doxygen is missing: run tools/setup first.")
endif()
find_package(Python3 REQUIRED COMPONENTS Interpreter)

set(reference_folder ${CMAKE_BINARY_DIR}/reference)
set(reference_sources ${CMAKE_SOURCE_DIR}/cmake/reference)
configure_file(${reference_sources}/Doxyfile.in ${reference_folder}/Doxyfile @ONLY)
add_custom_command(OUTPUT ${reference_folder}/reference.html
  COMMAND ${CMAKE_COMMAND} -E rm -rf ${reference_folder}/xml
  COMMAND ${NEXLET_DOXYGEN} ${reference_folder}/Doxyfile
  COMMAND Python3::Interpreter ${reference_sources}/write_page.py ${reference_folder}/xml ${reference_folder}/reference.html
  DEPENDS ${CMAKE_SOURCE_DIR}/client/include/nexlet_client.h ${CMAKE_SOURCE_DIR}/client/include/nexlet_client.hpp
          ${reference_folder}/Doxyfile ${reference_sources}/mark_comments.py ${reference_sources}/write_page.py
  COMMENT "Writing the reference of the client library" VERBATIM)
add_custom_target(nexlet_reference ALL DEPENDS ${reference_folder}/reference.html)
