# Fails when a test of the build in BUILD_DIR has no TIMEOUT property: without
# one, a hanging test would hold the suite for ctest's default of 1500 s.
# Usage: cmake -DCTEST=<ctest> -DBUILD_DIR=<build> -P CheckTestTimeouts.cmake
execute_process(COMMAND ${CTEST} --test-dir ${BUILD_DIR} --show-only=json-v1
  OUTPUT_VARIABLE json RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "ctest --show-only failed (${rc})")
endif()

string(JSON count LENGTH "${json}" tests)
math(EXPR last "${count} - 1")
set(missing "")
foreach(i RANGE ${last})
  string(JSON name GET "${json}" tests ${i} name)
  set(timeout "")
  string(JSON properties ERROR_VARIABLE none GET "${json}" tests ${i} properties)
  if(NOT none)
    string(JSON nprops LENGTH "${properties}")
    math(EXPR plast "${nprops} - 1")
    foreach(p RANGE ${plast})
      string(JSON pname GET "${properties}" ${p} name)
      if(pname STREQUAL "TIMEOUT")
        string(JSON timeout GET "${properties}" ${p} value)
      endif()
    endforeach()
  endif()
  if(NOT timeout GREATER 0)
    list(APPEND missing ${name})
  endif()
endforeach()

if(missing)
  list(JOIN missing ", " missing)
  message(FATAL_ERROR "tests without a TIMEOUT: ${missing}. Give each one with "
                      "set_tests_properties(<name> PROPERTIES TIMEOUT <seconds>).")
endif()
message(STATUS "all ${count} tests have a TIMEOUT")
