# Test programs of GoogleTest, a ctest entry for each suite: the tests of a suite share one process, since starting one takes
# longer than most tests do, under Wine above all.

# nexlet_discover_suites(TARGET PREFIX [PROPERTY VALUE]...): the suites of this program become the entries PREFIX.SUITE with
# these properties. ctest asks the program for them, when it begins and the program is newer than the list that it keeps.
function(nexlet_discover_suites target prefix)
  set(list ${CMAKE_CURRENT_BINARY_DIR}/${target}_suites)
  get_property(emulator TARGET ${target} PROPERTY CROSSCOMPILING_EMULATOR)
  string(CONCAT script
    "include([==[${CMAKE_SOURCE_DIR}/cmake/list_suites.cmake]==])\n"
    "nexlet_list_suites([==[$<TARGET_FILE:${target}>]==] [==[${list}.cmake]==] [==[${prefix}]==] [==[${emulator}]==] [==[${ARGN}]==])\n"
    "include([==[${list}.cmake]==])\n")
  file(GENERATE OUTPUT ${list}_include.cmake CONTENT "${script}")
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${list}_include.cmake)
endfunction()
