# Builds and runs the small consumer project of tests/consumer in the three
# ways an outside project uses lxbase:
#   1. installed into a scratch prefix and found with find_package;
#   2. installed and compiled with the flags pkg-config gives;
#   3. built from source inside the consumer with add_subdirectory.
# None of them may need a test, benchmark or example dependency, so finding
# those is disabled in the CMake builds. Where the build has liblxscan
# (WITH_SCAN), a second program on it is built and run in each way too.
# Variables: BUILD_DIR, SOURCE_DIR, CONSUMER_DIR, WORK_DIR, LIBDIR,
# CXX_COMPILER, CXX_LAUNCHER, CXX_FLAGS (the consumer is built like the library:
# a sanitizer build needs its runtime).
file(REMOVE_RECURSE ${WORK_DIR}/prefix ${WORK_DIR}/installed ${WORK_DIR}/subdirectory ${WORK_DIR}/pkgconfig)
set(prefix ${WORK_DIR}/prefix)

function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE rc)
  if(NOT rc EQUAL 0)
    string(REPLACE ";" " " command "${ARGV}")
    message(FATAL_ERROR "failed (${rc}): ${command}")
  endif()
endfunction()

set(configure_args --no-warn-unused-cli
  -DCMAKE_CXX_COMPILER=${CXX_COMPILER}
  -DCMAKE_CXX_COMPILER_LAUNCHER=${CXX_LAUNCHER}
  "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}")
foreach(package IN ITEMS GTest benchmark Eigen3)
  list(APPEND configure_args -DCMAKE_DISABLE_FIND_PACKAGE_${package}=ON)
endforeach()
if(WITH_SCAN)
  list(APPEND configure_args -DWITH_SCAN=ON)
else()
  # Without the scan module nothing may ask for libpng either.
  list(APPEND configure_args -DCMAKE_DISABLE_FIND_PACKAGE_PNG=ON)
endif()
file(MAKE_DIRECTORY ${WORK_DIR})

# Runs the built consumers of one way; the scan consumer writes in WORK_DIR.
function(run_consumers directory)
  run(${CMAKE_COMMAND} -E chdir ${WORK_DIR} ${ARGN} ${directory}/consumer)
  if(WITH_SCAN)
    run(${CMAKE_COMMAND} -E chdir ${WORK_DIR} ${ARGN} ${directory}/scan_consumer)
  endif()
endfunction()

# 1. find_package
message(STATUS "consumer: find_package")
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
run(${CMAKE_COMMAND} -S ${CONSUMER_DIR} -B ${WORK_DIR}/installed
    -DCMAKE_PREFIX_PATH=${prefix} ${configure_args})
run(${CMAKE_COMMAND} --build ${WORK_DIR}/installed)
run_consumers(${WORK_DIR}/installed ${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${prefix}/${LIBDIR})

# 2. pkg-config
message(STATUS "consumer: pkg-config")
find_program(PKG_CONFIG pkg-config REQUIRED)
separate_arguments(extra UNIX_COMMAND "${CXX_FLAGS}")
file(MAKE_DIRECTORY ${WORK_DIR}/pkgconfig)
# Compiles source into WORK_DIR/pkgconfig/<program> with the flags that
# pkg-config gives for package.
function(build_with_pkg_config package source program)
  execute_process(COMMAND ${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${prefix}/${LIBDIR}/pkgconfig
                          ${PKG_CONFIG} --cflags --libs ${package}
                  OUTPUT_VARIABLE flags RESULT_VARIABLE rc OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "pkg-config does not know ${package}")
  endif()
  separate_arguments(flags UNIX_COMMAND "${flags}")
  run(${CXX_COMPILER} ${extra} -std=c++17 ${CONSUMER_DIR}/${source} ${flags} -o ${WORK_DIR}/pkgconfig/${program})
endfunction()
build_with_pkg_config(lxbase consumer.cpp consumer)
if(WITH_SCAN)
  build_with_pkg_config(lxscan scan_consumer.cpp scan_consumer)
endif()
run_consumers(${WORK_DIR}/pkgconfig ${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${prefix}/${LIBDIR})

# 3. add_subdirectory
message(STATUS "consumer: add_subdirectory")
run(${CMAKE_COMMAND} -S ${CONSUMER_DIR} -B ${WORK_DIR}/subdirectory
    -DLXBASE_SOURCE_DIR=${SOURCE_DIR} ${configure_args})
run(${CMAKE_COMMAND} --build ${WORK_DIR}/subdirectory --parallel 2)
run_consumers(${WORK_DIR}/subdirectory)
