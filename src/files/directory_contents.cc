#include <dirent.h>
#include <sys/stat.h>

#include <string>

#include "files/file_handles.h"
#include "qorbasic/files.h"

namespace FileUtils {

DirectoryContents::DirectoryContents(const QRSTR& dir) : status(STATUS_INVALID_ARGUMENT) {
    if (!dir.has_text()) return;
    path = dir.ptr();
    DIR* handle = opendir(path.c_str());
    if (handle == nullptr) {
        status = STATUS_OPENDIR_FAILED;
        return;
    }
    internal::UniqueDir closer(handle);
    while (const struct dirent* entry = readdir(handle)) {
        const char* name = entry->d_name;
        if (name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'))) continue;
        switch (entry->d_type) {
            case DT_DIR:
                directories.append(name);
                break;
            case DT_REG:
                files.append(name);
                break;
            case DT_LNK: {
                const std::string target = readLink(path + "/" + name);
                if (target.empty()) break;
                // The target text is taken as it is: a relative one is resolved
                // against the process's working directory, not the link's own.
                struct stat info;
                if (stat(target.c_str(), &info) != 0) {
                    others.append(name);
                } else if (S_ISREG(info.st_mode)) {
                    file_links.append(name);
                } else if (S_ISDIR(info.st_mode)) {
                    dir_links.append(name);
                } else {
                    others.append(name);
                }
                break;
            }
            default:
                others.append(name);
                break;
        }
    }
    status = STATUS_SUCCESS;
}

bool DirectoryContents::is_success() const {
    return ::is_success(status);
}

}  // namespace FileUtils
