// Seams of the cached temporary and lock directories, for tests.
#ifndef QORBASIC_SRC_FILES_TEMPFILES_INTERNAL_H
#define QORBASIC_SRC_FILES_TEMPFILES_INTERNAL_H

#include <string>

namespace FileUtils {
namespace internal {

// Empties both caches, so that the next call reads the environment again.
// Only for a process (a forked test child) where no other thread runs.
void forget_cached_directories();

// The canonical form of `path` into `out`; on failure prints the reason on
// standard error, tagged `caller`, and ends the process with status 101.
void realpath_or_exit(std::string& out, const char* path, const char* caller);

}  // namespace internal
}  // namespace FileUtils

#endif  // QORBASIC_SRC_FILES_TEMPFILES_INTERNAL_H
