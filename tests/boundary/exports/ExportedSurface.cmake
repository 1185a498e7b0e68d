cmake_minimum_required(VERSION 3.25)
# Compares what the library exports with the list EXPECTED, both ways, looks for the mark that keeps it mapped,
# and for libraries that it may not need.
execute_process(COMMAND ${NM} -D -C --defined-only ${LIBRARY} OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
string(REPLACE "\n" ";" lines "${output}")
set(exported)
foreach(line IN LISTS lines)
  if(line MATCHES "^[0-9a-f]+ ([A-Za-z]) (.+)$")
    list(APPEND exported "${CMAKE_MATCH_1} ${CMAKE_MATCH_2}")
  elseif(NOT line STREQUAL "")
    list(APPEND exported "${line}")
  endif()
endforeach()
file(STRINGS ${EXPECTED} expected)

include(${CMAKE_CURRENT_LIST_DIR}/CompareSymbols.cmake)

execute_process(COMMAND ${READELF} -d ${LIBRARY} OUTPUT_VARIABLE dynamic COMMAND_ERROR_IS_FATAL ANY)
if(NOT dynamic MATCHES "NODELETE")
  message(SEND_ERROR "the library could be unmapped under its workers")
endif()
if(dynamic MATCHES "NEEDED[^\n]*python")
  message(SEND_ERROR "the library would not load without Python")
endif()
