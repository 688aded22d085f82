# Runs one command and checks its exit status and output.
#
#   cmake [-DSETUP=<program;args...>]  run first; must succeed
#         -DCOMMAND=<program;args...> [-DEXPECT_STATUS=0]
#         [-DINPUT=<file>]         standard input of COMMAND
#         [-DPASS=<regex;...>]     every one must match stdout+stderr
#         [-DLITERAL=<text;...>]   every one must occur verbatim
#         [-DFAIL=<regex;...>]     none may match
#         -P run_and_check.cmake
#
# Unlike PASS_REGULAR_EXPRESSION, which passes when any one expression
# matches and ignores the exit status, every condition here must hold.
if(NOT DEFINED COMMAND)
  message(FATAL_ERROR "run_and_check: COMMAND not given")
endif()
if(NOT DEFINED EXPECT_STATUS)
  set(EXPECT_STATUS 0)
endif()

if(DEFINED SETUP)
  execute_process(COMMAND ${SETUP} RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT status EQUAL 0)
    string(REPLACE ";" " " shown "${SETUP}")
    message(FATAL_ERROR "setup failed: ${shown}: status ${status}\n${out}")
  endif()
endif()

set(input_option "")
if(DEFINED INPUT)
  set(input_option INPUT_FILE "${INPUT}")
endif()
execute_process(COMMAND ${COMMAND} ${input_option}
  RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
set(all "${out}${err}")
string(REPLACE ";" " " shown "${COMMAND}")
message("$ ${shown}\n--- stdout\n${out}--- stderr\n${err}--- status ${status}")

set(problems "")
if(NOT "${status}" STREQUAL "${EXPECT_STATUS}")
  string(APPEND problems "exit status ${status}, expected ${EXPECT_STATUS}\n")
endif()
foreach(re IN LISTS PASS)
  if(NOT all MATCHES "${re}")
    string(APPEND problems "output does not match: ${re}\n")
  endif()
endforeach()
foreach(text IN LISTS LITERAL)
  string(FIND "${all}" "${text}" at)
  if(at EQUAL -1)
    string(APPEND problems "output does not contain: ${text}\n")
  endif()
endforeach()
foreach(re IN LISTS FAIL)
  if(all MATCHES "${re}")
    string(APPEND problems "output matches what it must not: ${re}\n")
  endif()
endforeach()
if(problems)
  message(FATAL_ERROR "${problems}")
endif()
