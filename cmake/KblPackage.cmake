# What CPack makes of what is installed (tools/package.sh calls it): three Debian packages, one a part, and an archive for Windows.
# KBL_DEBIAN_DIR is the folder of files that a Debian package wants beside, which tools/package.sh has written; without it only
# the archive can be made.
set(KBL_DEBIAN_DIR "" CACHE PATH "Files for the Debian packages")
set(KBL_DEBIAN_PYTHON "" CACHE STRING "The Debian packages with the Python that scripts run in")

set(KBL_LICENCES_DIR "" CACHE PATH "The terms of what is linked into an archive's binaries")

set(CPACK_PACKAGE_NAME mediatransfer)
set(CPACK_PACKAGE_VENDOR mediatransfer)
set(CPACK_PACKAGE_CONTACT "The media-transfer authors <mediatransfer@localhost>")
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL Library Development Tools)

# The archive has all parts in one folder.
set(CPACK_ARCHIVE_COMPONENT_INSTALL OFF)
set(CPACK_PACKAGE_FILE_NAME "mediatransfer-${PROJECT_VERSION}-${CMAKE_SYSTEM_NAME}-x86_64")

if(KBL_LICENCES_DIR)
  install(DIRECTORY ${KBL_LICENCES_DIR}/ DESTINATION ${KBL_DOC_DIR}/licences COMPONENT Library)
endif()

if(KBL_DEBIAN_DIR)
  set(library libexternlmediatransfer${PROJECT_VERSION_MAJOR})
  set(CPACK_DEB_COMPONENT_INSTALL ON)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS OFF)
  set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/lib)
  # The first line is the project's own; these follow.
  set(what "Libraries that sign people in to external media platforms through an account
server, send their videos there and fetch what they have there.")
  set(CPACK_COMPONENT_LIBRARY_DESCRIPTION "${what}
This package has what a finished program loads.")
  set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "${what}
This package has headers, CMake package, pkg-config file, stand-in servers for
tests, documents and examples.")
  set(CPACK_COMPONENT_TOOLS_DESCRIPTION "${what}
This package has a program for the command line, with stand-ins of all servers,
and the scripts of some platforms with the tool that makes a home for Python.")

  set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${library})
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${KBL_DEBIAN_DIR}/library/shlibs ${KBL_DEBIAN_DIR}/library/triggers)

  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libexternlmediatransfer-dev)
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${library} (= ${PROJECT_VERSION})")
  # What the component Sandbox of the CMake package looks for.
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_RECOMMENDS
    "libssl-dev, libsqlite3-dev, zlib1g-dev, libjsoncpp-dev, libcpp-httplib-dev, pkg-config")

  set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME mediatransfer-tools)
  set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION net)
  set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${library} (= ${PROJECT_VERSION}), python3, ${KBL_DEBIAN_PYTHON}")
  set(CPACK_DEBIAN_TOOLS_PACKAGE_CONTROL_EXTRA ${KBL_DEBIAN_DIR}/tools/postinst ${KBL_DEBIAN_DIR}/tools/prerm
    ${KBL_DEBIAN_DIR}/tools/triggers)

  foreach(part Library Development Tools)
    string(TOUPPER ${part} upper)
    string(TOLOWER ${part} lower)
    set(package ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
    install(FILES ${KBL_DEBIAN_DIR}/copyright ${KBL_DEBIAN_DIR}/changelog.gz
      DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${package} COMPONENT ${part})
    install(FILES ${KBL_DEBIAN_DIR}/${lower}/overrides DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/lintian/overrides
      RENAME ${package} COMPONENT ${part})
    install(DIRECTORY ${KBL_DEBIAN_DIR}/licences DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${package} COMPONENT ${part})
  endforeach()
  install(CODE "execute_process(COMMAND_ERROR_IS_FATAL ANY COMMAND
    gzip -9nf \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_MANDIR}/man1/mediatransfer.1\")" COMPONENT Tools)
endif()
include(CPack)
