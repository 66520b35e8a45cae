#include <gtest/gtest.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <set>

#include "files/config_test_support.h"
#include "files/profile_paths.h"
#include "qorbasic/guards.h"
#include "qorbasic/profiles.h"

namespace {

using config_test::read_all;
using config_test::write_text;

// ---------------------------------------------------------------------------
// The fixed paths; nothing here touches the disk.

TEST(ProfilePaths, DefaultsAreTheFixedPaths) {
    EXPECT_EQ("/opt/qor//profiles/", ProfileInfo::PROFILES_ROOTDIR);
    EXPECT_EQ("/opt/qor//profiles/.current", ProfileInfo::CURRENT_PROFILE_FILENAME);
    EXPECT_EQ("profile_name", ProfileInfo::PROFILE_NAME_FILE);

    std::string out;
    EXPECT_TRUE(ProfileUtils::profile_path(out, "a"));
    EXPECT_EQ("/opt/qor//profiles/a", out);
    EXPECT_TRUE(ProfileUtils::file_in_profile(out, "a", "hip.conf"));
    EXPECT_EQ("/opt/qor//profiles/a/hip.conf", out);
    EXPECT_TRUE(ProfileUtils::factory_path(out));
    EXPECT_EQ("/opt/qor//profiles/.factory", out);
    EXPECT_TRUE(ProfileUtils::dotcurrent_path(out));
    EXPECT_EQ("/opt/qor//profiles/.current", out);
    ProfileUtils::installation_path(out);
    EXPECT_EQ("/etc/bulwin", out);
    EXPECT_TRUE(ProfileUtils::current_profile_path(out));
    EXPECT_EQ("/etc/bulwin/", out);
    EXPECT_TRUE(ProfileUtils::file_in_current(out, "x"));
    EXPECT_EQ("/etc/bulwin//x", out);
}

TEST(ProfilePaths, EmptyArgumentsAreRefused) {
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
}

TEST(ProfileInfoRecord, AssignCopiesAllFieldsAndClearKeepsThePath) {
    ProfileInfo source;
    source.assign("dir", "Caption");
    source.valid = true;
    source.path = "/p";
    ProfileInfo copy;
    copy.assign(source);
    EXPECT_TRUE(copy.valid);
    EXPECT_EQ("/p", copy.path);
    EXPECT_EQ("dir", copy.dir_title());
    EXPECT_EQ("Caption", copy.caption());

    copy.assign(copy);
    EXPECT_EQ("Caption", copy.caption());

    copy.clear();
    EXPECT_FALSE(copy.valid);
    EXPECT_EQ("", copy.dir_title());
    EXPECT_EQ("", copy.caption());
    EXPECT_EQ("/p", copy.path);
}

TEST(ProfileInfoRecord, FindCaptionComparesWithCase) {
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

// ---------------------------------------------------------------------------
// A profiles root and installation path in a temporary directory.

class Profiles : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_FALSE(dir_.root().empty());
        root_ = dir_.path("profiles") + "/";
        ASSERT_EQ(0, mkdir(root_.c_str(), 0755));
        ProfileUtils::internal::override_paths(root_, dir_.path("bulwin"));
        char cwd[PATH_MAX];
        ASSERT_NE(nullptr, getcwd(cwd, sizeof cwd));
        saved_cwd_ = cwd;
    }

    void TearDown() override {
        EXPECT_EQ(0, chdir(saved_cwd_.c_str()));
        ProfileUtils::internal::override_paths("", "");
    }

