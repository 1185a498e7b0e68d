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
