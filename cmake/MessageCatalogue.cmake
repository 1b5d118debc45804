# Turns a message catalogue file into the C++ array the library compiles in.
#   cmake -DINPUT=<name>.msg -DOUTPUT=<file>.cpp -DSYMBOL=<array> -P MessageCatalogue.cmake
# The file's first line is the header "<name> <count>"; each further line is one
# message text, used as it stands. The array has count + 1 elements: the header,
# then the texts.
# Read whole and split by hand: a ';' in a text must not split it.
file(READ "${INPUT}" content)
string(REPLACE ";" "@ZEL_SEMICOLON@" content "${content}")
string(REPLACE "\r\n" "\n" content "${content}")
string(REGEX REPLACE "\n$" "" content "${content}")
string(REPLACE "\n" ";" lines "${content}")
list(LENGTH lines line_count)
if(line_count EQUAL 0)
  message(FATAL_ERROR "${INPUT}: empty catalogue")
endif()
list(GET lines 0 header)
if(NOT header MATCHES "^([A-Za-z_][A-Za-z0-9_]*) ([0-9]+)$")
  message(FATAL_ERROR "${INPUT}: the first line must be \"<name> <count>\", not \"${header}\"")
endif()
set(count ${CMAKE_MATCH_2})
math(EXPR texts "${line_count} - 1")
if(NOT texts EQUAL count)
  message(FATAL_ERROR "${INPUT}: the header announces ${count} texts, the file holds ${texts}")
endif()

set(body "")
foreach(line IN LISTS lines)
  string(REPLACE "\\" "\\\\" line "${line}")
  string(REPLACE "\"" "\\\"" line "${line}")
  string(REPLACE "@ZEL_SEMICOLON@" ";" line "${line}")
  string(APPEND body "    \"${line}\",\n")
endforeach()
math(EXPR size "${count} + 1")
file(WRITE "${OUTPUT}.tmp"
"// Generated from ${INPUT} by MessageCatalogue.cmake: do not edit.
#include \"zel/umessage.h\"

namespace Zel {

const char* ${SYMBOL}[${size}] = {
${body}};

}  // namespace Zel
")
file(COPY_FILE "${OUTPUT}.tmp" "${OUTPUT}" ONLY_IF_DIFFERENT)
file(REMOVE "${OUTPUT}.tmp")
