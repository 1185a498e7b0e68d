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
endif()

find_program(KBL_CCACHE ccache)
if(KBL_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${KBL_CCACHE})
endif()

add_library(kbl_options INTERFACE)
if(MSVC)
  target_compile_options(kbl_options INTERFACE /W4 /WX /utf-8)
else()
  target_compile_options(kbl_options INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # Optimising, GCC 12 sees overlapping copies in every `"text" + string` (its bug 105651).
    target_compile_options(kbl_options INTERFACE -Wno-restrict)
  endif()
endif()
target_include_directories(kbl_options INTERFACE $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/src>)

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

# kbl_stay_loaded(TARGET): a shared library whose threads may run until the process ends stays mapped once loaded.
function(kbl_stay_loaded target)
  if(WIN32)
    target_sources(${target} PRIVATE ${PROJECT_SOURCE_DIR}/src/foundation/KblUtils/system/StayLoadedWindows.cpp)
  else()
    target_link_options(${target} PRIVATE -Wl,-z,nodelete)
  endif()
endfunction()
