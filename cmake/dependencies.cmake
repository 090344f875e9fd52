# JsonCpp and GoogleTest come from the distribution's own sources and are built for each target.
# tools/setup fetches the JsonCpp source package into build/deps and installs GoogleTest's sources.
set(NEXLET_DEPS_DIR ${CMAKE_SOURCE_DIR}/build/deps CACHE PATH "Folder of fetched source packages")

set(jsoncpp_archive ${NEXLET_DEPS_DIR}/libjsoncpp_1.9.5.orig.tar.gz)
set(jsoncpp_sha256 f409856e5920c18d0c2fb85276e24ee607d2a09b5e7d5f0a371368903c275da2)
if(NOT EXISTS ${jsoncpp_archive})
  message(FATAL_ERROR "${jsoncpp_archive} is missing: run tools/setup first.")
endif()
set(jsoncpp_source ${CMAKE_BINARY_DIR}/jsoncpp-1.9.5)
if(NOT EXISTS ${jsoncpp_source}/src/lib_json/json_reader.cpp)
  file(SHA256 ${jsoncpp_archive} found)
  if(NOT found STREQUAL jsoncpp_sha256)
    message(FATAL_ERROR "${jsoncpp_archive} has SHA-256 ${found}, expected ${jsoncpp_sha256}: "
                        "delete it and run tools/setup again.")
  endif()
  file(ARCHIVE_EXTRACT INPUT ${jsoncpp_archive} DESTINATION ${CMAKE_BINARY_DIR})
endif()
add_library(jsoncpp STATIC
  ${jsoncpp_source}/src/lib_json/json_reader.cpp
  ${jsoncpp_source}/src/lib_json/json_value.cpp
  ${jsoncpp_source}/src/lib_json/json_writer.cpp)
target_include_directories(jsoncpp SYSTEM PUBLIC ${jsoncpp_source}/include)
# The process must end on a conversion the library refuses, so its exceptions stay on.
target_compile_options(jsoncpp PRIVATE -w)

if(NOT NEXLET_BUILD_TESTS)
  return()
endif()
set(NEXLET_GOOGLETEST_DIR /usr/src/googletest CACHE PATH "GoogleTest sources")
if(NOT EXISTS ${NEXLET_GOOGLETEST_DIR}/CMakeLists.txt)
  message(FATAL_ERROR "No GoogleTest sources at ${NEXLET_GOOGLETEST_DIR}: run tools/setup first.")
endif()
set(INSTALL_GTEST OFF)
set(BUILD_GMOCK OFF CACHE BOOL "" FORCE)
add_subdirectory(${NEXLET_GOOGLETEST_DIR} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
# Its time to compile is a tenth of the build's, its own speed nothing.
target_compile_options(gtest PRIVATE -O0 -g0)
include(GoogleTest)
