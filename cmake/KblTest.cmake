# kbl_test(NAME SOURCES file... LIBS target...): one GoogleTest program, each of its tests a ctest test.
find_package(GTest REQUIRED)
include(GoogleTest)

function(kbl_test name)
  cmake_parse_arguments(ARG "" "TIMEOUT" "SOURCES;LIBS" ${ARGN})
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 120)
  endif()
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE kbl_options ${ARG_LIBS} GTest::gmock_main)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  # The tests run a moment and compile for minutes: what is under test is optimised and watched for undefined
  # behaviour, the tests themselves need not be.
  if(NOT MSVC)
    target_compile_options(${name} PRIVATE $<$<CONFIG:Release>:-O0>)
  endif()
  if(KBL_SANITIZE MATCHES "undefined")
    target_compile_options(${name} PRIVATE -fno-sanitize=undefined)
  endif()
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST PROPERTIES TIMEOUT ${ARG_TIMEOUT})
endfunction()