    // A profile directory; a null caption gives it no profile_name file.
    void make_profile(const std::string& title, const char* caption, bool with_conf = false) {
        ASSERT_EQ(0, mkdir((root_ + title).c_str(), 0755));
        if (caption != nullptr) {
            write_text(caption_file(title), caption);
        }
        if (with_conf) {
            write_text(root_ + title + "/hip.conf", "a=1\n");
        }
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

TEST_F(Profiles, LoadSkipsHiddenDirectoriesFilesAndLinks) {
    make_profile("a", "Alpha\n");
    make_profile("b", "Beta\n");
    make_profile(".hidden", "Hidden\n");
    write_text(root_ + "x", "Xray\n");
    write_text(dotcurrent(), "a\n");
    ASSERT_EQ(0, symlink((root_ + "a").c_str(), (root_ + "link").c_str()));
    EXPECT_EQ((std::vector<std::string>{"a:Alpha", "b:Beta"}), listed());
}

TEST_F(Profiles, LoadSortsByCaptionWithUpperCaseFirst) {
    make_profile("p1", "home\n");
    make_profile("p2", "Home\n");
    make_profile("p3", "alpha\n");
    make_profile("p4", "Zeta\n");
    EXPECT_EQ((std::vector<std::string>{"p2:Home", "p4:Zeta", "p3:alpha", "p1:home"}), listed());
}

TEST_F(Profiles, LoadReadsTheFirstNonBlankLineAsCaption) {
    make_profile("w", "\n   \n  Work  \nignored\n");
    EXPECT_EQ((std::vector<std::string>{"w:Work"}), listed());
}

// Which profile keeps the caption depends on the order of the scan; the
// others are numbered and their caption files rewritten.
TEST_F(Profiles, DuplicateCaptionsAreNumberedOnDisk) {
    for (const char* title : {"h1", "h2", "h3"}) {
        make_profile(title, "Home\n");
    }
    const std::vector<std::string> list = listed();
    ASSERT_EQ(3u, list.size());
    std::set<std::string> captions;
    for (const std::string& entry : list) {
        const std::string title = entry.substr(0, entry.find(':'));
        const std::string caption = entry.substr(entry.find(':') + 1);
        captions.insert(caption);
        EXPECT_EQ(caption + "\n", read_all(caption_file(title)));
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
    std::set<std::string> numbered;
    for (const char* title : {"u1", "u2"}) {
        numbered.insert(read_all(caption_file(title)));
    }
    EXPECT_EQ((std::set<std::string>{"profile#2\n", "profile#3\n"}), numbered);
}

TEST_F(Profiles, LoadOnMissingRootFailsWithAnEmptyList) {
    ProfileUtils::internal::override_paths(dir_.path("missing"), dir_.path("bulwin"));
    std::vector<ProfileInfo*> list{new ProfileInfo()};
    ClearVectorPolicy<ProfileInfo> free_list(list);
    EXPECT_FALSE(ProfileInfo::load_profiles(list));
    EXPECT_TRUE(list.empty());
}

TEST_F(Profiles, FromProfiledirReadsOrGivesTheCaption) {
    make_profile("a", "Alpha\n");
    make_profile("n", nullptr);
    ProfileInfo info;
    info.from_profiledir("a");
    EXPECT_TRUE(info.valid);
    EXPECT_EQ(root_ + "a", info.path);
    EXPECT_EQ("a", info.dir_title());
    EXPECT_EQ("Alpha", info.caption());

    info.from_profiledir("n");
    EXPECT_TRUE(info.valid);
    EXPECT_EQ("profile", info.caption());
    EXPECT_EQ("profile\n", read_all(caption_file("n")));

    info.from_profiledir("missing");
    EXPECT_FALSE(info.valid);
    EXPECT_EQ("", info.caption());
}

TEST_F(Profiles, FromProfiledirWithEmptyTitleResolvesToTheRoot) {
    ProfileInfo info;
    info.from_profiledir("");
    EXPECT_TRUE(info.valid);
    EXPECT_EQ(root_, info.path);
    EXPECT_EQ("profile", info.caption());
    EXPECT_EQ("profile\n", read_all(root_ + "profile_name"));
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
        EXPECT_EQ("", info.dir_title());
        EXPECT_EQ("", info.path);
    }
}

TEST_F(Profiles, FromDotcurrentFollowsTheNamedProfile) {
    make_profile("b", "Beta\n");
    write_text(dotcurrent(), "\n  b  \n");
    ProfileInfo info;
    info.from_dotcurrent();
    EXPECT_TRUE(info.valid);
    EXPECT_EQ("b", info.dir_title());
    EXPECT_EQ("Beta", info.caption());
}

TEST_F(Profiles, FromDotcurrentWithoutDotcurrentResolvesToTheRoot) {
    ProfileInfo info;
    info.from_dotcurrent();
    EXPECT_TRUE(info.valid);
    EXPECT_EQ("", info.dir_title());
    EXPECT_EQ("profile", info.caption());
    EXPECT_EQ("profile\n", read_all(root_ + "profile_name"));
}

TEST_F(Profiles, WriteDotCurrentGivesModeRwForAllWhateverTheUmask) {
    const mode_t old_umask = umask(077);
    const bool written = ProfileUtils::write_dot_current("b");
    umask(old_umask);
    ASSERT_TRUE(written);
    EXPECT_EQ("b\n", read_all(dotcurrent()));
    struct stat st;
    ASSERT_EQ(0, stat(dotcurrent().c_str(), &st));
    EXPECT_EQ(0666u, st.st_mode & 0777u);
}

struct SnapshotCase {
    const char* name;
    const char* dotcurrent;  // null: no .current
    const char* value;
    const char* dir;  // below the root
    const char* caption;
};

TEST_F(Profiles, DotCurrentSnapshotInEachStateOfDotcurrent) {
    make_profile("b", "Beta\n");
    make_profile("nocap", nullptr);
    const SnapshotCase cases[] = {
        {"missing", nullptr, "", "", ""},
        {"blank", "  \n\n", "", "", ""},
        {"names a profile", "  b \n", "b", "b", "Beta"},
        // A missing caption file reads as an empty caption, not the title.
        {"names a profile without caption", "nocap\n", "nocap", "nocap", ""},
        {"names a missing directory", "ghost\n", "ghost", "ghost", ""},
    };
    for (const SnapshotCase& c : cases) {
        if (c.dotcurrent == nullptr) {
            unlink(dotcurrent().c_str());
        } else {
            write_text(dotcurrent(), c.dotcurrent);
        }
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

// States of .current, and what set_current_profile makes of them. Profile
// "b" has the lowest caption but no hip.conf; "c" has one.
struct CurrentCase {
    const char* name;
    const char* dotcurrent;  // null: no .current
    const char* entered;
};

void PrintTo(const CurrentCase& c, std::ostream* os) {
    *os << c.name;
}

class SetCurrentProfile : public Profiles, public ::testing::WithParamInterface<CurrentCase> {};

TEST_P(SetCurrentProfile, EntersTheProfileThatDotcurrentEndsUpNaming) {
    const CurrentCase& c = GetParam();
    make_profile("a", "Zulu\n", true);
    make_profile("b", "Alpha\n");
    make_profile("c", "Mike\n", true);
    if (c.dotcurrent != nullptr) {
        write_text(dotcurrent(), c.dotcurrent);
    }
    const bool kept = std::string(c.entered) == "c";

    std::string out = "old";
    ASSERT_TRUE(ProfileUtils::set_current_profile(out));
    EXPECT_EQ(root_ + c.entered + "/hip.conf", out);
    EXPECT_EQ(real(root_ + c.entered), cwd());
    if (kept) {
        EXPECT_EQ(c.dotcurrent, read_all(dotcurrent()));
    } else {
        // Replaced by the profile of lowest caption, although that one has
        // no hip.conf: `out` names a file that is not there.
        EXPECT_EQ("b\n", read_all(dotcurrent()));
        EXPECT_FALSE(std::filesystem::exists(out));
        struct stat st;
        ASSERT_EQ(0, stat(dotcurrent().c_str(), &st));
        EXPECT_EQ(0666u, st.st_mode & 0777u);
    }
}

INSTANTIATE_TEST_SUITE_P(
    DotcurrentStates, SetCurrentProfile,
    ::testing::Values(CurrentCase{"NamesAProfileWithHipConf", "  c\n", "c"},
                      CurrentCase{"NamesAProfileWithoutHipConf", "a-without\n", "b"},
                      CurrentCase{"NamesTheLowestProfileWithoutHipConf", "b\n", "b"},
                      CurrentCase{"NamesAMissingDirectory", "ghost\n", "b"},
                      CurrentCase{"Blank", " \n\n", "b"}, CurrentCase{"Missing", nullptr, "b"}),
    [](const ::testing::TestParamInfo<CurrentCase>& info) { return info.param.name; });

TEST_F(Profiles, SetCurrentProfileWithoutAnyProfileFailsAndKeepsDotcurrent) {
    std::string out = "old";
    EXPECT_FALSE(ProfileUtils::set_current_profile(out));
    EXPECT_FALSE(std::filesystem::exists(dotcurrent()));

    write_text(dotcurrent(), "ghost\n");
    EXPECT_FALSE(ProfileUtils::set_current_profile(out));
    EXPECT_EQ("ghost\n", read_all(dotcurrent()));
    EXPECT_EQ(saved_cwd_, cwd());
}

TEST_F(Profiles, SetCurrentProfileOnMissingRootFails) {
    ProfileUtils::internal::override_paths(dir_.path("missing"), dir_.path("bulwin"));
    std::string out;
    EXPECT_FALSE(ProfileUtils::set_current_profile(out));
    EXPECT_FALSE(std::filesystem::exists(dir_.path("missing")));
}

// Files that exist but cannot be read need a user whom permissions bind:
// the checks run in a child that, under root, becomes "nobody"; the tree is
// given to that user first, as the profiles tree belongs to the daemons'
// user in a real installation.
class UnreadableProfileFiles : public Profiles {
  protected:
    void give_tree_to_nobody() {
        if (geteuid() != 0) {
            return;
        }
        ASSERT_EQ(0, lchown(dir_.root().c_str(), 65534, 65534));
        for (const auto& entry : std::filesystem::recursive_directory_iterator(dir_.root())) {
            ASSERT_EQ(0, lchown(entry.path().c_str(), 65534, 65534));
        }
    }
};

TEST_F(UnreadableProfileFiles, UnreadableDotcurrentMakesTheSnapshotInvalid) {
    make_profile("b", "Beta\n");
    write_text(dotcurrent(), "b\n");
    ASSERT_EQ(0, chmod(dotcurrent().c_str(), 0200));
    give_tree_to_nobody();
    EXPECT_UNPRIVILEGED([] {
        ProfileUtils::DotCurrentProfile snapshot;
        CHILD_CHECK(!snapshot.is_valid());
        CHILD_CHECK(snapshot.dotcurrent_value().empty());
        return true;
    });
}

TEST_F(UnreadableProfileFiles, UnreadableCaptionFileFallsBackToTheTitle) {
    make_profile("b", "Beta\n");
    write_text(dotcurrent(), "b\n");
    ASSERT_EQ(0, chmod(caption_file("b").c_str(), 0200));
    give_tree_to_nobody();
    EXPECT_UNPRIVILEGED([] {
        ProfileUtils::DotCurrentProfile snapshot;
        CHILD_CHECK(snapshot.is_valid());
        CHILD_CHECK(snapshot.caption() == "b");
        return true;
    });
}

TEST_F(UnreadableProfileFiles, UnreadableDotcurrentIsReplacedWhereItIsWritable) {
    make_profile("a", "Zulu\n", true);
    make_profile("b", "Alpha\n", true);
    write_text(dotcurrent(), "a\n");
    ASSERT_EQ(0, chmod(dotcurrent().c_str(), 0200));
    give_tree_to_nobody();
    const std::string expected = root_ + "b/hip.conf";
    EXPECT_UNPRIVILEGED([&] {
        std::string out;
        CHILD_CHECK(ProfileUtils::set_current_profile(out));
        CHILD_CHECK(out == expected);
        return true;
    });
    EXPECT_EQ("b\n", read_all(dotcurrent()));
}

}  // namespace
