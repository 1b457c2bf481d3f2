# lxbase is written for one platform: Linux with glibc, GCC 12 or later or
# Clang 14 or later, a little-endian 64-bit target. Anything else stops here
# with a message saying so, instead of failing later deep inside a source file
# (the file streams rely on glibc's 64-bit stdio, the serialised records on the
# byte order, the numerics on the compilers' floating-point behaviour).
include(CheckCXXSymbolExists)

function(lxbase_require condition what)
  if(NOT ${condition})
    message(FATAL_ERROR "lxbase needs ${what}. Supported: Linux with glibc, GCC >= 12 or "
                        "Clang >= 14, a little-endian 64-bit target.")
  endif()
endfunction()

string(COMPARE EQUAL "${CMAKE_SYSTEM_NAME}" "Linux" lxbase_on_linux)
lxbase_require(lxbase_on_linux "Linux (this is ${CMAKE_SYSTEM_NAME})")

set(lxbase_compiler_ok FALSE)
if((CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_GREATER_EQUAL 12) OR
   (CMAKE_CXX_COMPILER_ID STREQUAL "Clang" AND CMAKE_CXX_COMPILER_VERSION VERSION_GREATER_EQUAL 14))
  set(lxbase_compiler_ok TRUE)
endif()
lxbase_require(lxbase_compiler_ok "GCC >= 12 or Clang >= 14 (this is ${CMAKE_CXX_COMPILER_ID} ${CMAKE_CXX_COMPILER_VERSION})")

string(COMPARE EQUAL "${CMAKE_SIZEOF_VOID_P}" "8" lxbase_64bit)
lxbase_require(lxbase_64bit "a 64-bit target (pointers here are ${CMAKE_SIZEOF_VOID_P} bytes)")

string(COMPARE EQUAL "${CMAKE_CXX_BYTE_ORDER}" "LITTLE_ENDIAN" lxbase_little_endian)
lxbase_require(lxbase_little_endian "a little-endian target (this one is ${CMAKE_CXX_BYTE_ORDER})")

check_cxx_symbol_exists(__GLIBC__ "features.h" LXBASE_HAVE_GLIBC)
lxbase_require(LXBASE_HAVE_GLIBC "the GNU C library (glibc)")
