cmake_minimum_required(VERSION 3.25)
# Compares what the DLL exports with the list EXPECTED, both ways, and looks for libraries that it may not need.
execute_process(COMMAND ${OBJDUMP} -p ${LIBRARY} OUTPUT_VARIABLE headers COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCH "\\[Ordinal/Name Pointer\\] Table[^\n]*\n(\t\\[[^\n]*\n)+" table "${headers}")
string(REGEX REPLACE "\t\\[ *[0-9]+\\] |[^\n]* Table[^\n]*\n" "" names "${table}")
file(WRITE ${WORK} "${names}")
execute_process(COMMAND ${CXXFILT} INPUT_FILE ${WORK} OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "[^\n]+" exported "${output}")
file(STRINGS ${EXPECTED} expected)
# The list tells functions from variables, which a table of exports does not.
list(TRANSFORM expected REPLACE "^[A-Za-z] " "")

include(${CMAKE_CURRENT_LIST_DIR}/CompareSymbols.cmake)

if(headers MATCHES "DLL Name: [^\n]*[Pp]ython")
  message(SEND_ERROR "the library would not load without Python")
endif()
