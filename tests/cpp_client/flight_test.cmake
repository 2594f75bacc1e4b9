# The example flight records, goes on with what it recorded, and shows all.
file(REMOVE_RECURSE ${folder})
file(MAKE_DIRECTORY ${folder})
foreach(expected 3 6)
  execute_process(COMMAND ${program} ${folder}/flight 3 0
    RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE errors)
  string(REGEX MATCHALL "sample [0-9]+[.][0-9]+ [0-9]+[.][0-9]+ [0-9]+[.]"
    samples "${output}")
  list(LENGTH samples found)
  if(NOT status EQUAL 0 OR NOT found EQUAL expected)
    message(FATAL_ERROR
      "status ${status}, ${found} samples, not ${expected}:\n"
      "${output}${errors}")
  endif()
endforeach()
execute_process(COMMAND ${program} ${folder}/missing/flight 3 0
  RESULT_VARIABLE status OUTPUT_QUIET ERROR_VARIABLE errors)
if(NOT status EQUAL 1 OR NOT errors MATCHES "could not be opened")
  message(FATAL_ERROR "status ${status} for a missing folder: ${errors}")
endif()
