# Every installed public header can be included first and alone, in C++17, without a warning.
file(GLOB headers RELATIVE ${PREFIX}/${INCLUDE_DIR}/trox_daq ${PREFIX}/${INCLUDE_DIR}/trox_daq/*.h
  ${PREFIX}/${INCLUDE_DIR}/trox_daq/trox/*.h)
if(NOT headers)
  message(FATAL_ERROR "no header was installed")
endif()
foreach(header IN LISTS headers)
  set(source ${PREFIX}/../header_alone.cpp)
  file(WRITE ${source} "#include <${header}>\n")
  execute_process(COMMAND ${COMPILER} -std=c++17 -Wall -Wextra -Wpedantic -Wshadow -Wold-style-cast -Werror
    -fsyntax-only -I ${PREFIX}/${INCLUDE_DIR}/trox_daq ${source} RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    message(SEND_ERROR "${header} does not compile alone")
  endif()
endforeach()
