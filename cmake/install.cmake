# What `cmake --install` puts under the prefix: the library with its SONAME, the public headers,
# the data files, vornc, a CMake package (Vorn::vorn) and a pkg-config file.
include(CMakePackageConfigHelpers)

set(VORN_INSTALL_DATADIR ${CMAKE_INSTALL_DATADIR}/vorn)
set(VORN_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/Vorn)

install(TARGETS vorn EXPORT VornTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development)
install(DIRECTORY ${CMAKE_SOURCE_DIR}/include/vorn DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  COMPONENT development FILES_MATCHING PATTERN "*.h")
install(DIRECTORY ${CMAKE_SOURCE_DIR}/data/ DESTINATION ${VORN_INSTALL_DATADIR} COMPONENT runtime)
install(TARGETS vornc RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)

install(EXPORT VornTargets NAMESPACE Vorn:: DESTINATION ${VORN_INSTALL_CMAKEDIR} COMPONENT development)
configure_package_config_file(${CMAKE_SOURCE_DIR}/cmake/VornConfig.cmake.in
  ${CMAKE_BINARY_DIR}/VornConfig.cmake
  INSTALL_DESTINATION ${VORN_INSTALL_CMAKEDIR}
  PATH_VARS VORN_INSTALL_DATADIR)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/VornConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/VornConfig.cmake ${CMAKE_BINARY_DIR}/VornConfigVersion.cmake
  DESTINATION ${VORN_INSTALL_CMAKEDIR} COMPONENT development)

# The prefix is found from the file's own place, so that an install moved as a whole still works.
file(RELATIVE_PATH VORN_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" VORN_PC_TO_PREFIX "${VORN_PC_TO_PREFIX}")
configure_file(${CMAKE_SOURCE_DIR}/cmake/vorn.pc.in ${CMAKE_BINARY_DIR}/vorn.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/vorn.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT development)
