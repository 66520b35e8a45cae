# Debian packages of the two install components: `cpack` in a build tree
# writes libqorbasic0 (runtime) and libqorbasic-dev (development), which
# depends on the runtime of the same version.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME libqorbasic)
set(CPACK_PACKAGE_VENDOR "libqorbasic developers")
set(CPACK_PACKAGE_CONTACT "libqorbasic developers <libqorbasic@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Base C++ library of the overlay product")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL runtime development)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libqorbasic${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libqorbasic-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "libqorbasic${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION})")
# The runtime's own dependencies (libc6, libstdc++6) come from its ELF files.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "shared library and the qorbasic command-line tool")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "headers, CMake package and pkg-config file")
include(CPack)
