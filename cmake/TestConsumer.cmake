# Installs the built library into a scratch prefix, then builds and runs a tiny
# consumer against it twice: through find_package and through pkg-config.
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)

function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE rc)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed (${rc}): ${ARGV}")
  endif()
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
run(${CMAKE_COMMAND} -S ${CONSUMER_DIR} -B ${WORK_DIR}/build
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_CXX_COMPILER=${CXX_COMPILER}
    "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}")
run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
run(${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${prefix}/lib ${WORK_DIR}/build/consumer)

find_program(PKG_CONFIG pkg-config)
if(PKG_CONFIG)
  file(GLOB pcdir ${prefix}/lib*/pkgconfig ${prefix}/lib/*/pkgconfig)
  execute_process(COMMAND ${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${pcdir}
                          ${PKG_CONFIG} --cflags --libs lxbase
                  OUTPUT_VARIABLE flags RESULT_VARIABLE rc OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "pkg-config does not know lxbase")
  endif()
  separate_arguments(flags UNIX_COMMAND "${flags}")
  # The consumer is built like the library (a sanitizer build needs its runtime).
  separate_arguments(extra UNIX_COMMAND "${CXX_FLAGS}")
  run(${CXX_COMPILER} ${extra} -std=c++17 ${CONSUMER_DIR}/consumer.cpp ${flags} -o ${WORK_DIR}/consumer_pc)
  run(${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${prefix}/lib ${WORK_DIR}/consumer_pc)
endif()
