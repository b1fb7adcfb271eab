# cmake -DPATTERN=... -P run_program.cmake -- PROGRAM ARGUMENT...: the program must end with 0, and what
# it writes must match.
math(EXPR last "${CMAKE_ARGC} - 1")
set(command "")
foreach(i RANGE ${last})
  if(CMAKE_ARGV${i} STREQUAL "--")
    set(command "")
  else()
    list(APPEND command "${CMAKE_ARGV${i}}")
  endif()
endforeach()
execute_process(COMMAND ${command}
  RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE output)
message("${output}")
if(NOT status EQUAL 0)
  message(FATAL_ERROR "The program ended with ${status}")
elseif(NOT output MATCHES "${PATTERN}")
  message(FATAL_ERROR "The program did not write ${PATTERN}")
endif()
