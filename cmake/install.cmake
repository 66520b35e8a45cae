include(CMakePackageConfigHelpers)

# Clients need C++17 or later: the exported target says so as a compile
# feature, which raises a client's standard to 17 where it is lower and
# leaves a later one alone.
target_compile_features(qorbasic INTERFACE cxx_std_17)

# Two components, as Debian splits a library: "runtime" holds the shared
# object and its soname link, "development" the link for the linker, the
# headers, the CMake package and the pkg-config file.
install(TARGETS qorbasic EXPORT qorbasicTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/qorbasic
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)

set(QOR_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/qorbasic)
install(EXPORT qorbasicTargets NAMESPACE qorbasic:: DESTINATION ${QOR_CMAKE_DIR}
  COMPONENT development)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/qorbasicConfig.cmake.in
  ${PROJECT_BINARY_DIR}/qorbasicConfig.cmake INSTALL_DESTINATION ${QOR_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qorbasicConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qorbasicConfig.cmake
  ${PROJECT_BINARY_DIR}/qorbasicConfigVersion.cmake DESTINATION ${QOR_CMAKE_DIR}
  COMPONENT development)

# The .pc file finds its prefix from its own place, so that an install with
# --prefix elsewhere than the configured prefix still works.
file(RELATIVE_PATH QOR_PC_TO_PREFIX
  /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(${PROJECT_SOURCE_DIR}/cmake/qorbasic.pc.in ${PROJECT_BINARY_DIR}/qorbasic.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qorbasic.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT development)

include(${CMAKE_CURRENT_LIST_DIR}/package.cmake)
