// Helpers of the tests of config files, profiles and the flat functions, on
// top of the temporary tree of the file tests.
#ifndef QORBASIC_TESTS_FILES_CONFIG_TEST_SUPPORT_H
#define QORBASIC_TESTS_FILES_CONFIG_TEST_SUPPORT_H

#include <stdlib.h>

#include <fstream>
#include <string>

#include "files/temp_tree.h"

namespace config_test {

using files_test::read_all;

// Replaces the whole content of the file at `path`.
inline void write_text(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

inline std::string fixture_path(const std::string& name) {
    return std::string(QOR_SOURCE_DIR) + "/tests/files/fixtures/" + name;
}

// Points QOR_LOCK_DIR at a directory of the tests' own before the library
// reads it (once per process), so that no lock file lands in /var/lock.
// Where an earlier test of the same process made the library read it
// already, the locks go to that directory, which works all the same.
inline void use_test_lock_dir() {
    static files_test::TempTree lock_dir;
    static const bool set = setenv("QOR_LOCK_DIR", lock_dir.root().c_str(), 0) == 0;
    (void)set;
}

}  // namespace config_test

#endif  // QORBASIC_TESTS_FILES_CONFIG_TEST_SUPPORT_H
