# mvsms_embed(HEADER NAMESPACE NAME=FILE...): the header HEADER below ${mvsms_embedded}, in which each
# file's bytes are a std::string_view of that name. One folder for all, so that a linter finds them
# too, and made while CMake configures, so that it need not build anything before.
set(mvsms_embedded ${PROJECT_BINARY_DIR}/embedded)
function(mvsms_embed header namespace)
  set(text "// Made from files by cmake/Embed.cmake.\n#pragma once\n\n#include <string_view>\n\n")
  string(APPEND text "namespace ${namespace} {\n")
  foreach(pair ${ARGN})
    string(REGEX MATCH "^([^=]+)=(.+)$" matched "${pair}")
    set(name ${CMAKE_MATCH_1})
    set(file ${CMAKE_CURRENT_SOURCE_DIR}/${CMAKE_MATCH_2})
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
    file(READ ${file} bytes HEX)
    string(REGEX REPLACE "(..)" "'\\\\x\\1'," bytes "${bytes}")
    string(APPEND text "inline constexpr char ${name}Bytes[] = {${bytes}'\\0'};\n"
           "inline constexpr std::string_view ${name}(${name}Bytes, sizeof(${name}Bytes) - 1);\n")
  endforeach()
  string(APPEND text "}  // namespace ${namespace}\n")
  file(CONFIGURE OUTPUT ${mvsms_embedded}/${header} CONTENT "${text}" @ONLY)
endfunction()
