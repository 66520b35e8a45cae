#include <gtest/gtest.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <set>

#include "files/profile_paths.h"
#include "files/temp_tree.h"
#include "qorbasic/fileutils_flat.h"
#include "qorbasic/guards.h"
#include "qorbasic/profiles.h"

using files_test::read_all;
using files_test::write_text;

// The fixed paths, through the C++ functions and the flat ones (1: success).
TEST(ProfilePathsTest, FixedPathsThroughBothInterfaces) {
    using namespace ProfileUtils;
    const struct {
        const char* expected;
        std::function<bool(std::string&)> cpp;
        std::function<int(char*, int)> flat;
    } cases[] = {
        {"/opt/qor//profiles/a", [](std::string& o) { return profile_path(o, "a"); },
         [](char* b, int n) { return profileutils_profile_path(b, n, "a"); }},
        {"/opt/qor//profiles/a/hip.conf",
         [](std::string& o) { return file_in_profile(o, "a", "hip.conf"); },
         [](char* b, int n) { return profileutils_file_in_profile(b, n, "a", "hip.conf"); }},
        {"/opt/qor//profiles/.factory", [](std::string& o) { return factory_path(o); },
         profileutils_factory_path},
        {"/opt/qor//profiles/.current", [](std::string& o) { return dotcurrent_path(o); },
         profileutils_dotcurrent_path},
        {"/etc/bulwin",
         [](std::string& o) {
             installation_path(o);
             return true;
         },
         profileutils_installation_path},
        {"/etc/bulwin/", [](std::string& o) { return current_profile_path(o); },
         profileutils_current_profile_path},
        {"/etc/bulwin//x", [](std::string& o) { return file_in_current(o, "x"); },
         [](char* b, int n) { return profileutils_file_in_current(b, n, "x"); }},
    };
    for (const auto& c : cases) {
        std::string out;
        EXPECT_TRUE(c.cpp(out)) << c.expected;
        EXPECT_EQ(c.expected, out);
        char buffer[128];
        EXPECT_EQ(1, c.flat(buffer, sizeof buffer)) << c.expected;
        EXPECT_STREQ(c.expected, buffer);
    }
    // A cut text is a failure of the flat function.
    char small[8];
    EXPECT_EQ(0, profileutils_installation_path(small, sizeof small));
    EXPECT_STREQ("/etc/bu", small);
}

TEST(ProfilePathsTest, EmptyArgumentsAreRefused) {
    std::string out = "old";
    EXPECT_FALSE(ProfileUtils::profile_path(out, ""));
    EXPECT_EQ("", out);
    out = "old";
    EXPECT_FALSE(ProfileUtils::file_in_profile(out, "a", ""));
    EXPECT_EQ("", out);
    out = "old";
    EXPECT_FALSE(ProfileUtils::file_in_profile(out, "", "hip.conf"));
    EXPECT_EQ("", out);
    // file_in_current alone leaves its output alone.
    out = "old";
    EXPECT_FALSE(ProfileUtils::file_in_current(out, ""));
    EXPECT_EQ("old", out);
    // The flat functions give 0 and leave the buffer alone.
    char buffer[32] = "untouched";
    EXPECT_EQ(0, profileutils_profile_path(buffer, sizeof buffer, ""));
    EXPECT_EQ(0, profileutils_profile_path(buffer, sizeof buffer, nullptr));
    EXPECT_EQ(0, profileutils_file_in_profile(buffer, sizeof buffer, "a", nullptr));
    EXPECT_EQ(0, profileutils_file_in_current(buffer, sizeof buffer, ""));
    EXPECT_STREQ("untouched", buffer);
}

TEST(ProfileInfoTest, AssignCopiesClearKeepsThePathFindCaptionComparesWithCase) {
    ProfileInfo source;
    source.assign("dir", "Caption");
    source.valid = true;
    source.path = "/p";
    ProfileInfo copy;
    copy.assign(copy.assign(source));
    EXPECT_TRUE(copy.valid);
    EXPECT_EQ("/p", copy.path);
    EXPECT_EQ("dir:Caption", copy.dir_title() + ":" + copy.caption());
    copy.clear();
    EXPECT_FALSE(copy.valid);
    EXPECT_EQ(":", copy.dir_title() + ":" + copy.caption());
    EXPECT_EQ("/p", copy.path);

    std::vector<ProfileInfo*> list;
    ClearVectorPolicy<ProfileInfo> free_list(list);
    EXPECT_EQ(-1, ProfileInfo::find_caption(list, "Home"));
    for (const char* caption : {"Work", "Home", "Home"}) {
        list.push_back(new ProfileInfo());
        list.back()->assign("d", caption);
    }
    EXPECT_EQ(1, ProfileInfo::find_caption(list, "Home"));
    EXPECT_EQ(-1, ProfileInfo::find_caption(list, "home"));
}

