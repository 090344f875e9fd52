# Windows x86, for the client library of 32-bit callers, with clang and lld as the release is made.
set(processor i686)
include(${CMAKE_CURRENT_LIST_DIR}/windows_clang.cmake)
