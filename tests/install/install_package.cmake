# Installs the build into WORK_DIR/stage and moves that to WORK_DIR/prefix: what works from there hangs on no path.
file(REMOVE_RECURSE ${WORK_DIR})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${WORK_DIR}/stage OUTPUT_QUIET
  COMMAND_ERROR_IS_FATAL ANY)
file(RENAME ${WORK_DIR}/stage ${WORK_DIR}/prefix)

file(GLOB_RECURSE texts ${WORK_DIR}/prefix/*.h ${WORK_DIR}/prefix/*.cmake ${WORK_DIR}/prefix/*.pc)
if(NOT texts)
  message(FATAL_ERROR "nothing was installed")
endif()
foreach(file IN LISTS texts)
  file(READ ${file} text)
  foreach(path ${SOURCE_DIR}/ ${BUILD_DIR}/ ${WORK_DIR}/stage)
    string(FIND "${text}" "${path}" at)
    if(NOT at EQUAL -1)
      message(SEND_ERROR "${file} names ${path}")
    endif()
  endforeach()
endforeach()
