# Installation of the five shared libraries with their public headers (the HEADERS file set of each target), a CMake
# package for find_package(ExternlMediaTransfer) and a pkg-config file. What is installed can be moved as a whole.
# Three parts can be had alone (`cmake --install --component`): Library, what a finished host loads; Development, what
# it is built with; Tools, the program and the scripts.
include(CMakePackageConfigHelpers)

set(KBL_INSTALLED_LIBRARIES ExternlMediaTransfer BsNet KblUtils KblLogger BsCloudConfig)
set(KBL_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/ExternlMediaTransfer)

set_target_properties(${KBL_INSTALLED_LIBRARIES} PROPERTIES
  VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} INSTALL_RPATH "$ORIGIN")

# A project that adds this one to its own build links the names that find_package gives.
foreach(library IN LISTS KBL_INSTALLED_LIBRARIES)
  add_library(ExternlMediaTransfer::${library} ALIAS ${library})
endforeach()

# All of them at once.
add_library(ExternlMediaTransferHost INTERFACE)
target_link_libraries(ExternlMediaTransferHost INTERFACE ${KBL_INSTALLED_LIBRARIES})
set_target_properties(ExternlMediaTransferHost PROPERTIES EXPORT_NAME Host)
add_library(ExternlMediaTransfer::Host ALIAS ExternlMediaTransferHost)

if(NOT KBL_INSTALL)
  return()
endif()

# Programs, which come after this file, install themselves; they find the libraries from where they stand.
set(CMAKE_INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")

install(TARGETS ${KBL_INSTALLED_LIBRARIES} ExternlMediaTransferHost EXPORT ExternlMediaTransferTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Library
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Library NAMELINK_COMPONENT Development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Development
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT Development)
install(EXPORT ExternlMediaTransferTargets NAMESPACE ExternlMediaTransfer:: DESTINATION ${KBL_PACKAGE_DIR}
  COMPONENT Development)

list(JOIN KBL_INSTALLED_LIBRARIES " " KBL_COMPONENTS)
configure_package_config_file(cmake/ExternlMediaTransferConfig.cmake.in
  ${PROJECT_BINARY_DIR}/ExternlMediaTransferConfig.cmake INSTALL_DESTINATION ${KBL_PACKAGE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ExternlMediaTransferConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/ExternlMediaTransferConfig.cmake cmake/ExternlMediaTransferSandbox.cmake
  ${PROJECT_BINARY_DIR}/ExternlMediaTransferConfigVersion.cmake DESTINATION ${KBL_PACKAGE_DIR}
  COMPONENT Development)

# The scripts and the tool that makes a Python home of them, which finds them from where it stands.
set(KBL_SCRIPT_DIR ${CMAKE_INSTALL_DATADIR}/ExternlMediaTransfer)
install(DIRECTORY python_home DESTINATION ${KBL_SCRIPT_DIR} COMPONENT Tools FILES_MATCHING PATTERN "*.py")
install(PROGRAMS tools/make_python_home DESTINATION ${KBL_SCRIPT_DIR}/tools COMPONENT Tools)

# Whoever passes the package on has to name what it is linked with. The reference is there once tools/reference.sh
# made it of these headers.
set(KBL_DOC_DIR ${CMAKE_INSTALL_DATAROOTDIR}/doc/ExternlMediaTransfer)
install(FILES THIRD-PARTY-NOTICES.md CHANGELOG.md DESTINATION ${KBL_DOC_DIR} COMPONENT Development)
install(DIRECTORY docs examples DESTINATION ${KBL_DOC_DIR} COMPONENT Development PATTERN reference EXCLUDE)
install(CODE "
  set(ROOT \"${PROJECT_SOURCE_DIR}\")
  set(DESTINATION \"\${CMAKE_INSTALL_PREFIX}/${KBL_DOC_DIR}/reference\")
  include(\"${PROJECT_SOURCE_DIR}/cmake/Reference.cmake\")" COMPONENT Development)

file(RELATIVE_PATH KBL_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(cmake/ExternlMediaTransfer.pc.in ExternlMediaTransfer.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/ExternlMediaTransfer.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT Development)
