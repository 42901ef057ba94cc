# Expects that COMPILER, with the include folders INCLUDES, takes FILE; and that with SPF_REFUSED it complains of every
# type that is named behind a "// refused: ".
cmake_minimum_required(VERSION 3.25)
list(TRANSFORM INCLUDES PREPEND "-I")
set(command "${COMPILER}" -std=c++17 -fsyntax-only ${INCLUDES} "${FILE}")
execute_process(COMMAND ${command} COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${command} -DSPF_REFUSED ERROR_VARIABLE complaints OUTPUT_QUIET)
# Compilers do not agree on the space in "char [4]".
string(REPLACE " [" "[" complaints "${complaints}")

file(STRINGS "${FILE}" lines REGEX "// refused: ")
list(LENGTH lines count)
if(count EQUAL 0)
  message(FATAL_ERROR "${FILE} names nothing that is refused")
endif()
foreach(line IN LISTS lines)
  string(REGEX REPLACE ".*// refused: " "" type "${line}")
  string(REPLACE " [" "[" type "${type}")
  string(FIND "${complaints}" "${type}" position)
  if(position EQUAL -1)
    message(SEND_ERROR "there is no complaint about ${type}")
  endif()
endforeach()
