# The CPythons of 3.8 to 3.13 that this machine has with a shared library, one a version, the system's own first: the
# tests of scripts run once under each.
#   kbl_find_pythons(): KBL_PYTHON_VERSIONS, and for each VERSION of it KBL_PYTHON_VERSION_PROGRAM (the interpreter),
#   ..._LIBRARY (its shared library) and ..._STDLIB (the folder of its standard library)

# The lists of candidates; programs that do not run (a version manager's place holders, for some) drop out later.
function(kbl_python_candidates out)
  set(found /usr/bin/python3)
  foreach(name python3 python3.8 python3.9 python3.10 python3.11 python3.12 python3.13)
    find_program(program ${name} NO_CACHE)
    if(program)
      list(APPEND found ${program})
    endif()
    unset(program)
  endforeach()
  foreach(root "$ENV{PYENV_ROOT}" "$ENV{HOME}/.pyenv")
    if(root)
      file(GLOB managed "${root}/versions/3.*/bin/python3")
      list(SORT managed COMPARE NATURAL ORDER DESCENDING)
      list(APPEND found ${managed})
    endif()
  endforeach()
  list(REMOVE_DUPLICATES found)
  set(${out} ${found} PARENT_SCOPE)
endfunction()

macro(kbl_find_pythons)
  set(KBL_PYTHON_VERSIONS "")
  kbl_python_candidates(kbl_candidates)
  foreach(candidate IN LISTS kbl_candidates)
    execute_process(
      COMMAND ${candidate} -I -c "import os, sys, sysconfig; value = sysconfig.get_config_var; \
print('%d.%d' % sys.version_info[:2], os.path.join(value('LIBDIR'), value('INSTSONAME')), \
sysconfig.get_path('stdlib'), sep=';')"
      OUTPUT_VARIABLE told ERROR_QUIET RESULT_VARIABLE failed OUTPUT_STRIP_TRAILING_WHITESPACE)
    if(NOT failed)
      list(GET told 0 version)
      list(GET told 1 library)
      list(GET told 2 stdlib)
      if(version VERSION_GREATER_EQUAL 3.8 AND version VERSION_LESS_EQUAL 3.13 AND EXISTS "${library}"
         AND library MATCHES "\\.(so|dylib|dll)" AND NOT version IN_LIST KBL_PYTHON_VERSIONS)
        list(APPEND KBL_PYTHON_VERSIONS ${version})
        set(KBL_PYTHON_${version}_PROGRAM ${candidate})
        set(KBL_PYTHON_${version}_LIBRARY ${library})
        set(KBL_PYTHON_${version}_STDLIB ${stdlib})
      endif()
    endif()
  endforeach()
  list(SORT KBL_PYTHON_VERSIONS COMPARE NATURAL)
  message(STATUS "Scripts are tested under Python: ${KBL_PYTHON_VERSIONS}")
  if(NOT KBL_PYTHON_VERSIONS)
    message(FATAL_ERROR "No CPython of 3.8 to 3.13 with a shared library; `tools/setup.sh test` installs one")
  endif()
endmacro()
