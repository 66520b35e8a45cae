// The flat call interface of files, configuration and profiles: each
// function calls one operation and turns its result into a number.
#include <cstring>
#include <string>

#include "qorbasic/config.h"
#include "qorbasic/files.h"
#include "qorbasic/fileutils_flat.h"
#include "qorbasic/profiles.h"
#include "qorbasic/status.h"

namespace {

// Copies `text` into the caller's buffer; true when all of it fit.
bool copy_whole(char* buffer, int size, const std::string& text) {
    return string_copy(buffer, size, text) == static_cast<int>(text.length());
}

// Convention A: 0 is success, 1 is failure.
int as_zero_on_success(bool ok) {
    return ok ? 0 : 1;
}
// Convention B: 1 is success, 0 is failure.
int as_one_on_success(bool ok) {
    return ok ? 1 : 0;
}

int result_a(const CommandResult& result) {
    return as_zero_on_success(result.is_success());
}

int text_a(char* buffer, int size, const std::string& text) {
    return as_zero_on_success(copy_whole(buffer, size, text));
}

// A text-giving profile operation: the buffer is touched only when the
// operation succeeded.
int text_b(char* buffer, int size, bool operation_ok, const std::string& text) {
    return as_one_on_success(operation_ok && copy_whole(buffer, size, text));
}

}  // namespace

int fileutils_file_exists(const char* path) {
    return as_one_on_success(FileUtils::fileExists(path));
}

int fileutils_remove_file(const char* path) {
    return result_a(FileUtils::removeFile(path));
}

int fileutils_remove_dir(const char* path) {
    return result_a(FileUtils::removeDir(path));
}

int fileutils_remove_fileordir(const char* path) {
    return result_a(FileUtils::removeFileOrDir(path));
}

int fileutils_remove_recursively(const char* path) {
    return result_a(FileUtils::removeRecursively(path));
}

int fileutils_move_file(const char* source, const char* dest, int overwrite) {
    return result_a(FileUtils::moveFile(source, dest, overwrite != 0));
}

int fileutils_copy_file(const char* source, const char* dest, int overwrite) {
    return as_one_on_success(FileUtils::copyFile(source, dest, overwrite != 0).is_success());
}

FILE* fileutils_mkunique(const char* prefix, char** name) {
    std::string path;
    FILE* stream = FileUtils::makeUniqueFile(prefix, path);
    if (stream == nullptr) {
        return nullptr;
    }
    *name = strdup(path.c_str());
    if (*name == nullptr) {
        fclose(stream);
        return nullptr;
    }
    return stream;
}

int fileutils_tempdir_path(char* buffer, int size) {
    std::string path;
    return text_a(buffer, size, FileUtils::tempdir_path(path));
}

int fileutils_lockdir_path(char* buffer, int size) {
    std::string path;
    return text_a(buffer, size, FileUtils::lockdir_path(path));
}

int fileutils_maketempfilename(char* buffer, int size, const char* name) {
    std::string path;
    return text_a(buffer, size, FileUtils::makeTempFilename(path, name));
}

int fileutils_makelockfilename(char* buffer, int size, const char* name) {
    std::string path;
    return text_a(buffer, size, FileUtils::makeLockFilename(path, name));
}

int configutils_writeconfig(const char* path, const char* key, const char* value) {
    return as_one_on_success(ConfigUtils::setConfigValue(path, key, value));
}

int configutils_readconfig(char* buffer, int size, const char* path, const char* key) {
    return as_one_on_success(copy_whole(buffer, size, ConfigUtils::getConfigValue(path, key)));
}

int configutils_removeconfig(const char* path, const char* key, char separator) {
    return as_one_on_success(ConfigUtils::removeConfigValue(path, key, separator));
}

int profileutils_installation_path(char* buffer, int size) {
    std::string path;
    ProfileUtils::installation_path(path);
    return text_b(buffer, size, true, path);
}

int profileutils_profile_path(char* buffer, int size, const char* dir_title) {
    std::string path;
    const bool ok = ProfileUtils::profile_path(path, dir_title);
    return text_b(buffer, size, ok, path);
}

int profileutils_factory_path(char* buffer, int size) {
    std::string path;
    const bool ok = ProfileUtils::factory_path(path);
    return text_b(buffer, size, ok, path);
}

int profileutils_dotcurrent_path(char* buffer, int size) {
    std::string path;
    const bool ok = ProfileUtils::dotcurrent_path(path);
    return text_b(buffer, size, ok, path);
}

int profileutils_current_profile_path(char* buffer, int size) {
    std::string path;
    const bool ok = ProfileUtils::current_profile_path(path);
    return text_b(buffer, size, ok, path);
}

int profileutils_file_in_profile(char* buffer, int size, const char* dir_title,
                                 const char* filename) {
    std::string path;
    const bool ok = ProfileUtils::file_in_profile(path, dir_title, filename);
    return text_b(buffer, size, ok, path);
}

int profileutils_file_in_current(char* buffer, int size, const char* filename) {
    std::string path;
    const bool ok = ProfileUtils::file_in_current(path, filename);
    return text_b(buffer, size, ok, path);
}

int profileutils_write_dot_current(const char* dir_title) {
    return as_one_on_success(ProfileUtils::write_dot_current(dir_title));
}

int profileutils_set_current_profile(char* buffer, int size) {
    std::string path;
    const bool ok = ProfileUtils::set_current_profile(path);
    return text_b(buffer, size, ok, path);
}
