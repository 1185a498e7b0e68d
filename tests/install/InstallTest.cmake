cmake_minimum_required(VERSION 3.25)

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE code OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT code EQUAL 0)
    list(JOIN ARGN " " command)
    message(FATAL_ERROR "${command}\nended with ${code}:\n${output}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

function(expect_equal actual expected what)
  if(NOT "${actual}" STREQUAL "${expected}")
    message(FATAL_ERROR "${what}:\n${actual}\nnot\n${expected}")
  endif()
endfunction()

file(REMOVE_RECURSE ${WORK})
run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/first)
# A package that holds a path of its own breaks here.
file(RENAME ${WORK}/first ${WORK}/moved)
set(prefix ${WORK}/moved)

# Nothing but what was meant to be installed, in these folders.
file(GLOB top RELATIVE ${prefix} ${prefix}/*)
file(GLOB libraries RELATIVE ${prefix}/${LIBDIR} ${prefix}/${LIBDIR}/*)
file(GLOB rooms RELATIVE ${prefix}/${INCLUDEDIR} ${prefix}/${INCLUDEDIR}/* ${prefix}/${INCLUDEDIR}/*/*)
set(expected_libraries cmake pkgconfig)
foreach(name BsCloudConfig BsNet ExternlMediaTransfer KblLogger KblUtils)
  list(APPEND expected_libraries lib${name}.so lib${name}.so.${SOVERSION} lib${name}.so.${VERSION})
endforeach()
list(SORT libraries)
list(SORT expected_libraries)
expect_equal("${libraries}" "${expected_libraries}" "libraries")
expect_equal("${top}" "bin;${INCLUDEDIR};lib;share" "top folders")
expect_equal("${rooms}"
  "ExternlMediaTransfer;ExternlMediaTransfer/authorize;ExternlMediaTransfer/boundary;ExternlMediaTransfer/foundation"
  "include folders")

# Headers that only the library itself may see stay at home; what is installed is complete.
file(GLOB_RECURSE headers RELATIVE ${prefix}/${INCLUDEDIR}/ExternlMediaTransfer ${prefix}/${INCLUDEDIR}/*.h)
list(SORT headers)
foreach(private authorize/switchboard/AuthorizeTable.h foundation/KblUtils/SqliteConnection.h
                foundation/KblUtils/system/System.h boundary/ExternlMediaUpTransfer.h boundary/records/Records.h)
  if(private IN_LIST headers)
    message(FATAL_ERROR "${private} was installed")
  endif()
endforeach()
set(includes "")
foreach(header IN LISTS headers)
  string(APPEND includes "#include \"${header}\"\n")
endforeach()
file(WRITE ${WORK}/AllHeaders.cpp "${includes}")

set(flags "")
if(SANITIZE)
  set(flags "-fsanitize=${SANITIZE}")
endif()

# The tool finds the scripts beside it.
run(${prefix}/share/ExternlMediaTransfer/tools/make_python_home ${WORK}/home)
set(scripts ${SOURCE}/../../python_home)
file(GLOB ours RELATIVE ${scripts} ${scripts}/*/*.py)
foreach(script IN LISTS ours)
  file(READ ${scripts}/${script} wanted)
  file(READ ${WORK}/home/${script} found)
  expect_equal("${found}" "${wanted}" "${script}")
endforeach()

# The program finds the libraries beside it.
run(${prefix}/bin/mediatransfer --help)

# The way of CMake.
run(${CMAKE_COMMAND} -S ${SOURCE}/consumer -B ${WORK}/consumer -D CMAKE_PREFIX_PATH=${prefix}
  -D CMAKE_CXX_COMPILER=${COMPILER} -D CMAKE_CXX_FLAGS=${flags} -D ALL_HEADERS=${WORK}/AllHeaders.cpp)
run(${CMAKE_COMMAND} --build ${WORK}/consumer)
run(${WORK}/consumer/consumer)
expect_equal("${output}" "a host runs\n" "output of the CMake host")

# The way of pkg-config.
set(ENV{PKG_CONFIG_PATH} ${prefix}/${LIBDIR}/pkgconfig)
run(pkg-config --cflags --libs ExternlMediaTransfer)
string(STRIP "${output}" options)
separate_arguments(options UNIX_COMMAND "${options}")
run(pkg-config --modversion ExternlMediaTransfer)
expect_equal("${output}" "${VERSION}\n" "version")
run(${COMPILER} -std=c++20 ${flags} ${SOURCE}/consumer/Consumer.cpp -o ${WORK}/by-pkg-config ${options}
  -Wl,-rpath,${prefix}/${LIBDIR})
run(${WORK}/by-pkg-config)
expect_equal("${output}" "a host runs\n" "output of the pkg-config host")