namespace {

// A profiles root and installation path in a temporary directory.
class Profiles : public ::testing::Test {
  protected:
    void SetUp() override {
        root_ = dir_.dir("profiles") + "/";
        ProfileUtils::internal::override_paths(root_, dir_.path("bulwin"));
        saved_cwd_ = cwd();
    }
    void TearDown() override {
        EXPECT_EQ(0, chdir(saved_cwd_.c_str()));
        ProfileUtils::internal::override_paths("", "");
    }

    // A profile directory; a null caption gives it no profile_name file.
    void make_profile(const std::string& title, const char* caption, bool with_conf = false) {
        ASSERT_EQ(0, mkdir((root_ + title).c_str(), 0755));
        if (caption != nullptr) write_text(caption_file(title), caption);
        if (with_conf) write_text(root_ + title + "/hip.conf", "a=1\n");
    }
    std::string caption_file(const std::string& title) const {
        return root_ + title + "/profile_name";
    }
    std::string dotcurrent() const { return root_ + ".current"; }

    // Titles and captions of load_profiles, "title:caption" in list order.
    std::vector<std::string> listed() {
        std::vector<ProfileInfo*> list;
        ClearVectorPolicy<ProfileInfo> free_list(list);
        EXPECT_TRUE(ProfileInfo::load_profiles(list));
        std::vector<std::string> out;
        for (const ProfileInfo* info : list) {
            EXPECT_FALSE(info->valid);
            EXPECT_EQ("", info->path);
            out.push_back(info->dir_title() + ":" + info->caption());
        }
        return out;
    }

    static std::string cwd() {
        char buffer[PATH_MAX];
        return getcwd(buffer, sizeof buffer) != nullptr ? buffer : "";
    }
    static std::string real(const std::string& path) {
        char buffer[PATH_MAX];
        return realpath(path.c_str(), buffer) != nullptr ? buffer : "";
    }

    files_test::TempTree dir_;
    std::string root_;
    std::string saved_cwd_;
};

}  // namespace

// Hidden directories, plain files and links are no profiles; the caption is
// the first line with text; the list is in strcmp order of the captions.
TEST_F(Profiles, LoadListsVisibleDirectoriesSortedByCaption) {
    make_profile("p1", "home\n");
    make_profile("p2", "\n   \n  Home  \nignored\n");
    make_profile("p3", "alpha\n");
    make_profile("p4", "Zeta\n");
    make_profile(".hidden", "Hidden\n");
    write_text(root_ + "x", "Xray\n");
    write_text(dotcurrent(), "p1\n");
    ASSERT_EQ(0, symlink((root_ + "p1").c_str(), (root_ + "link").c_str()));
    EXPECT_EQ((std::vector<std::string>{"p2:Home", "p4:Zeta", "p3:alpha", "p1:home"}), listed());
}

// Which profile keeps the caption depends on the order of the scan; the
// others are numbered and their caption files rewritten.
TEST_F(Profiles, DuplicateCaptionsAreNumberedOnDisk) {
    for (const char* title : {"h1", "h2", "h3"}) make_profile(title, "Home\n");
    const std::vector<std::string> list = listed();
    ASSERT_EQ(3u, list.size());
    std::set<std::string> captions;
    for (const std::string& entry : list) {
        const std::string caption = entry.substr(3);
        captions.insert(caption);
        EXPECT_EQ(caption + "\n", read_all(caption_file(entry.substr(0, 2))));
    }
    EXPECT_EQ((std::set<std::string>{"Home", "Home#2", "Home#3"}), captions);
    EXPECT_EQ("Home", list[0].substr(3));
    // A second listing finds nothing left to rename.
    EXPECT_EQ(list, listed());
}

TEST_F(Profiles, ProfilesWithoutCaptionAreNamedProfileAndNumbered) {
    make_profile("named", "profile\n");
    make_profile("u1", nullptr);
    make_profile("u2", "  \n");
    const std::vector<std::string> list = listed();
    ASSERT_EQ(3u, list.size());
    EXPECT_EQ("named:profile", list[0]);
    EXPECT_EQ("profile\n", read_all(caption_file("named")));
    const std::set<std::string> numbered{read_all(caption_file("u1")),
                                         read_all(caption_file("u2"))};
    EXPECT_EQ((std::set<std::string>{"profile#2\n", "profile#3\n"}), numbered);
}

TEST_F(Profiles, LoadOnMissingRootFailsWithAnEmptyList) {
    ProfileUtils::internal::override_paths(dir_.path("missing"), dir_.path("bulwin"));
    std::vector<ProfileInfo*> list{new ProfileInfo()};
    ClearVectorPolicy<ProfileInfo> free_list(list);
    EXPECT_FALSE(ProfileInfo::load_profiles(list));
    EXPECT_TRUE(list.empty());
}

