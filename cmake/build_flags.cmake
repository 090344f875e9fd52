# The compiler and linker flags of every target of this tree, as one interface target.
option(NEXLET_WARNINGS_AS_ERRORS "Treat compiler warnings as errors" OFF)
option(NEXLET_SIMULATION "Build what runs on the simulated machine, and nothing else" OFF)
option(NEXLET_CHECKED "Build the test programs for Windows with traps and a guarded heap; clang alone" OFF)
set(NEXLET_SANITIZE "" CACHE STRING "Sanitizers for native builds, for example address,undefined or thread")

find_program(NEXLET_CCACHE ccache)
if(NEXLET_CCACHE)
  # With paths taken relative to the checkout, what one checkout compiled serves every other.
  set(launcher ${CMAKE_COMMAND} -E env CCACHE_BASEDIR=${CMAKE_SOURCE_DIR} CCACHE_NOHASHDIR=1
      CCACHE_SLOPPINESS=pch_defines,time_macros ${NEXLET_CCACHE})
  set(CMAKE_C_COMPILER_LAUNCHER ${launcher})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${launcher})
endif()

add_library(nexlet_flags INTERFACE)
target_compile_options(nexlet_flags INTERFACE -Wall -Wextra -Wconversion -Wshadow -Wnon-virtual-dtor -Wundef)
if(NOT WIN32 AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # gcc 12 sees overlaps in the assignment of a literal to a std::string at -O3, where there are none (its bug 105651).
  target_compile_options(nexlet_flags INTERFACE -Wno-restrict)
endif()
if(WIN32 AND CMAKE_CXX_COMPILER_ID MATCHES Clang)
  # gcc's own headers use what they call deprecated, and only gcc is told to pass over it.
  target_compile_options(nexlet_flags INTERFACE -Wno-deprecated-declarations)
  # What foundation/thread_annotations.h says is checked; the beta part is the order of locks.
  target_compile_options(nexlet_flags INTERFACE -Wthread-safety -Wthread-safety-beta)
endif()
if(NEXLET_WARNINGS_AS_ERRORS)
  target_compile_options(nexlet_flags INTERFACE -Werror)
endif()

# Two builds from the same sources give the same bytes: no paths and no times in them. The relative way up is what the
# compiler sees through ccache.
file(RELATIVE_PATH way_up ${CMAKE_BINARY_DIR} ${CMAKE_SOURCE_DIR})
string(REGEX REPLACE "/$" "" way_up ${way_up})
add_compile_options(-ffile-prefix-map=${CMAKE_SOURCE_DIR}=. -ffile-prefix-map=${CMAKE_BINARY_DIR}=build
                    -ffile-prefix-map=${way_up}=.)

if(WIN32)
  add_compile_definitions(UNICODE _UNICODE WINVER=0x0601 _WIN32_WINNT=0x0601 WIN32_LEAN_AND_MEAN NOMINMAX)
  set(CMAKE_C_FLAGS_RELWITHDEBINFO "-O2 -g -DNDEBUG")
  set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O2 -g -DNDEBUG")
  if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
    # For gdb, and for debuggers that read PDB files. The PDB's GUID is the hash of its content, so no command line and no
    # folder of the build gets into it.
    set(for_pdb -gdwarf -gcodeview -gno-codeview-command-line -ffile-compilation-dir=.)
    add_compile_options("$<$<COMPILE_LANGUAGE:C,CXX>:${for_pdb}>")
  endif()
  if(NEXLET_CHECKED)
    # The checks trap, so they need no run time. Of memory from operator new the compiler believes only what the guarded
    # heap keeps, where a block ends at its page.
    add_compile_options(-fsanitize=undefined,local-bounds,implicit-conversion -fsanitize-trap=all -fnew-alignment=8
      # The functions of a closed library are known by their declarations here, not by those of its makers.
      -fno-sanitize=function
      -fsanitize-ignorelist=${CMAKE_SOURCE_DIR}/cmake/unchecked_sources.txt)
    add_compile_definitions(_GLIBCXX_ASSERTIONS)
  endif()
  add_compile_options(-fstack-protector-strong)
  add_link_options(-fstack-protector-strong)
  add_compile_definitions(_FORTIFY_SOURCE=2)
  add_link_options(-Wl,--no-insert-timestamp -Wl,--dynamicbase -Wl,--nxcompat)
  if(CMAKE_SIZEOF_VOID_P EQUAL 8)
    add_link_options(-Wl,--high-entropy-va)
  else()
    # Nothing in it is a handler of structured exceptions, so the system accepts no address in it as one.
    add_link_options(-Wl,--no-seh)
  endif()
  # Sections that begin at a page of the file are mapped where they are; Wine copies others into memory as a whole.
  add_link_options(-Wl,--file-alignment,4096)
  # Resource files are read as UTF-8.
  set(CMAKE_RC_FLAGS "-c 65001")
elseif(NEXLET_SANITIZE)
  add_compile_options(-fsanitize=${NEXLET_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -O1 -g1)
  add_link_options(-fsanitize=${NEXLET_SANITIZE})
  # Fuzzers see which branches they reach, in the JSON library as in our own code.
  if(CMAKE_CXX_COMPILER_ID MATCHES Clang AND NOT NEXLET_SANITIZE STREQUAL thread AND NOT NEXLET_SIMULATION)
    add_compile_options(-fsanitize=fuzzer-no-link)
    add_link_options(-fsanitize=fuzzer-no-link)
  endif()
endif()
