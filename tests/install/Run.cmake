# run(COMMAND...): runs a command, which has to succeed; what it wrote stands in `output`.
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE code OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT code EQUAL 0)
    list(JOIN ARGN " " command)
    message(FATAL_ERROR "${command}\nended with ${code}:\n${output}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()