// A directory without caption gets the caption "profile", written to disk;
// an empty title, or no .current, resolves to the root itself.
TEST_F(Profiles, FromProfiledirAndFromDotcurrentReadOrGiveTheCaption) {
    make_profile("a", "Alpha\n");
    make_profile("n", nullptr);
    const struct {
        const char* title;  // null: from_dotcurrent without .current
        bool valid;
        std::string path, caption;
    } cases[] = {
        {"a", true, root_ + "a", "Alpha"},         {"n", true, root_ + "n", "profile"},
        {"missing", false, root_ + "missing", ""}, {"", true, root_, "profile"},
        {nullptr, true, root_, "profile"},
    };
    for (const auto& c : cases) {
        unlink((root_ + "profile_name").c_str());
        ProfileInfo info;
        if (c.title != nullptr) info.from_profiledir(c.title);
        if (c.title == nullptr) info.from_dotcurrent();
        EXPECT_EQ(c.valid, info.valid) << c.path;
        EXPECT_EQ(c.caption, info.caption()) << c.path;
        EXPECT_EQ(c.valid ? c.path : info.path, info.path);
        EXPECT_EQ(c.title != nullptr ? c.title : "", info.dir_title()) << c.path;
        if (c.caption == "profile") {
            EXPECT_EQ("profile\n", read_all(c.path + "/profile_name")) << c.path;
        }
    }
    write_text(dotcurrent(), "\n  a  \n");
    ProfileInfo info;
    info.from_dotcurrent();
    EXPECT_TRUE(info.valid);
    EXPECT_EQ("a:Alpha", info.dir_title() + ":" + info.caption());
}

TEST_F(Profiles, FromCaptionFindsTheProfileWithExactlyThatCaption) {
    make_profile("a", "Alpha\n");
    make_profile("b", "  Beta \n");
    make_profile(".h", "Hidden\n");
    ProfileInfo info;
    info.from_caption("Beta");
    EXPECT_TRUE(info.valid);
    EXPECT_EQ("b", info.dir_title());
    EXPECT_EQ(caption_file("b"), info.path);
    for (const char* missing : {"beta", "Hidden", ""}) {
        info.from_caption(missing);
        EXPECT_FALSE(info.valid) << missing;
        EXPECT_EQ(missing, info.caption());
        EXPECT_EQ("", info.dir_title() + info.path);
    }
}

TEST_F(Profiles, WriteDotCurrentGivesModeRwForAllWhateverTheUmask) {
    const mode_t old_umask = umask(077);
    EXPECT_TRUE(ProfileUtils::write_dot_current("b"));
    EXPECT_EQ(1, profileutils_write_dot_current("c"));
    umask(old_umask);
    EXPECT_EQ("c\n", read_all(dotcurrent()));
    EXPECT_EQ(0666u, files_test::permissions(dotcurrent()));
}

TEST_F(Profiles, DotCurrentSnapshotInEachStateOfDotcurrent) {
    make_profile("b", "Beta\n");
    make_profile("nocap", nullptr);
    const struct {
        const char* name;
        const char* dotcurrent;  // null: no .current
        const char *value, *dir, *caption;
    } cases[] = {
        {"missing", nullptr, "", "", ""},
        {"blank", "  \n\n", "", "", ""},
        {"names a profile", "  b \n", "b", "b", "Beta"},
        // A missing caption file reads as an empty caption, not the title.
        {"names a profile without caption", "nocap\n", "nocap", "nocap", ""},
        {"names a missing directory", "ghost\n", "ghost", "ghost", ""},
    };
    for (const auto& c : cases) {
        unlink(dotcurrent().c_str());
        if (c.dotcurrent != nullptr) write_text(dotcurrent(), c.dotcurrent);
        ProfileUtils::DotCurrentProfile snapshot;
        EXPECT_TRUE(snapshot.is_valid()) << c.name;
        EXPECT_EQ(dotcurrent(), snapshot.dotcurrent_path()) << c.name;
        EXPECT_EQ(c.value, snapshot.dotcurrent_value()) << c.name;
        EXPECT_EQ(*c.dir == '\0' ? "" : root_ + c.dir, snapshot.currentprofile_dir()) << c.name;
        EXPECT_EQ(c.caption, snapshot.caption()) << c.name;
        EXPECT_EQ(root_, snapshot.profiles_rootdir()) << c.name;
    }
    EXPECT_FALSE(std::filesystem::exists(root_ + "nocap/profile_name"));
}

