# Toolchain file: builds for 64-bit Windows on a Debian machine, with the package g++-mingw-w64-x86-64-posix.
# KBL_MINGW_PREFIX names the folder in which the third-party libraries for Windows are installed.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR AMD64)
# The variant with POSIX threads: the other one has no std::thread.
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

set(KBL_MINGW_PREFIX "$ENV{KBL_MINGW_PREFIX}" CACHE PATH "Where the third-party libraries for Windows are installed")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES KBL_MINGW_PREFIX)
set(CMAKE_FIND_ROOT_PATH ${KBL_MINGW_PREFIX} /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} ${KBL_MINGW_PREFIX}/lib/pkgconfig)

find_program(KBL_WINE wine)
if(KBL_WINE)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${KBL_WINE})
endif()
