# The reference of the public headers (tools/reference.sh) is installed only where it was made of the headers that are
# installed with it: a hash of those stands beside it.
#   cmake -D ROOT=FOLDER -P Reference.cmake          writes the hash, once the reference is made
#   cmake -D ROOT=FOLDER -D DESTINATION=FOLDER ...   installs the reference
file(GLOB_RECURSE sources ${ROOT}/include/*.h ${ROOT}/docs/reference/*)
list(SORT sources)
set(hashes "")
foreach(source IN LISTS sources)
  file(SHA256 ${source} hash)
  string(APPEND hashes "${hash}\n")
endforeach()
string(SHA256 made_of "${hashes}")
set(reference ${ROOT}/build/reference)

if(NOT DEFINED DESTINATION)
  file(WRITE ${reference}/made-of ${made_of})
elseif(EXISTS ${reference}/html)
  set(there "")
  if(EXISTS ${reference}/made-of)
    file(READ ${reference}/made-of there)
  endif()
  if(there STREQUAL made_of)
    file(INSTALL DESTINATION ${DESTINATION} TYPE DIRECTORY FILES ${reference}/html)
  else()
    message(STATUS "The reference in build/ is of other headers and stays behind; tools/reference.sh makes it anew")
  endif()
endif()
