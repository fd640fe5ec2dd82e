# step(COMMAND...): runs one command and stops with its output when it fails.
function(step)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT status EQUAL 0)
    string(REPLACE ";" " " command "${ARGV}")
    message(FATAL_ERROR "failed (${status}): ${command}\n${output}")
  endif()
endfunction()
