# Every error code the public header defines must have a meaning in lx's
# error table; otherwise lx reports it as "unknown error code".
#
#   cmake -DHEADER=include/lorvex.h -DTABLE=tools/lx/errors.cpp -P check_error_table.cmake
file(STRINGS "${HEADER}" defines REGEX "^#define[ \t]+LX_(OK|ERR_[A-Z0-9_]+)[ \t]")
file(READ "${TABLE}" table)
set(missing "")
set(count 0)
foreach(line IN LISTS defines)
  string(REGEX REPLACE "^#define[ \t]+([A-Z0-9_]+).*" "\\1" name "${line}")
  math(EXPR count "${count} + 1")
  if(NOT table MATCHES "{${name}, \"[^\"]+\"}")
    list(APPEND missing ${name})
  endif()
endforeach()
if(count LESS 2)
  message(FATAL_ERROR "found ${count} error codes in ${HEADER}: the pattern no longer fits the header")
endif()
if(missing)
  message(FATAL_ERROR "error codes without a meaning in ${TABLE}: ${missing}")
endif()
message("${count} error codes, each with a meaning")
