// The file, configuration and profile operations as plain functions with
// C linkage, for callers that want no classes: const char* arguments, int
// results, text copied into the caller's buffer.
//
//   char dir[256];
//   if (fileutils_tempdir_path(dir, sizeof dir) == 0) { ... }          // A: 0 is success
//   if (configutils_writeconfig("app.conf", "port", "8080") == 1) { ... } // B: 1 is success
//
// Mind the result conventions; they differ even between neighbours:
//   A  0 success, 1 failure: fileutils_remove_*, fileutils_move_file, and
//      the fileutils_* functions that give out text;
//   B  1 success, 0 failure: fileutils_file_exists (1: it exists),
//      fileutils_copy_file, every configutils_* and profileutils_*;
//   C  a pointer, null on failure: fileutils_mkunique.
// So fileutils_copy_file gives 1 for a copy, fileutils_move_file 0 for a move.
//
// Text results: `size` counts the terminator. A text that does not fit is
// cut, stored all the same, and reported as a failure; with a size below 1
// nothing is written. A profileutils_* function whose operation fails leaves
// the buffer alone; configutils_readconfig always stores (a missing file or
// key gives "").
//
// The fileutils_* and profileutils_* functions read a null pointer as an
// empty text, which counts as a bad path. The configutils_* functions must
// not get null pointers. configutils_writeconfig refuses (0, file untouched)
// a key or value that could plant another setting, and the profileutils_*
// functions a title or file name that is not one path component (see
// qorbasic/config.h and qorbasic/profiles.h). The lock functions fileutils_acquirelock and
// fileutils_releaselock are declared in qorbasic/files.h.
#ifndef QORBASIC_FILEUTILS_FLAT_H
#define QORBASIC_FILEUTILS_FLAT_H

#include <stdio.h>

#include "qorbasic/export.h"

QOR_C_API int fileutils_file_exists(const char* path);
QOR_C_API int fileutils_remove_file(const char* path);
QOR_C_API int fileutils_remove_dir(const char* path);
QOR_C_API int fileutils_remove_fileordir(const char* path);
QOR_C_API int fileutils_remove_recursively(const char* path);
QOR_C_API int fileutils_move_file(const char* source, const char* dest, int overwrite);
QOR_C_API int fileutils_copy_file(const char* source, const char* dest, int overwrite);
// Makes and opens a new file "<prefix>.XXXXXX". `*name` receives a malloc'd
// copy of its path; the caller frees it, closes the stream and removes the
// file. On failure `*name` is untouched, except when copying the name fails:
// then the stream is closed, `*name` is null and the file stays on disk.
QOR_C_API FILE* fileutils_mkunique(const char* prefix, char** name);
QOR_C_API int fileutils_tempdir_path(char* buffer, int size);
QOR_C_API int fileutils_lockdir_path(char* buffer, int size);
QOR_C_API int fileutils_maketempfilename(char* buffer, int size, const char* name);
QOR_C_API int fileutils_makelockfilename(char* buffer, int size, const char* name);

// Sets one key with '=' as separator (in spite of the name, one setting).
QOR_C_API int configutils_writeconfig(const char* path, const char* key, const char* value);
QOR_C_API int configutils_readconfig(char* buffer, int size, const char* path, const char* key);
QOR_C_API int configutils_removeconfig(const char* path, const char* key, char separator);

QOR_C_API int profileutils_installation_path(char* buffer, int size);
QOR_C_API int profileutils_profile_path(char* buffer, int size, const char* dir_title);
QOR_C_API int profileutils_factory_path(char* buffer, int size);
QOR_C_API int profileutils_dotcurrent_path(char* buffer, int size);
QOR_C_API int profileutils_current_profile_path(char* buffer, int size);
QOR_C_API int profileutils_file_in_profile(char* buffer, int size, const char* dir_title,
                                           const char* filename);
QOR_C_API int profileutils_file_in_current(char* buffer, int size, const char* filename);
QOR_C_API int profileutils_write_dot_current(const char* dir_title);
// Enters the current profile (the whole process changes its working
// directory) and gives the path of its hip.conf. A buffer too small gives 0
// although the profile has been entered.
QOR_C_API int profileutils_set_current_profile(char* buffer, int size);

#endif  // QORBASIC_FILEUTILS_FLAT_H
