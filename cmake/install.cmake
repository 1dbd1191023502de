# Installation, included by the top-level CMakeLists.txt after the library
# target: the header, the shared library (versioned, with its SONAME), a
# pkg-config file and a CMake package whose target is mvip::mvip.  mvtool
# installs itself (tools/CMakeLists.txt).
#   cmake --install build --prefix /opt/mvip      (or: make install PREFIX=...)
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# libmvip.so.0.1.0, SONAME libmvip.so.0: programs built against 0.1 keep
# loading the library through later versions of the same major number.
if(NOT WIN32)
  set_target_properties(mvip PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
endif()
add_library(mvip::mvip ALIAS mvip)

install(TARGETS mvip EXPORT mvipTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES ${PROJECT_SOURCE_DIR}/include/mvip.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

# CMake package: find_package(mvip) then target_link_libraries(... mvip::mvip).
set(MVIP_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/mvip)
install(EXPORT mvipTargets NAMESPACE mvip:: DESTINATION ${MVIP_CMAKE_DIR})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/mvipConfig.cmake.in
  ${PROJECT_BINARY_DIR}/mvipConfig.cmake INSTALL_DESTINATION ${MVIP_CMAKE_DIR})
# Before 1.0 a new minor version may change the interface.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/mvipConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/mvipConfig.cmake ${PROJECT_BINARY_DIR}/mvipConfigVersion.cmake
  DESTINATION ${MVIP_CMAKE_DIR})

# pkg-config: the prefix is found from the .pc file's own place, so the
# file stays right wherever the tree is installed (cmake --install --prefix).
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}" OR IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
  set(MVIP_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
else()
  file(RELATIVE_PATH MVIP_PC_UP "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
  string(REGEX REPLACE "/$" "" MVIP_PC_UP "${MVIP_PC_UP}")
  set(MVIP_PC_PREFIX "\${pcfiledir}/${MVIP_PC_UP}")
endif()
set(MVIP_PC_LIBDIR "${CMAKE_INSTALL_LIBDIR}")
set(MVIP_PC_INCLUDEDIR "${CMAKE_INSTALL_INCLUDEDIR}")
foreach(dir MVIP_PC_LIBDIR MVIP_PC_INCLUDEDIR)
  if(NOT IS_ABSOLUTE "${${dir}}")
    set(${dir} "\${prefix}/${${dir}}")
  endif()
endforeach()
configure_file(${PROJECT_SOURCE_DIR}/cmake/mvip.pc.in ${PROJECT_BINARY_DIR}/mvip.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/mvip.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
