# The `docs` target: the API reference of the public headers, built by
# Doxygen into <build>/docs/html. Present only when doxygen is installed and
# lxbase is the top-level project (a parent project may have its own `docs`).
# With LXBASE_DOCS_WERROR (on when LXBASE_WERROR is) any warning, among them
# an undocumented public name, fails the build.
find_package(Doxygen QUIET)
if(NOT DOXYGEN_FOUND OR NOT PROJECT_IS_TOP_LEVEL)
  return()
endif()

option(LXBASE_DOCS_WERROR "Fail the docs target on any Doxygen warning" ${LXBASE_WERROR})
# The directories of public headers the reference covers.
set(LXBASE_DOCS_DIRS include/lxbase include/lxmath CACHE STRING "Public header directories for the API reference")

set(LXBASE_DOCS_INPUT "")
foreach(dir IN LISTS LXBASE_DOCS_DIRS)
  string(APPEND LXBASE_DOCS_INPUT " \"${PROJECT_SOURCE_DIR}/${dir}\"")
endforeach()
set(LXBASE_DOCS_OUTPUT "${PROJECT_BINARY_DIR}/docs")
if(LXBASE_DOCS_WERROR)
  set(LXBASE_DOCS_WARN_AS_ERROR FAIL_ON_WARNINGS)
else()
  set(LXBASE_DOCS_WARN_AS_ERROR NO)
endif()
configure_file(${CMAKE_CURRENT_LIST_DIR}/Doxyfile.in ${PROJECT_BINARY_DIR}/Doxyfile @ONLY)

add_custom_target(docs
  COMMAND ${CMAKE_COMMAND} -E make_directory ${LXBASE_DOCS_OUTPUT}
  COMMAND Doxygen::doxygen ${PROJECT_BINARY_DIR}/Doxyfile
  WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
  COMMENT "API reference (Doxygen) in ${LXBASE_DOCS_OUTPUT}/html"
  VERBATIM)
