# Toolchain file: builds for 64-bit Windows on a Debian machine. `tools/setup.sh windows` installs the compiler and wine and
# builds the third-party libraries; KBL_MINGW_PREFIX, in the environment or the cache, names a folder of others.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR AMD64)
# The variant with POSIX threads: the other one has no std::thread.
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

get_property(kbl_tries GLOBAL PROPERTY IN_TRY_COMPILE)
if(NOT KBL_MINGW_PREFIX AND NOT DEFINED ENV{KBL_MINGW_PREFIX})
  execute_process(COMMAND ${CMAKE_CURRENT_LIST_DIR}/../tools/windows/libraries.sh --where
    OUTPUT_VARIABLE kbl_where OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  if(NOT EXISTS "${kbl_where}")
    message(FATAL_ERROR "There are no third-party libraries in ${kbl_where}; `tools/setup.sh windows` builds them")
  endif()
  set(ENV{KBL_MINGW_PREFIX} "${kbl_where}")
  set(KBL_MINGW_FOUND "${kbl_where}" CACHE INTERNAL "The folder of the third-party libraries that nobody named")
elseif(NOT kbl_tries AND KBL_MINGW_PREFIX AND KBL_MINGW_PREFIX STREQUAL KBL_MINGW_FOUND)
  # Their versions or the recipe may have changed since, and with them the folder.
  execute_process(COMMAND ${CMAKE_CURRENT_LIST_DIR}/../tools/windows/libraries.sh --where
    OUTPUT_VARIABLE kbl_where OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  if(NOT kbl_where STREQUAL KBL_MINGW_FOUND)
    message(FATAL_ERROR "The third-party libraries are in ${kbl_where} by now; configure with --fresh")
  endif()
endif()
set(KBL_MINGW_PREFIX "$ENV{KBL_MINGW_PREFIX}" CACHE PATH "Where the third-party libraries for Windows are installed")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES KBL_MINGW_PREFIX)
set(CMAKE_FIND_ROOT_PATH ${KBL_MINGW_PREFIX} /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} ${KBL_MINGW_PREFIX}/lib/pkgconfig)

# Each library and program has the compiler's own libraries within: a host need not have them, and wine finds them nowhere.
# What they keep of their own, each copy for itself, must not be asked for across libraries: an exception is thrown and
# caught across them, but rethrown by a bare `throw` only where it was caught, and a thread is joined where it was started.
set(CMAKE_EXE_LINKER_FLAGS_INIT -static)
set(CMAKE_SHARED_LINKER_FLAGS_INIT -static)
set(CMAKE_MODULE_LINKER_FLAGS_INIT -static)
# A static zlib and no other: wine brings one of its own under the name of the shared one.
set(ZLIB_LIBRARY /usr/x86_64-w64-mingw32/lib/libz.a CACHE FILEPATH "")

# The package wine64 puts it outside of the path.
find_program(KBL_WINE NAMES wine64 wine PATHS /usr/lib/wine)
if(KBL_WINE)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${KBL_WINE})
endif()
