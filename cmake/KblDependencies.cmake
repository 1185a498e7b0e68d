# Third-party libraries, all from the system's packages (tools/setup.sh installs them).
find_package(Threads REQUIRED)
find_package(CURL REQUIRED)
find_package(SQLite3 REQUIRED)
find_package(spdlog REQUIRED)
find_package(utf8cpp REQUIRED)
if(KBL_BUILD_PROGRAM)
  find_package(CLI11 REQUIRED)
endif()
find_package(PkgConfig REQUIRED)
pkg_check_modules(JSONCPP REQUIRED IMPORTED_TARGET GLOBAL jsoncpp)
if(KBL_BUILD_SANDBOX)
  pkg_check_modules(HTTPLIB REQUIRED IMPORTED_TARGET GLOBAL cpp-httplib)
endif()

# The distribution's mbed TLS comes without a CMake package.
find_library(KBL_MBEDCRYPTO mbedcrypto REQUIRED)
find_path(KBL_MBEDTLS_INCLUDE mbedtls/aes.h REQUIRED)
add_library(kbl_mbedcrypto INTERFACE IMPORTED GLOBAL)
target_link_libraries(kbl_mbedcrypto INTERFACE ${KBL_MBEDCRYPTO})
target_include_directories(kbl_mbedcrypto INTERFACE ${KBL_MBEDTLS_INCLUDE})

# For the desktop example alone, which is left out without it.
if(KBL_BUILD_EXAMPLES)
  find_package(Qt6 QUIET COMPONENTS Widgets)
endif()
