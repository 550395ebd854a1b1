# One black-box case of velmora-align, run as
#   cmake -DTOOL=<tool> -DWORK_DIR=<dir> [-DRUN_DIR=<dir>] [-DTESTKIT=<kit> -DGEN="..." -DCHECK="..."]
#         [-DSTDIN=<file>] [-DSTATUS=<n>] [-DSTDERR=<line>] [-DQUIET=1] [-DSTDERR_REGEX=<re>]
#         [-DSTDOUT_REGEX=<re>] -P run_case.cmake -- <tool arguments>
# GEN: testkit arguments (a subcommand and its arguments) run first in WORK_DIR; the tool runs in
# RUN_DIR (default WORK_DIR); CHECK: testkit "check" arguments run last, with the tool's standard
# output saved as WORK_DIR/out.txt. STDERR is the one line standard error must hold exactly; QUIET
# requires it empty. Whatever the case, a failed run must leave standard output empty and end
# standard error with one "velmora-align: error: " line.
cmake_minimum_required(VERSION 3.20)

set(args)
set(collect FALSE)
math(EXPR last "${CMAKE_ARGC} - 1")
foreach(i RANGE 0 ${last})
  if(collect)
    list(APPEND args "${CMAKE_ARGV${i}}")
  elseif("${CMAKE_ARGV${i}}" STREQUAL "--")
    set(collect TRUE)
  endif()
endforeach()
if(NOT DEFINED STATUS)
  set(STATUS 0)
endif()
if(NOT DEFINED RUN_DIR)
  set(RUN_DIR "${WORK_DIR}")
endif()
file(MAKE_DIRECTORY "${WORK_DIR}")

if(DEFINED GEN)
  separate_arguments(gen_args UNIX_COMMAND "${GEN}")
  execute_process(COMMAND "${TESTKIT}" ${gen_args} WORKING_DIRECTORY "${WORK_DIR}"
                  RESULT_VARIABLE rc ERROR_VARIABLE kit_err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "generation failed (${rc}): ${kit_err}")
  endif()
endif()

set(input_option)
if(DEFINED STDIN)
  set(input_option INPUT_FILE "${STDIN}")
endif()
execute_process(COMMAND "${TOOL}" ${args} WORKING_DIRECTORY "${RUN_DIR}" ${input_option}
                RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
file(WRITE "${WORK_DIR}/out.txt" "${out}")

set(failures "")
if(NOT "${status}" STREQUAL "${STATUS}")
  string(APPEND failures "exit status ${status}, expected ${STATUS}\n")
endif()
if(DEFINED STDERR AND NOT "${err}" STREQUAL "${STDERR}\n")
  string(APPEND failures "standard error differs; expected:\n${STDERR}\n")
endif()
if(QUIET AND NOT "${err}" STREQUAL "")
  string(APPEND failures "standard error is not empty\n")
endif()
if(DEFINED STDERR_REGEX AND NOT "${err}" MATCHES "${STDERR_REGEX}")
  string(APPEND failures "standard error does not match ${STDERR_REGEX}\n")
endif()
if(DEFINED STDOUT_REGEX AND NOT "${out}" MATCHES "${STDOUT_REGEX}")
  string(APPEND failures "standard output does not match ${STDOUT_REGEX}\n")
endif()
if(NOT "${status}" STREQUAL "0")
  if(NOT "${out}" STREQUAL "")
    string(APPEND failures "a failed run wrote to standard output\n")
  endif()
  if(NOT "${err}" MATCHES "(^|\n)velmora-align: error: [^\n]*\n$")
    string(APPEND failures "standard error does not end with one error line\n")
  endif()
endif()
if(failures STREQUAL "" AND DEFINED CHECK)
  separate_arguments(check_args UNIX_COMMAND "${CHECK}")
  execute_process(COMMAND "${TESTKIT}" check out.txt ${check_args} WORKING_DIRECTORY "${WORK_DIR}"
                  RESULT_VARIABLE rc ERROR_VARIABLE kit_err)
  if(NOT rc EQUAL 0)
    string(APPEND failures "check failed: ${kit_err}")
  endif()
endif()
if(NOT failures STREQUAL "")
  message(FATAL_ERROR "velmora-align ${args}\n${failures}--- standard output:\n${out}--- standard error:\n${err}")
endif()
