# Configures a project that adds ours, and looks at what it would compile, test and install.
cmake_minimum_required(VERSION 3.25)
include(${CMAKE_CURRENT_LIST_DIR}/Run.cmake)

file(REMOVE_RECURSE ${WORK})
file(COPY ${SOURCE}/outer DESTINATION ${WORK})
run(${CMAKE_COMMAND} -S ${WORK}/outer -B ${WORK}/build -G ${GENERATOR} -D CMAKE_CXX_COMPILER=${COMPILER} -D OURS=${OURS})
file(READ ${WORK}/build/compile_commands.json commands)

# The library is compiled, and with its warnings.
foreach(wanted "${OURS}/src/boundary/" " -Wconversion ")
  string(FIND "${commands}" "${wanted}" place)
  if(place EQUAL -1)
    message(FATAL_ERROR "${wanted} is missing in ${WORK}/build/compile_commands.json")
  endif()
endforeach()

# No warning is an error, and neither tests nor the program are compiled.
foreach(unwanted " -Werror" "${OURS}/tests/" "${OURS}/apps/")
  string(FIND "${commands}" "${unwanted}" place)
  if(NOT place EQUAL -1)
    message(FATAL_ERROR "${unwanted} stands in ${WORK}/build/compile_commands.json")
  endif()
endforeach()

# The outer project's own test is the only one.
run(${CMAKE_CTEST_COMMAND} --test-dir ${WORK}/build --show-only)
if(NOT output MATCHES "Test #1: Outer.Runs\n" OR NOT output MATCHES "Total Tests: 1\n")
  message(FATAL_ERROR "not the outer project's one test:\n${output}")
endif()

# Its installation holds nothing of ours, built or not.
run(${CMAKE_COMMAND} --install ${WORK}/build --prefix ${WORK}/installed)
if(EXISTS ${WORK}/installed)
  message(FATAL_ERROR "something of ours would be installed: ${output}")
endif()
