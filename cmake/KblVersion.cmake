# The one version is the project's. Headers see it as <ExternlMediaTransfer/Version.h>; the scripts, which are used as
# they stand, carry it in a file of their own that has to agree.
set(KBL_VERSION_HEADER ${PROJECT_BINARY_DIR}/include/ExternlMediaTransfer/Version.h)
configure_file(cmake/Version.h.in ${KBL_VERSION_HEADER} @ONLY)

set(KBL_SCRIPT_VERSION_FILE ${PROJECT_SOURCE_DIR}/python_home/pysocialnetwork/version.py)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${KBL_SCRIPT_VERSION_FILE})
file(STRINGS ${KBL_SCRIPT_VERSION_FILE} KBL_SCRIPT_VERSION REGEX "^VERSION = ")
if(NOT KBL_SCRIPT_VERSION STREQUAL "VERSION = \"${PROJECT_VERSION}\"")
  message(FATAL_ERROR "${KBL_SCRIPT_VERSION_FILE} must say VERSION = \"${PROJECT_VERSION}\"")
endif()

if(WIN32)
  enable_language(RC)
endif()

# kbl_version_resource(TARGET DESCRIPTION): what Windows shows of the file of a library or program.
function(kbl_version_resource target KBL_FILE_DESCRIPTION)
  if(NOT WIN32)
    return()
  endif()
  set(KBL_FILE_NAME ${target})
  get_target_property(type ${target} TYPE)
  if(type STREQUAL "EXECUTABLE")
    set(KBL_FILE_TYPE VFT_APP)
    set(KBL_FILE_SUFFIX exe)
  else()
    set(KBL_FILE_TYPE VFT_DLL)
    set(KBL_FILE_SUFFIX dll)
  endif()
  configure_file(${PROJECT_SOURCE_DIR}/cmake/Version.rc.in ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc @ONLY)
  # Apart from the target, whose options are those of another compiler.
  add_library(${target}_version OBJECT ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc)
  target_sources(${target} PRIVATE $<TARGET_OBJECTS:${target}_version>)
endfunction()
