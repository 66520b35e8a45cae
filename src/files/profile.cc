// ProfileInfo and ProfileUtils: the profile records, the path builders and
// the switch into the current profile.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <utility>

#include "files/file_handles.h"
#include "files/profile_paths.h"
#include "qorbasic/files.h"
#include "qorbasic/guards.h"
#include "qorbasic/profiles.h"
#include "qorbasic/status.h"

namespace {

const char kDefaultRoot[] = "/opt/qor//profiles/";
const char kDefaultInstallation[] = "/etc/bulwin";
const char kDotCurrent[] = ".current";
const char kFactory[] = ".factory";
const char kProfileNameFile[] = "profile_name";
const char kMainConfig[] = "hip.conf";
const char kUnnamedCaption[] = "profile";

struct PathOverride {
    std::string root;
    std::string installation;
};

PathOverride& path_override() {
    static PathOverride paths;
    return paths;
}

std::string to_string(const QRSTR& text) {
    return std::string(text.ptr(), text.length());
}

// A name that stays one step below the directory it is joined to: no "/"
// that would lead elsewhere, no "." or ".." (the directory itself or its
// parent), no NUL that would cut the path short. Titles and file names that
// come from callers or from .current pass this before any path is built.
bool is_path_component(const QRSTR& text) {
    const std::string name = to_string(text);
    return !name.empty() && name != "." && name != ".." &&
           name.find_first_of(std::string("/\0", 2)) == std::string::npos;
}

bool is_profile_dir_name(const std::string& name) {
    return !name.empty() && name[0] != '.';
}

// Writes `text` and a line end as the whole content of a file in the
// profiles tree, where other users may place names. A symbolic or hard link,
// or anything but a regular file, at the path is refused, so that a daemon
// never writes through it into a file elsewhere. A `mode` other than 0 is set
// on the open file, not by the path; where the caller may not set it, it must
// be right already.
bool write_profile_file(const std::string& path, const QRSTR& text, mode_t mode = 0) {
    using FileUtils::internal::write_all;
    FileUtils::internal::UniqueFd fd(FileUtils::internal::open_file(
        path.c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0666));
    struct stat info;
    if (!fd.valid() || fstat(fd.get(), &info) != 0 || !S_ISREG(info.st_mode) ||
        info.st_nlink != 1 || ftruncate(fd.get(), 0) != 0)
        return false;
    if (!write_all(fd.get(), text.ptr(), strlen(text.ptr())) || !write_all(fd.get(), "\n", 1))
        return false;
    return mode == 0 || fchmod(fd.get(), mode) == 0 || (info.st_mode & 07777) == mode;
}

std::string caption_file(const std::string& root, const std::string& dir_title) {
    std::string path;
    FileUtils::join_filename(path, root, dir_title, kProfileNameFile);
    return path;
}

// Reads the caption of the profile directory `dir`; a profile without one
// (no file, or nothing but blanks in it) is given the caption "profile".
bool resolve_caption(std::string& caption, const std::string& dir) {
    caption.clear();
    if (dir.empty()) {
        return false;
    }
    std::string file;
    FileUtils::join_filename(file, dir, kProfileNameFile);
    if (FileUtils::readOneLine(caption, file).is_success() && !caption.empty()) {
        return true;
    }
    if (!write_profile_file(file, kUnnamedCaption)) {
        return false;
    }
    caption = kUnnamedCaption;
    return true;
}

// `base` if no profile has it yet, else the first free "base#n", n >= 2.
void unique_caption(std::string& out, const std::string& base, const StringVector& taken) {
    out = base;
    if (taken.cased_find(base) < 0) {
        return;
    }
    for (int n = 2; n <= 999999; ++n) {
        std::string candidate = base + "#" + std::to_string(n);
        if (taken.cased_find(candidate) < 0) {
            out = std::move(candidate);
            return;
        }
    }
}

struct NamedDir {
    std::string dir_title;
    std::string caption;
};

// Gives each profile of `pending` a caption no accepted profile has, writes
// it to the profile's caption file and accepts the profile.
bool accept_with_new_captions(const std::vector<NamedDir>& pending, const std::string& root,
                              StringVector& captions, StringVector& titles) {
    for (const NamedDir& dir : pending) {
        std::string caption;
        unique_caption(caption, dir.caption, captions);
        if (!write_profile_file(caption_file(root, dir.dir_title), caption)) {
            return false;
        }
        captions.append(caption);
        titles.append(dir.dir_title);
    }
    return true;
}

}  // namespace

