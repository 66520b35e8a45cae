# The installed tree (library, headers, CMake package, pkg-config file)
# builds and runs a client. Not under the sanitizers, where a client would
# need their runtime too.
if(NOT QOR_SANITIZE)
  add_test(NAME install.ClientBuildsAgainstInstalledTree
    COMMAND bash ${PROJECT_SOURCE_DIR}/scripts/check-install.sh ${PROJECT_BINARY_DIR})
endif()
