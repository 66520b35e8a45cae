// Where the profiles live. The library always uses the fixed paths; the
// override exists so that tests can build a profiles tree in a temporary
// directory instead of touching the machine's own.
#ifndef QORBASIC_SRC_FILES_PROFILE_PATHS_H
#define QORBASIC_SRC_FILES_PROFILE_PATHS_H

#include <string>

namespace ProfileUtils {
namespace internal {

// The profiles root, ending in "/": ProfileInfo::PROFILES_ROOTDIR unless
// overridden.
std::string profiles_root();
// The installation path without a trailing "/": "/etc/bulwin" unless
// overridden.
std::string installation_dir();

// Replaces root and installation path for the whole process; a "/" is added
// to a root that lacks one. Empty strings bring the fixed paths back. Not
// thread-safe: call it only while no other thread uses profiles.
void override_paths(const std::string& root, const std::string& installation);

}  // namespace internal
}  // namespace ProfileUtils

#endif  // QORBASIC_SRC_FILES_PROFILE_PATHS_H
