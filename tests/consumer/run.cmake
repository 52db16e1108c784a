# Installs the build tree into a scratch prefix, then configures, builds and runs a downstream
# project that only knows find_package(vorex).
file(REMOVE_RECURSE ${PREFIX} ${WORK})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${PREFIX}
  RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "install failed: ${rc}")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -S ${SOURCE} -B ${WORK} -DCMAKE_PREFIX_PATH=${PREFIX}
  RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "consumer configure failed: ${rc}")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} --build ${WORK} RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "consumer build failed: ${rc}")
endif()
execute_process(COMMAND ${WORK}/consumer RESULT_VARIABLE rc OUTPUT_VARIABLE out)
message(STATUS "${out}")
if(rc OR NOT out MATCHES "consumer ok")
  message(FATAL_ERROR "consumer run failed: ${rc}")
endif()
