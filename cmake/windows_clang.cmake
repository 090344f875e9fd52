# What the toolchain files of clang and lld share: Windows on the headers and libraries of mingw-w64 and its gcc. Expects
# processor, as in x86_64.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR ${processor})

set(triple ${processor}-w64-mingw32)
set(version 19)
set(CMAKE_C_COMPILER clang-${version})
set(CMAKE_CXX_COMPILER clang++-${version})
set(CMAKE_C_COMPILER_TARGET ${processor}-w64-windows-gnu)
set(CMAKE_CXX_COMPILER_TARGET ${processor}-w64-windows-gnu)
set(CMAKE_RC_COMPILER ${triple}-windres)
set(CMAKE_OBJCOPY ${triple}-objcopy)
# For the one object of the static library.
set(CMAKE_LINKER /usr/bin/${triple}-ld CACHE FILEPATH "")

set(CMAKE_FIND_ROOT_PATH /usr/${triple})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Without -static a program wants gcc's DLLs beside it.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static -fuse-ld=lld-${version}")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static -fuse-ld=lld-${version}")
# libstdc++ refers to the threads library after that was read.
set(CMAKE_CXX_STANDARD_LIBRARIES
  "-Wl,--start-group -lstdc++ -lwinpthread -Wl,--end-group -lkernel32 -luser32 -lgdi32 -lwinspool -lshell32 -lole32 -loleaut32 -luuid -lcomdlg32 -ladvapi32"
  CACHE STRING "")

set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../tools/wine/run)