// Profile "b" has the lowest caption but no hip.conf; "c" has one. Unless
// .current names a profile with a hip.conf, it is replaced by the profile of
// lowest caption, although `out` then names a file that is not there.
TEST_F(Profiles, SetCurrentProfileEntersTheProfileThatDotcurrentEndsUpNaming) {
    make_profile("a", "Zulu\n", true);
    make_profile("b", "Alpha\n");
    make_profile("c", "Mike\n", true);
    const struct {
        const char* dotcurrent;  // null: no .current
        const char* entered;
    } cases[] = {{"  c\n", "c"},   {"a-without\n", "b"}, {"b\n", "b"},
                 {"ghost\n", "b"}, {" \n\n", "b"},       {nullptr, "b"}};
    for (const auto& c : cases) {
        const std::string name = c.dotcurrent != nullptr ? c.dotcurrent : "(none)";
        unlink(dotcurrent().c_str());
        if (c.dotcurrent != nullptr) write_text(dotcurrent(), c.dotcurrent);
        std::string out = "old";
        ASSERT_TRUE(ProfileUtils::set_current_profile(out)) << name;
        EXPECT_EQ(root_ + c.entered + "/hip.conf", out) << name;
        EXPECT_EQ(real(root_ + c.entered), cwd()) << name;
        EXPECT_EQ(*c.entered == 'c' ? c.dotcurrent : "b\n", read_all(dotcurrent())) << name;
        if (*c.entered == 'b') {
            EXPECT_EQ(0666u, files_test::permissions(dotcurrent())) << name;
        }
    }
}

// The flat function enters the profile even where its path does not fit.
TEST_F(Profiles, FlatSetCurrentProfileGivesZeroForACutPathButEntersTheProfile) {
    make_profile("p", "Only\n");
    char buffer[4] = "old";
    EXPECT_EQ(0, profileutils_set_current_profile(buffer, sizeof buffer));
    EXPECT_EQ(root_.substr(0, 3), buffer);
    EXPECT_EQ("p\n", read_all(dotcurrent()));
    EXPECT_EQ(real(root_ + "p"), cwd());
    char large[PATH_MAX];
    EXPECT_EQ(1, profileutils_set_current_profile(large, sizeof large));
    EXPECT_EQ(root_ + "p/hip.conf", large);
}

TEST_F(Profiles, SetCurrentProfileWithoutAnyProfileFailsAndKeepsDotcurrent) {
    std::string out = "old";
    EXPECT_FALSE(ProfileUtils::set_current_profile(out));
    EXPECT_FALSE(std::filesystem::exists(dotcurrent()));
    char buffer[32] = "untouched";
    EXPECT_EQ(0, profileutils_set_current_profile(buffer, sizeof buffer));
    EXPECT_STREQ("untouched", buffer);
    write_text(dotcurrent(), "ghost\n");
    EXPECT_FALSE(ProfileUtils::set_current_profile(out));
    EXPECT_EQ("ghost\n", read_all(dotcurrent()));
    EXPECT_EQ(saved_cwd_, cwd());
    ProfileUtils::internal::override_paths(dir_.path("missing"), dir_.path("bulwin"));
    EXPECT_FALSE(ProfileUtils::set_current_profile(out));
    EXPECT_FALSE(std::filesystem::exists(dir_.path("missing")));
}

// Files that exist but cannot be read need a user whom permissions bind: the
// checks run in a child that, under root, becomes "nobody", after the tree
// is given to that user, as the profiles tree belongs to the daemons' user in
// a real installation.
TEST_F(Profiles, UnreadableDotcurrentAndCaptionFiles) {
    make_profile("a", "Zulu\n", true);
    make_profile("b", "Alpha\n", true);
    write_text(dotcurrent(), "a\n");
    ASSERT_EQ(0, chmod(dotcurrent().c_str(), 0200));
    if (geteuid() == 0) {
        ASSERT_EQ(0, lchown(dir_.root().c_str(), 65534, 65534));
        for (const auto& entry : std::filesystem::recursive_directory_iterator(dir_.root())) {
            ASSERT_EQ(0, lchown(entry.path().c_str(), 65534, 65534));
        }
    }
    const std::string expected = root_ + "b/hip.conf", caption_b = caption_file("b");
    EXPECT_UNPRIVILEGED([&] {
        // An unreadable .current makes the snapshot invalid, and is replaced
        // where it is writable.
        ProfileUtils::DotCurrentProfile unreadable;
        CHILD_CHECK(!unreadable.is_valid() && unreadable.dotcurrent_value().empty());
        std::string out;
        CHILD_CHECK(ProfileUtils::set_current_profile(out) && out == expected);
        // An unreadable caption file falls back to the title.
        CHILD_CHECK(chmod(caption_b.c_str(), 0200) == 0);
        ProfileUtils::DotCurrentProfile snapshot;
        CHILD_CHECK(snapshot.is_valid() && snapshot.caption() == "b");
        return true;
    });
    EXPECT_EQ("b\n", read_all(dotcurrent()));
}
