# Targets that run on the simulated machine.

option(NEXLET_COVERAGE "Count the lines and branches of the floors that are reached on the simulated machine" OFF)

# Sources of the floors that only other systems are built with.
set(nexlet_not_simulated
  client/record_layout.cpp
  foundation/lock_posix.cpp
  foundation/log_output_posix.cpp
  foundation/text_convert_win.cpp
  foundation/wide_format_win.cpp
  # simulation/cuts.cpp takes its place.
  host/crash_dump.cpp)

# nexlet_not_watched(LIBRARY): the code of this static library is the simulation's own and not compiled for ThreadSanitizer.
# What is looked for is in the product.
function(nexlet_not_watched library)
  if(NOT NEXLET_SANITIZE STREQUAL thread)
    return()
  endif()
  find_package(Python3 REQUIRED COMPONENTS Interpreter)
  target_compile_options(${library} PRIVATE -fno-sanitize=thread)
  add_custom_command(TARGET ${library} POST_BUILD
    COMMAND Python3::Interpreter ${CMAKE_SOURCE_DIR}/cmake/own_copies.py ${CMAKE_LINKER} ${CMAKE_NM} ${CMAKE_OBJCOPY}
            ${CMAKE_AR} $<TARGET_FILE:${library}>
    VERBATIM)
endfunction()

# nexlet_simulated_precompiled(TARGET): one precompiled header for the files of this library.
function(nexlet_simulated_precompiled target)
  target_precompile_headers(${target} PRIVATE ${CMAKE_SOURCE_DIR}/simulation/precompiled.h)
  # Without a time in it the header made once serves every checkout through ccache.
  target_compile_options(${target} PRIVATE "SHELL:-Xclang -fno-pch-timestamp")
endfunction()

# nexlet_add_simulated_floors(TARGET FLOOR... [FILES SOURCE...]): a library of all sources of these floors, and of the named
# files of others. Their edges are marked for the scheduler; functions are not put into each other, so that each atomic
# operation has an edge of its own.
function(nexlet_add_simulated_floors target)
  cmake_parse_arguments(arg "" "" "FILES" ${ARGN})
  set(sources ${arg_FILES})
  foreach(floor IN LISTS arg_UNPARSED_ARGUMENTS)
    file(GLOB_RECURSE found CONFIGURE_DEPENDS RELATIVE ${CMAKE_SOURCE_DIR} ${CMAKE_SOURCE_DIR}/${floor}/*.cpp)
    list(APPEND sources ${found})
  endforeach()
  list(REMOVE_ITEM sources ${nexlet_not_simulated})
  list(TRANSFORM sources PREPEND ${CMAKE_SOURCE_DIR}/)
  add_library(${target} STATIC ${sources})
  # The compiler's cache does not see what is in the list.
  set(unmarked ${CMAKE_SOURCE_DIR}/cmake/unmarked_functions.txt)
  file(SHA256 ${unmarked} list)
  target_compile_definitions(${target} PRIVATE NEXLET_UNMARKED_${list})
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${unmarked})
  nexlet_simulated_precompiled(${target})
  target_compile_options(${target} PRIVATE -fsanitize-coverage=trace-pc-guard -fno-inline
                         -fsanitize-coverage-ignorelist=${unmarked})
  if(NEXLET_SANITIZE STREQUAL thread)
    # Texts are compiled here: ThreadSanitizer does not see into the C++ library.
    target_compile_definitions(${target} PRIVATE _GLIBCXX_EXTERN_TEMPLATE=0)
  endif()
  if(NEXLET_COVERAGE)
    # The counters live in the file of the profile itself, so what a run reached stays when a report ends it.
    target_compile_options(${target} PRIVATE -fprofile-instr-generate -fcoverage-mapping
                           "SHELL:-mllvm -runtime-counter-relocation")
    target_link_options(${target} INTERFACE -fprofile-instr-generate)
  endif()
  target_link_libraries(${target} PUBLIC simulation nexlet_settings jsoncpp)
endfunction()

# nexlet_add_simulated_gtest(NAME SOURCES ... LIBRARIES ... [SEEDS COUNT] [EXCEPT TEST...]): a test program as nexlet_add_gtest's, whose
# tests are ctest entries "simulated.NAME.SUITE.TEST"; with SEEDS a further one, "simulated.NAME.seeds", runs all of them
# under so many seeds.
# EXCEPT names tests that wait for luck, which a seed can keep from coming; WATCHING_MEMORY those that need an operator new
# of their own, which ThreadSanitizer does not allow. Under ThreadSanitizer there is one entry, "threads.NAME".
function(nexlet_add_simulated_gtest name)
  cmake_parse_arguments(arg "" "SEEDS" "SOURCES;LIBRARIES;EXCEPT;WATCHING_MEMORY" ${ARGN})
  set(filter "*")
  if(NEXLET_SANITIZE STREQUAL thread)
    list(APPEND arg_EXCEPT ${arg_WATCHING_MEMORY})
  endif()
  if(arg_EXCEPT)
    list(JOIN arg_EXCEPT ":" except)
    set(filter "-${except}")
  endif()
  add_executable(${name} ${arg_SOURCES})
  target_compile_options(${name} PRIVATE -O0 -g1 "SHELL:-Xclang -fno-pch-timestamp")
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} simulation_gtest_main)
  target_precompile_headers(${name} REUSE_FROM simulated_test_precompiled)
  if(NEXLET_SANITIZE STREQUAL thread)
    add_test(NAME threads.${name} COMMAND ${name} --seeds=2 --gtest_filter=${filter})
    set_tests_properties(threads.${name} PROPERTIES TIMEOUT 300 LABELS unit)
    return()
  endif()
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 120 TEST_PREFIX "simulated.${name}." TEST_FILTER "${filter}"
                       PROPERTIES TIMEOUT 120 LABELS unit)
  if(arg_SEEDS)
    add_test(NAME simulated.${name}.seeds COMMAND ${name} --seeds=${arg_SEEDS} --gtest_filter=${filter})
    # Beside the long ones, which mostly wait.
    set_tests_properties(simulated.${name}.seeds PROPERTIES TIMEOUT 900 LABELS long)
  endif()
endfunction()

# nexlet_add_renamed_image(TARGET PREFIX LIBRARY...): another copy of these libraries in the target, under names that
# begin with PREFIX.
function(nexlet_add_renamed_image target prefix)
  find_package(Python3 REQUIRED COMPONENTS Interpreter)
  set(object ${CMAKE_CURRENT_BINARY_DIR}/${prefix}image.o)
  list(TRANSFORM ARGN PREPEND "$<TARGET_FILE:" OUTPUT_VARIABLE files)
  list(TRANSFORM files APPEND ">")
  add_custom_command(OUTPUT ${object}
    COMMAND Python3::Interpreter ${CMAKE_SOURCE_DIR}/cmake/renamed_image.py ${CMAKE_LINKER} ${CMAKE_NM} ${CMAKE_OBJCOPY}
            ${prefix} ${object} ${files}
    DEPENDS ${CMAKE_SOURCE_DIR}/cmake/renamed_image.py ${ARGN}
    VERBATIM)
  target_sources(${target} PRIVATE ${object})
endfunction()
