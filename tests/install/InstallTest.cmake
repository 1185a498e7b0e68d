cmake_minimum_required(VERSION 3.25)
include(${CMAKE_CURRENT_LIST_DIR}/Run.cmake)

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
file(GLOB folders RELATIVE ${prefix}/${INCLUDEDIR} ${prefix}/${INCLUDEDIR}/*)
set(expected_libraries cmake pkgconfig libMediaTransferSandbox.a)
foreach(name BsCloudConfig BsNet ExternlMediaTransfer KblLogger KblUtils)
  list(APPEND expected_libraries lib${name}.so lib${name}.so.${SOVERSION} lib${name}.so.${VERSION})
endforeach()
list(SORT libraries)
list(SORT expected_libraries)
expect_equal("${libraries}" "${expected_libraries}" "libraries")
expect_equal("${top}" "bin;${INCLUDEDIR};lib;share" "top folders")
expect_equal("${folders}" "BsCloudConfig;BsNet;ExternlMediaTransfer;KblLogger;KblUtils;MediaTransferSandbox"
  "include folders")

# What the program has written about itself.
file(READ ${prefix}/share/man/man1/mediatransfer.1 manual)
string(FIND "${manual}" ".TH MEDIATRANSFER 1 " place)
expect_equal("${place}" "0" "place of the manual's name")
foreach(completion bash-completion/completions/mediatransfer zsh/site-functions/_mediatransfer
                   fish/vendor_completions.d/mediatransfer.fish)
  file(READ ${prefix}/share/${completion} script)
  string(FIND "${script}" "youtube" place)
  if(place LESS 0)
    message(FATAL_ERROR "${completion} names no platform")
  endif()
endforeach()

# What is installed is what stands in include/, and it is complete.
set(public ${SOURCE}/../../include)
file(GLOB_RECURSE headers RELATIVE ${prefix}/${INCLUDEDIR} ${prefix}/${INCLUDEDIR}/*.h)
file(GLOB_RECURSE expected_headers RELATIVE ${public} ${public}/*.h)
list(APPEND expected_headers ExternlMediaTransfer/Version.h)
list(SORT headers)
list(SORT expected_headers)
expect_equal("${headers}" "${expected_headers}" "headers")
set(includes "")
foreach(header IN LISTS headers)
  string(APPEND includes "#include <${header}>\n")
endforeach()
file(WRITE ${WORK}/AllHeaders.cpp "${includes}")

set(flags "")
if(SANITIZE)
  set(flags "-fsanitize=${SANITIZE}")
endif()

# A reference that was made of other headers stays behind.
set(tree ${WORK}/tree)
set(reference ${WORK}/reference)
file(WRITE ${tree}/include/Public.h "one")
file(WRITE ${tree}/build/reference/html/index.html "of one")
set(script ${SOURCE}/../../cmake/Reference.cmake)
run(${CMAKE_COMMAND} -D ROOT=${tree} -P ${script})
run(${CMAKE_COMMAND} -D ROOT=${tree} -D DESTINATION=${reference} -P ${script})
if(NOT EXISTS ${reference}/html/index.html)
  message(FATAL_ERROR "the reference of these headers is missing")
endif()
file(REMOVE_RECURSE ${reference})
file(WRITE ${tree}/include/Public.h "two")
run(${CMAKE_COMMAND} -D ROOT=${tree} -D DESTINATION=${reference} -P ${script})
if(EXISTS ${reference})
  message(FATAL_ERROR "a reference of other headers was installed")
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

# The notices name every library that is loaded and not ours.
file(READ ${prefix}/share/doc/ExternlMediaTransfer/THIRD-PARTY-NOTICES.md notices)
file(GLOB binaries ${prefix}/bin/* ${prefix}/${LIBDIR}/*.so)
run(readelf -d ${binaries})
string(REPLACE "[" "" output "${output}")  # a bracket would hold a list together
string(REGEX MATCHALL "Shared library: [^\n]*\\.so" loaded "${output}")
list(TRANSFORM loaded REPLACE "Shared library: " "")
list(REMOVE_DUPLICATES loaded)
list(FILTER loaded EXCLUDE REGEX "^lib(BsCloudConfig|BsNet|ExternlMediaTransfer|KblLogger|KblUtils|[a-z]+san)\\.so$")
foreach(library libcurl.so ${loaded})
  string(FIND "${notices}" "`${library}`" place)
  if(place EQUAL -1 OR NOT library IN_LIST loaded)
    message(FATAL_ERROR "${library} is not both loaded and named in THIRD-PARTY-NOTICES.md: ${loaded}")
  endif()
endforeach()

# Documents and examples come along.
set(documents ${prefix}/share/doc/ExternlMediaTransfer)
foreach(document docs/host-guide.md docs/performance.svg examples/minimal_upload.cpp CHANGELOG.md)
  if(NOT EXISTS ${documents}/${document})
    message(FATAL_ERROR "${document} is not installed")
  endif()
endforeach()

# The program finds the libraries beside it.
run(${prefix}/bin/mediatransfer --help)

# The way of CMake.
run(${CMAKE_COMMAND} -S ${SOURCE}/consumer -B ${WORK}/consumer -D CMAKE_PREFIX_PATH=${prefix}
  -D CMAKE_CXX_COMPILER=${COMPILER} -D CMAKE_CXX_FLAGS=${flags} -D ALL_HEADERS=${WORK}/AllHeaders.cpp)
run(${CMAKE_COMMAND} --build ${WORK}/consumer)
run(${WORK}/consumer/consumer)
expect_equal("${output}" "a host runs\n" "output of the CMake host")

# A host's own test, which runs the stand-in servers in its process, as it comes with the package.
run(${CMAKE_COMMAND} -S ${documents}/examples/host_test -B ${WORK}/host_test -D CMAKE_PREFIX_PATH=${prefix}
  -D CMAKE_CXX_COMPILER=${COMPILER} -D CMAKE_CXX_STANDARD=17 "-D CMAKE_CXX_FLAGS=-Wall -Wextra -Wpedantic -Werror ${flags}")
run(${CMAKE_COMMAND} --build ${WORK}/host_test)
run(${CMAKE_CTEST_COMMAND} --test-dir ${WORK}/host_test --no-tests=error --verbose)
if(NOT output MATCHES "signed in, uploaded, refused")
  message(FATAL_ERROR "the host's own test:\n${output}")
endif()

# Where what the stand-ins are made of is missing, the part is, with a reason, and the rest is there.
run(${CMAKE_COMMAND} -S ${SOURCE}/without_sandbox -B ${WORK}/without_sandbox -D CMAKE_PREFIX_PATH=${prefix}
  -D CMAKE_CXX_COMPILER=${COMPILER})

# The way of pkg-config.
set(ENV{PKG_CONFIG_PATH} ${prefix}/${LIBDIR}/pkgconfig)
run(pkg-config --cflags --libs ExternlMediaTransfer)
string(STRIP "${output}" options)
separate_arguments(options UNIX_COMMAND "${options}")
run(pkg-config --modversion ExternlMediaTransfer)
expect_equal("${output}" "${VERSION}\n" "version")
run(${COMPILER} -std=c++17 ${flags} ${SOURCE}/consumer/Consumer.cpp -o ${WORK}/by-pkg-config ${options}
  -Wl,-rpath,${prefix}/${LIBDIR})
run(${WORK}/by-pkg-config)
expect_equal("${output}" "a host runs\n" "output of the pkg-config host")
