# nexlet_embed_texts(HEADER NAME FILE [NAME FILE ...]): writes HEADER with a text NAME for the contents of each FILE. It is
# written again when one of them changes.
function(nexlet_embed_texts header)
  set(content "// Written by the build from files of the tree; see cmake/embed_texts.cmake.\n#pragma once\n\n#include <string_view>\n")
  set(entries ${ARGN})
  while(entries)
    list(POP_FRONT entries name file)
    file(READ ${file} text)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
    string(APPEND content "\ninline constexpr std::string_view ${name} = R\"nexlet(${text})nexlet\";\n")
  endwhile()
  file(CONFIGURE OUTPUT ${header} CONTENT "@content@" @ONLY)
endfunction()
