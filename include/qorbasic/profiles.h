// Profiles: named sets of configuration files, one directory each under a
// common root, of which one is current.
//
//   /opt/qor//profiles/            the root (the doubled "/" is part of it)
//       .current                   first non-blank line: title of the current profile
//       home/profile_name          first non-blank line: the caption, for people
//       home/hip.conf              the profile's main configuration file
//
// A profile has a fixed directory title (what .current stores) and a free
// caption, kept unique by load_profiles. Entering the current profile:
//
//   std::string conf;
//   if (ProfileUtils::set_current_profile(conf)) {
//       // the working directory is now the profile's directory;
//       // conf is ".../profiles/<title>/hip.conf"
//   }
//
//   std::vector<ProfileInfo*> profiles;
//   ProfileInfo::load_profiles(profiles);   // sorted by caption
//   for (ProfileInfo* p : profiles) delete p;   // the caller owns them
//
// Surprising cases:
// - Listing writes to disk: load_profiles renames duplicate captions
//   ("Home" -> "Home#2") and names unnamed profiles ("profile", "profile#2")
//   in their profile_name files. from_profiledir names an unnamed profile too.
// - Only real directories whose names do not begin with "." are profiles.
// - set_current_profile changes the working directory of the whole process,
//   and where .current does not name a profile with a hip.conf, it rewrites
//   .current to the profile of lowest caption.
// - Nothing here takes a lock; two processes listing at once can both rename
//   one duplicate.
// - An empty directory title means the root itself.
// - Titles and file names must be one path component. One with a "/", or
//   "." or "..", is refused by every operation that builds a path from it
//   (false, or valid false), so none leads out of the root; a .current that
//   names such a title names no profile.
#ifndef QORBASIC_PROFILES_H
#define QORBASIC_PROFILES_H

#include <string>
#include <vector>

#include "qorbasic/export.h"
#include "qorbasic/text.h"

// The record of one profile. Copy through assign().
class QOR_API ProfileInfo {
  public:
    // "/opt/qor//profiles/"
    static const std::string PROFILES_ROOTDIR;
    // "/opt/qor//profiles/.current"
    static const std::string CURRENT_PROFILE_FILENAME;
    // "profile_name"
    static const std::string PROFILE_NAME_FILE;

    ProfileInfo();
    ~ProfileInfo();
    ProfileInfo(const ProfileInfo&) = delete;
    ProfileInfo& operator=(const ProfileInfo&) = delete;

    // valid false, dir_title and caption emptied; path is kept.
    void clear();
    const std::string& dir_title() const { return dir_title_; }
    const std::string& caption() const { return caption_; }

    // Copies all four fields.
    ProfileInfo& assign(const ProfileInfo& other);
    // Sets the two names only.
    void assign(const QRSTR& dir_title, const QRSTR& caption);

    // Resolves the profile of that directory; one without a caption gets
    // "profile" written to its profile_name file. valid tells the result.
    ProfileInfo& from_profiledir(const QRSTR& dir_title);
    // Finds the first profile, in directory order, with exactly this caption.
    ProfileInfo& from_caption(const QRSTR& caption);
    // from_profiledir of the title in .current.
    ProfileInfo& from_dotcurrent();

    // Lists all profiles, sorted by caption (strcmp order), after making the
    // captions unique on disk. The records hold dir_title and caption only
    // (valid false). The caller owns them: clear_vector / ClearVectorPolicy.
    // False, with `out` empty, when the root cannot be scanned or a caption
    // cannot be written.
    static bool load_profiles(std::vector<ProfileInfo*>& out);
    // Index of the first record with exactly this caption, or -1.
    static int find_caption(const std::vector<ProfileInfo*>& list, const QRSTR& caption);

    bool valid;
    // After from_profiledir the profile's directory; after a successful
    // from_caption the path of its profile_name file.
    std::string path;

  private:
    std::string dir_title_;
    std::string caption_;
};

namespace ProfileUtils {

// "/etc/bulwin"
QOR_API void installation_path(std::string& out);
// Root followed by the title; false, `out` cleared, for an empty title.
QOR_API bool profile_path(std::string& out, const QRSTR& dir_title);
// Root followed by ".factory"; the library never opens it.
QOR_API bool factory_path(std::string& out);
// Root followed by ".current".
QOR_API bool dotcurrent_path(std::string& out);
// "/etc/bulwin/"
QOR_API bool current_profile_path(std::string& out);
// Profile path, "/", file name; false, `out` cleared, if either is empty.
QOR_API bool file_in_profile(std::string& out, const QRSTR& dir_title, const QRSTR& filename);
// "/etc/bulwin//" and the file name; false, `out` untouched, for an empty one.
QOR_API bool file_in_current(std::string& out, const QRSTR& filename);
// Replaces .current with the title and a line feed, mode 0666.
QOR_API bool write_dot_current(const QRSTR& dir_title);
// Enters the current profile (chdir) and gives the path of its hip.conf.
// Where .current names no profile with a hip.conf, the profile of lowest
// caption becomes current first. False when there is no profile, or
// .current cannot be written, or the directory cannot be entered.
QOR_API bool set_current_profile(std::string& out);

// A snapshot of what .current says; nothing refreshes it.
class QOR_API DotCurrentProfile {
  public:
    DotCurrentProfile();

    // False only when .current exists but cannot be read; a missing or
    // blank .current is valid with empty texts.
    bool is_valid() const { return valid_; }
    const std::string& dotcurrent_path() const { return dotcurrent_path_; }
    // The directory title named by .current.
    const std::string& dotcurrent_value() const { return dotcurrent_value_; }
    const std::string& currentprofile_dir() const { return currentprofile_dir_; }
    const std::string& caption() const { return caption_; }
    const std::string& profiles_rootdir() const { return profiles_rootdir_; }

    // Fills the four outputs from .current; the result is what is_valid()
    // reports. A missing profile_name gives an empty caption; one that cannot
    // be read gives the title as caption.
    bool eval_dotcurrent(std::string& path, std::string& value, std::string& dir,
                         std::string& caption);

  private:
    bool valid_;
    std::string dotcurrent_path_;
    std::string dotcurrent_value_;
    std::string currentprofile_dir_;
    std::string caption_;
    std::string profiles_rootdir_;
};

}  // namespace ProfileUtils

#endif  // QORBASIC_PROFILES_H