const std::string ProfileInfo::PROFILES_ROOTDIR = kDefaultRoot;
const std::string ProfileInfo::CURRENT_PROFILE_FILENAME = std::string(kDefaultRoot) + kDotCurrent;
const std::string ProfileInfo::PROFILE_NAME_FILE = kProfileNameFile;

namespace ProfileUtils {
namespace internal {

// Built from the literals rather than the static members, so that callers
// from other libraries' static initialisers get the right path too.
std::string profiles_root() {
    const std::string& root = path_override().root;
    return root.empty() ? std::string(kDefaultRoot) : root;
}

std::string installation_dir() {
    const std::string& dir = path_override().installation;
    return dir.empty() ? std::string(kDefaultInstallation) : dir;
}

void override_paths(const std::string& root, const std::string& installation) {
    PathOverride& paths = path_override();
    paths.root = root;
    FileUtils::trailing_dirsep(paths.root);
    paths.installation = installation;
}

}  // namespace internal
}  // namespace ProfileUtils

using ProfileUtils::internal::profiles_root;

ProfileInfo::ProfileInfo() : valid(false) {}

ProfileInfo::~ProfileInfo() {
    clear();
}

void ProfileInfo::clear() {
    valid = false;
    dir_title_.clear();
    caption_.clear();
}

ProfileInfo& ProfileInfo::assign(const ProfileInfo& other) {
    if (&other != this) {
        valid = other.valid;
        path = other.path;
        dir_title_ = other.dir_title_;
        caption_ = other.caption_;
    }
    return *this;
}

void ProfileInfo::assign(const QRSTR& dir_title, const QRSTR& caption) {
    dir_title_ = to_string(dir_title);
    caption_ = to_string(caption);
}

ProfileInfo& ProfileInfo::from_profiledir(const QRSTR& dir_title) {
    dir_title_ = to_string(dir_title);
    valid = false;
    path.clear();
    caption_.clear();
    // The empty title is the root itself; any other must be one name in it.
    if (!dir_title_.empty() && !is_path_component(dir_title)) {
        return *this;
    }
    FileUtils::join_filename(path, profiles_root(), dir_title_);
    valid = resolve_caption(caption_, path);
    return *this;
}

ProfileInfo& ProfileInfo::from_caption(const QRSTR& caption) {
    caption_ = to_string(caption);
    valid = false;
    path.clear();
    dir_title_.clear();

    const std::string root = profiles_root();
    FileUtils::DirectoryContents scan(root);
    if (!scan.is_success()) {
        return *this;
    }
    for (int i = 0; i < scan.directories.size(); ++i) {
        const std::string& name = scan.directories.fetch(i);
        if (!is_profile_dir_name(name)) {
            continue;
        }
        const std::string file = caption_file(root, name);
        std::string line;
        if (FileUtils::readOneLine(line, file).is_success() && cased_equals(line, caption_)) {
            path = file;
            dir_title_ = name;
            valid = true;
            break;
        }
    }
    return *this;
}

ProfileInfo& ProfileInfo::from_dotcurrent() {
    valid = false;
    path.clear();
    dir_title_.clear();
    caption_.clear();

    std::string file, title;
    FileUtils::join_filename(file, profiles_root(), kDotCurrent);
    if (FileUtils::readOneLine(title, file).is_success()) {
        from_profiledir(title);
    }
    return *this;
}

bool ProfileInfo::load_profiles(std::vector<ProfileInfo*>& out) {
    clear_vector<ProfileInfo>(out);

    const std::string root = profiles_root();
    FileUtils::DirectoryContents scan(root);
    if (!scan.is_success()) {
        return false;
    }

    // Accepted profiles, as two parallel lists; the first of several equal
    // captions in scan order keeps its caption.
    StringVector captions, titles;
    std::vector<NamedDir> duplicates, unnamed;
    for (int i = 0; i < scan.directories.size(); ++i) {
        const std::string& name = scan.directories.fetch(i);
        if (!is_profile_dir_name(name)) {
            continue;
        }
        std::string caption;
        if (!FileUtils::readOneLine(caption, caption_file(root, name)).is_success() ||
            caption.empty()) {
            unnamed.push_back({name, kUnnamedCaption});
        } else if (captions.cased_find(caption) < 0) {
            captions.append(caption);
            titles.append(name);
        } else {
            duplicates.push_back({name, caption});
        }
    }
    if (!accept_with_new_captions(duplicates, root, captions, titles) ||
        !accept_with_new_captions(unnamed, root, captions, titles)) {
        return false;
    }

    StringVector::sort_strings(captions, titles);
    for (int i = 0; i < captions.size(); ++i) {
        ProfileInfo* info = new ProfileInfo();
        info->assign(titles.fetch(i), captions.fetch(i));
        out.push_back(info);
    }
    return true;
}

