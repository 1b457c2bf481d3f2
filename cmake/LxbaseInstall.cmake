# Installation: headers, library, CMake package (lxbase::lxbase) and lxbase.pc.
set(LXBASE_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/lxbase)

install(TARGETS lxbase EXPORT lxbaseTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/lxbase include/lxmath DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES ${PROJECT_BINARY_DIR}/include/lxbase/version.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/lxbase)
install(EXPORT lxbaseTargets NAMESPACE lxbase:: DESTINATION ${LXBASE_CMAKE_DIR})

set(LXBASE_PACKAGE_STATIC_SCAN FALSE)
if(LXBASE_SCAN AND NOT BUILD_SHARED_LIBS)
  set(LXBASE_PACKAGE_STATIC_SCAN TRUE)
endif()
configure_package_config_file(cmake/lxbaseConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/lxbaseConfig.cmake
  INSTALL_DESTINATION ${LXBASE_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/lxbaseConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/lxbaseConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/lxbaseConfigVersion.cmake
        DESTINATION ${LXBASE_CMAKE_DIR})

# The .pc file finds its prefix relative to itself, so an installed tree can be moved.
file(RELATIVE_PATH LXBASE_PC_RELATIVE_PREFIX
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" LXBASE_PC_RELATIVE_PREFIX "${LXBASE_PC_RELATIVE_PREFIX}")

# The public headers include utf8-cpp's and Boost's. Neither ships a .pc file
# on Debian, so their include directories are taken from the CMake targets
# found at configure time; the compiler's own search directories are left out.
set(LXBASE_PC_DEPENDENCY_CFLAGS "")
foreach(dependency IN ITEMS utf8cpp Boost::headers)
  get_target_property(directories ${dependency} INTERFACE_INCLUDE_DIRECTORIES)
  foreach(directory IN LISTS directories)
    if(NOT directory IN_LIST CMAKE_CXX_IMPLICIT_INCLUDE_DIRECTORIES)
      string(APPEND LXBASE_PC_DEPENDENCY_CFLAGS " -I${directory}")
    endif()
  endforeach()
endforeach()
configure_file(cmake/lxbase.pc.in ${CMAKE_CURRENT_BINARY_DIR}/lxbase.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/lxbase.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
