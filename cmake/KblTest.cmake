# kbl_test(ROOM_tests SOURCES file... LIBS target...): one GoogleTest program, each of its tests a ctest test.
# Built for another system or with a sanitizer, a whole program is one, or as many as SHARDS says: each process costs an
# emulator's or a sanitizer's start there.
# With PREFIX its tests have names that begin with it, for a source that is built into several programs.
# With PER_PYTHON every test is one a version of Python, labelled with it, so that the closing lines name the versions.
find_package(GTest REQUIRED)
include(GoogleTest)
include(KblPythons)
if(UNIX)  # no test for Windows needs an interpreter
  kbl_find_pythons()
endif()
# A sanitizer watches our own code, which is the same for all: the oldest and the newest stand for the others.
if(KBL_SANITIZE)
  list(GET KBL_PYTHON_VERSIONS 0 kbl_oldest)
  list(GET KBL_PYTHON_VERSIONS -1 kbl_newest)
  set(KBL_PYTHON_VERSIONS ${kbl_oldest} ${kbl_newest})
  list(REMOVE_DUPLICATES KBL_PYTHON_VERSIONS)
endif()

# kbl_test_compiler_options(TARGET): the tests run a moment and compile for minutes: what is under test is optimised and
# watched for undefined behaviour, the tests themselves need not be.
function(kbl_test_compiler_options target)
  if(NOT MSVC)
    target_compile_options(${target} PRIVATE -O0)
  endif()
  if(KBL_SANITIZE MATCHES "undefined")
    target_compile_options(${target} PRIVATE -fno-sanitize=undefined)
  endif()
endfunction()

# What nearly every test includes, compiled once for all of them: a program without a test.
file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/test_prelude.cpp CONTENT "")
add_executable(test_prelude ${PROJECT_BINARY_DIR}/test_prelude.cpp)
target_link_libraries(test_prelude PRIVATE kbl_options GTest::gmock_main)
kbl_test_compiler_options(test_prelude)
target_precompile_headers(test_prelude PRIVATE
  <gmock/gmock.h> <gtest/gtest.h> <algorithm> <array> <atomic> <chrono> <condition_variable> <filesystem> <fstream>
  <functional> <map> <memory> <mutex> <optional> <set> <sstream> <string> <string_view> <thread> <utility> <vector>)

# kbl_compile_together(TARGET): cross-compiled, several sources of tests are one, since most of their time goes into headers.
# The other builds take each for itself, and so find one that does not include what it needs. Their helpers need names of
# their own in the whole program; with APART each source stays for itself.
function(kbl_compile_together target)
  if(CMAKE_CROSSCOMPILING)
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 8)
    target_compile_options(${target} PRIVATE -Wno-subobject-linkage)  # the compiler takes the sources for headers
    # What includes the system's headers bears no others ahead of them.
    get_target_property(sources ${target} SOURCES)
    list(FILTER sources INCLUDE REGEX "Windows")
    set_source_files_properties(${sources} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
  endif()
endfunction()

# kbl_test_objects(NAME SOURCE [LIBRARY]...): a source that several programs share, compiled once; they name it as a library.
function(kbl_test_objects name source)
  add_library(${name} OBJECT ${source})
  target_link_libraries(${name} PUBLIC kbl_options ${ARGN})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  kbl_test_compiler_options(${name})
endfunction()

function(kbl_test name)
  cmake_parse_arguments(ARG "APART;PER_PYTHON" "TIMEOUT;PREFIX;SHARDS" "SOURCES;LIBS" ${ARGN})
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 120)
  endif()
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE kbl_options ${ARG_LIBS} GTest::gmock_main)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  kbl_test_compiler_options(${name})
  target_precompile_headers(${name} REUSE_FROM test_prelude)
  if(NOT ARG_APART)
    kbl_compile_together(${name})
  endif()
  if(CMAKE_CROSSCOMPILING OR (KBL_SANITIZE AND NOT ARG_PER_PYTHON))
    if(NOT ARG_SHARDS)
      set(ARG_SHARDS 1)
    endif()
    foreach(shard RANGE 1 ${ARG_SHARDS})
      math(EXPR index "${shard} - 1")
      add_test(NAME ${name}.${shard} COMMAND ${name})
      set_tests_properties(${name}.${shard} PROPERTIES TIMEOUT 600 COST ${ARG_SHARDS}
        ENVIRONMENT "GTEST_TOTAL_SHARDS=${ARG_SHARDS};GTEST_SHARD_INDEX=${index}")
    endforeach()
    return()
  endif()
  if(NOT ARG_PER_PYTHON)
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST TEST_PREFIX "${ARG_PREFIX}" PROPERTIES TIMEOUT ${ARG_TIMEOUT})
    return()
  endif()
  # An interpreter is started once in a process: each of these tests has its own, in every build.
  foreach(version IN LISTS KBL_PYTHON_VERSIONS)
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST TEST_PREFIX "Python${version}."
      TEST_LIST ${name}_${version}
      PROPERTIES TIMEOUT ${ARG_TIMEOUT} LABELS "Python ${version}" ENVIRONMENT
        "TEST_PYTHON=${KBL_PYTHON_${version}_LIBRARY}|${KBL_PYTHON_${version}_STDLIB}|${KBL_PYTHON_${version}_PROGRAM}")
  endforeach()
endfunction()
