# Language level, warnings and sanitizers of our own code, as one interface target.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

if(WIN32)
  set(CMAKE_SHARED_LIBRARY_PREFIX "")  # one name a library, whichever compiler builds it
  add_compile_definitions(_WIN32_WINNT=0x0A00)  # Windows 10, as the server library of sandbox and tests asks for
endif()

find_program(KBL_CCACHE ccache)
if(KBL_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  # The two let it keep what is compiled with a precompiled header.
  set(CMAKE_CXX_COMPILER_LAUNCHER
      ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros ${KBL_CCACHE})
  add_compile_options($<$<COMPILE_LANG_AND_ID:CXX,GNU>:-fpch-preprocess>)
endif()

add_library(kbl_options INTERFACE)
if(MSVC)
  # What MSVC does by the standard only when it is asked to. C4251 and C4275 tell of classes that cross the boundary with
  # members and bases of the standard library's: host and libraries come from one compiler family.
  target_compile_options(kbl_options INTERFACE /W4 /utf-8 /permissive- /Zc:__cplusplus /Zc:preprocessor /EHsc /wd4251 /wd4275
    $<$<BOOL:${KBL_WARNINGS_AS_ERRORS}>:/WX>)
  target_compile_definitions(kbl_options INTERFACE NOMINMAX)
else()
  target_compile_options(kbl_options INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion
    $<$<BOOL:${KBL_WARNINGS_AS_ERRORS}>:-Werror>)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # Optimising, GCC 12 sees overlapping copies in every `"text" + string` (its bug 105651).
    target_compile_options(kbl_options INTERFACE -Wno-restrict)
  endif()
endif()
target_include_directories(kbl_options INTERFACE $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
  $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/include>)

if(KBL_SANITIZE)
  add_compile_options(-fsanitize=${KBL_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${KBL_SANITIZE})
  # Instrumented code makes GCC see uninitialised values where there are none (in <regex>, for one).
  add_compile_options($<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
endif()

# Coverage of our own code, which steers the fuzzer.
if(KBL_BUILD_FUZZERS)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# Under a sanitizer, what most of our own code includes is compiled once. The release build goes without, so that it
# finds a file that does not include what it needs.
if(KBL_SANITIZE)
  file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/prelude.cpp CONTENT "")
  add_library(kbl_prelude OBJECT ${PROJECT_BINARY_DIR}/prelude.cpp)
  target_link_libraries(kbl_prelude PRIVATE kbl_options)
  target_precompile_headers(kbl_prelude PRIVATE
    <algorithm> <array> <atomic> <chrono> <condition_variable> <filesystem> <functional> <map> <memory> <mutex>
    <optional> <string> <string_view> <thread> <utility> <vector>)
endif()

# kbl_precompiled(TARGET...): libraries of ours that have most of it.
function(kbl_precompiled)
  if(NOT KBL_SANITIZE)
    return()
  endif()
  foreach(target IN LISTS ARGN)
    target_precompile_headers(${target} REUSE_FROM kbl_prelude)
  endforeach()
endfunction()

# kbl_public_headers(TARGET HEADER...): headers of include/TARGET, which are all that is installed.
function(kbl_public_headers target)
  list(TRANSFORM ARGN PREPEND ${PROJECT_SOURCE_DIR}/include/${target}/ OUTPUT_VARIABLE headers)
  target_sources(${target} PUBLIC FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR}/include FILES ${headers})
endfunction()

# kbl_stay_loaded(TARGET): a shared library whose threads may run until the process ends stays mapped once loaded.
function(kbl_stay_loaded target)
  if(WIN32)
    target_sources(${target} PRIVATE ${PROJECT_SOURCE_DIR}/src/foundation/system/StayLoadedWindows.cpp)
  else()
    target_link_options(${target} PRIVATE -Wl,-z,nodelete)
  endif()
endfunction()
