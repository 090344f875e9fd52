# nexlet_split_symbols(TARGET): moves the debug information of a program or library out into TARGET.debug beside it. Clang
# and lld also make a PDB file there.
function(nexlet_split_symbols target)
  if(NOT WIN32)
    return()
  endif()
  if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
    # The file refers to the PDB by its name alone. The PDB holds the linker's command line, which therefore names nothing
    # by the build's folder, and its search path, to which the environment would add.
    file(RELATIVE_PATH pdb ${CMAKE_BINARY_DIR} ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${target}.pdb)
    target_link_options(${target} PRIVATE
      -Wl,--pdb=${pdb} "SHELL:-Wl,-Xlink=-pdbaltpath:%_PDB%" "SHELL:-Wl,-Xlink=-pdbsourcepath:.")
    set_property(TARGET ${target} PROPERTY RULE_LAUNCH_LINK "${CMAKE_COMMAND} -E env --unset=LIBRARY_PATH")
    set_property(TARGET ${target} APPEND PROPERTY ADDITIONAL_CLEAN_FILES ${CMAKE_BINARY_DIR}/${pdb})
  endif()
  add_custom_command(TARGET ${target} POST_BUILD
    # Without --preserve-dates the copy's header gets the time of day.
    COMMAND ${CMAKE_OBJCOPY} --preserve-dates --only-keep-debug $<TARGET_FILE:${target}> $<TARGET_FILE:${target}>.debug
    COMMAND ${CMAKE_OBJCOPY} --preserve-dates --strip-all --add-gnu-debuglink=$<TARGET_FILE:${target}>.debug $<TARGET_FILE:${target}>
    VERBATIM)
endfunction()

# nexlet_add_version(TARGET FILE DESCRIPTION): the version information of a program or library; FILE is its name.
function(nexlet_add_version target version_file version_description)
  get_target_property(type ${target} TYPE)
  set(version_file_type VFT_APP)
  if(type STREQUAL SHARED_LIBRARY)
    set(version_file_type VFT_DLL)
  endif()
  cmake_path(GET version_file STEM version_internal_name)
  set(resource ${CMAKE_BINARY_DIR}/resources/${target}_version.rc)
  configure_file(${CMAKE_SOURCE_DIR}/resources/version.rc.in ${resource} @ONLY)
  target_sources(${target} PRIVATE ${resource})
endfunction()

# nexlet_add_manifest(TARGET NAME): resources/NAME.manifest as the manifest of the program.
function(nexlet_add_manifest target manifest)
  set(resource ${CMAKE_BINARY_DIR}/resources/${manifest}_manifest.rc)
  configure_file(${CMAKE_SOURCE_DIR}/resources/manifest.rc.in ${resource} @ONLY)
  target_sources(${target} PRIVATE ${resource})
  set_source_files_properties(${resource} TARGET_DIRECTORY ${target} PROPERTIES
    OBJECT_DEPENDS ${CMAKE_SOURCE_DIR}/resources/${manifest}.manifest)
endfunction()

# nexlet_quick(TARGET...): test code is compiled and linked for a short build, not for speed: it runs once. What it tests
# is compiled as the product is.
set(nexlet_quick_options -O0 -g1)
if(WIN32)
  list(APPEND nexlet_quick_options -U_FORTIFY_SOURCE)
endif()
if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
  # Without a time in it the header made once serves every checkout through ccache.
  list(APPEND nexlet_quick_options "SHELL:-Xclang -fno-pch-timestamp")
endif()
function(nexlet_quick)
  foreach(target ${ARGN})
    target_compile_options(${target} PRIVATE ${nexlet_quick_options})
    target_link_libraries(${target} PRIVATE GTest::gtest)
    target_precompile_headers(${target} REUSE_FROM nexlet_test_precompiled)
    get_target_property(type ${target} TYPE)
    if(WIN32 AND type STREQUAL "EXECUTABLE" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
      target_link_options(${target} PRIVATE "SHELL:-wrapper ${CMAKE_SOURCE_DIR}/cmake/quick_link.sh")
    endif()
  endforeach()
endfunction()

# nexlet_add_gtest(NAME [EACH_ALONE] SOURCES ... [LIBRARIES ...] [PROPERTIES ...]): one test program, each of its suites a
# ctest entry "native.NAME.Suite" or "windows.NAME.Suite" with the label unit, which PROPERTIES may replace. With EACH_ALONE
# each test is an entry with a process of its own, "windows.NAME.Suite.Test". Under Wine the emulator is the cross build's.
# Under ThreadSanitizer the whole program is one entry, "threads.NAME".
if(WIN32)
  set(nexlet_test_prefix windows)
else()
  set(nexlet_test_prefix native)
endif()
function(nexlet_add_gtest name)
  cmake_parse_arguments(arg "EACH_ALONE" "" "SOURCES;LIBRARIES;PROPERTIES" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} nexlet_test_support GTest::gtest_main)
  nexlet_quick(${name})
  if(NEXLET_CHECKED)
    target_link_libraries(${name} PRIVATE nexlet_guarded_heap)
    add_dependencies(checked_tests ${name})
  endif()
  if(NOT "LABELS" IN_LIST arg_PROPERTIES)
    list(APPEND arg_PROPERTIES LABELS unit)
  endif()
  if(NEXLET_SANITIZE STREQUAL thread)
    add_test(NAME threads.${name} COMMAND ${name})
    set_tests_properties(threads.${name} PROPERTIES TIMEOUT 120 ${arg_PROPERTIES})
    return()
  endif()
  if(NEXLET_CLIENT_ALONE)
    # The Wine of the machine that builds may have no 32-bit half. tools/debian13 runs it.
    return()
  endif()
  if(arg_EACH_ALONE)
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 120 TEST_PREFIX "${nexlet_test_prefix}.${name}."
                         PROPERTIES TIMEOUT 120 ${arg_PROPERTIES})
  else()
    nexlet_discover_suites(${name} "${nexlet_test_prefix}.${name}" TIMEOUT 300 ${arg_PROPERTIES})
  endif()
endfunction()