int ProfileInfo::find_caption(const std::vector<ProfileInfo*>& list, const QRSTR& caption) {
    for (std::size_t i = 0; i < list.size(); ++i) {
        if (list[i] != nullptr && cased_equals(list[i]->caption(), caption)) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

namespace ProfileUtils {

void installation_path(std::string& out) {
    out = internal::installation_dir();
}

bool profile_path(std::string& out, const QRSTR& dir_title) {
    if (!is_path_component(dir_title)) {
        out.clear();
        return false;
    }
    out = profiles_root() + to_string(dir_title);
    return true;
}

bool factory_path(std::string& out) {
    out = profiles_root() + kFactory;
    return true;
}

bool dotcurrent_path(std::string& out) {
    out = profiles_root() + kDotCurrent;
    return true;
}

bool current_profile_path(std::string& out) {
    out = internal::installation_dir() + "/";
    return true;
}

bool file_in_profile(std::string& out, const QRSTR& dir_title, const QRSTR& filename) {
    if (!is_path_component(dir_title) || !is_path_component(filename)) {
        out.clear();
        return false;
    }
    const std::string name = to_string(filename);
    profile_path(out, dir_title);
    out += "/";
    out += name;
    return true;
}

bool file_in_current(std::string& out, const QRSTR& filename) {
    if (!is_path_component(filename)) {
        return false;
    }
    const std::string name = to_string(filename);
    current_profile_path(out);
    out += "/";
    out += name;
    return true;
}

bool write_dot_current(const QRSTR& dir_title) {
    // .current may be empty (no profile is current) but never name a place
    // outside the root.
    if (!dir_title.is_empty() && !is_path_component(dir_title)) {
        return false;
    }
    std::string path;
    dotcurrent_path(path);
    // Daemons of other users rewrite .current too.
    return write_profile_file(path, dir_title, FileUtils::ACCESSMODE_RW_ALL);
}

DotCurrentProfile::DotCurrentProfile()
    : valid_(false), profiles_rootdir_(internal::profiles_root()) {
    valid_ = eval_dotcurrent(dotcurrent_path_, dotcurrent_value_, currentprofile_dir_, caption_);
}

bool DotCurrentProfile::eval_dotcurrent(std::string& path, std::string& value, std::string& dir,
                                        std::string& caption) {
    path.clear();
    value.clear();
    dir.clear();
    caption.clear();
    ProfileUtils::dotcurrent_path(path);
    if (!FileUtils::readOneLine(value, path).is_success()) {
        return false;
    }
    profile_path(dir, value);
    std::string file;
    file_in_profile(file, value, kProfileNameFile);
    if (!FileUtils::readOneLine(caption, file).is_success()) {
        caption = value;
    }
    return true;
}

bool set_current_profile(std::string& out) {
    {
        DotCurrentProfile current;
        std::string config;
        if (current.is_valid() &&
            file_in_profile(config, current.dotcurrent_value(), kMainConfig) &&
            FileUtils::fileExists(config)) {
            if (chdir(current.currentprofile_dir().c_str()) != 0) {
                return false;
            }
            out = config;
            return true;
        }
    }

    // .current names no usable profile: make the profile of lowest caption
    // the current one.
    std::vector<ProfileInfo*> profiles;
    ClearVectorPolicy<ProfileInfo> free_profiles(profiles);
    if (!ProfileInfo::load_profiles(profiles) || profiles.empty()) {
        return false;
    }
    const std::string title = profiles.front()->dir_title();
    if (!write_dot_current(title)) {
        return false;
    }
    std::string dir;
    profile_path(dir, title);
    if (chdir(dir.c_str()) != 0) {
        return false;
    }
    DotCurrentProfile entered;
    file_in_profile(out, entered.dotcurrent_value(), kMainConfig);
    return true;
}

}  // namespace ProfileUtils
