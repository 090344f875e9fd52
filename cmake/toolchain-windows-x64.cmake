# Windows x86-64 with clang and lld.
set(processor x86_64)
include(${CMAKE_CURRENT_LIST_DIR}/windows_clang.cmake)
