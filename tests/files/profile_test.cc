// Tests of profiles: listing, captions, the current profile and refused names.
#include <sys/stat.h>
#include <unistd.h>

#include <set>

#include "files/profile_paths.h"
#include "files/temp_tree.h"
#include "qorbasic/guards.h"
#include "qorbasic/profiles.h"

using namespace files_test;

// The fixed paths, through the flat functions: 1 for success, 0 for a cut
// text or a refused argument, which leaves the buffer alone.
TEST(ProfilePathsTest, FixedPathsAndRefusedArguments) {
    char b[128];
    // The result of a call, and the buffer after it.
    auto gives = [&b](int result, const char* text) { return std::to_string(result) + b == text; };
    EXPECT_TRUE(gives(profileutils_profile_path(b, sizeof b, "a"), "1/opt/qor//profiles/a"));
    EXPECT_TRUE(gives(profileutils_file_in_profile(b, sizeof b, "a", "hip.conf"),
                      "1/opt/qor//profiles/a/hip.conf"));
    EXPECT_TRUE(gives(profileutils_factory_path(b, sizeof b), "1/opt/qor//profiles/.factory"));
    EXPECT_TRUE(gives(profileutils_dotcurrent_path(b, sizeof b), "1/opt/qor//profiles/.current"));
    EXPECT_TRUE(gives(profileutils_current_profile_path(b, sizeof b), "1/etc/bulwin/"));
    EXPECT_TRUE(gives(profileutils_file_in_current(b, sizeof b, "x"), "1/etc/bulwin//x"));
    EXPECT_TRUE(gives(profileutils_installation_path(b, 8), "0/etc/bu"));
    EXPECT_TRUE(gives(profileutils_profile_path(b, sizeof b, ""), "0/etc/bu"));
    EXPECT_TRUE(gives(profileutils_profile_path(b, sizeof b, nullptr), "0/etc/bu"));
    EXPECT_TRUE(gives(profileutils_file_in_profile(b, sizeof b, "a", nullptr), "0/etc/bu"));
    EXPECT_TRUE(gives(profileutils_file_in_current(b, sizeof b, ""), "0/etc/bu"));
}

namespace {

// A profiles root and installation path in a temporary directory.
class Profiles : public ::testing::Test {
  protected:
    void SetUp() override { ProfileUtils::internal::override_paths(root_, dir_.path("bulwin")); }
    void TearDown() override {
        std::filesystem::current_path(saved_cwd_);
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
        for (const ProfileInfo* info : list)
            out.push_back(info->dir_title() + ":" + info->caption());
        return out;
    }
    static std::string cwd() { return std::filesystem::current_path(); }
    static std::string real(const std::string& path) { return std::filesystem::canonical(path); }

    TempTree dir_;
    const std::string root_ = dir_.dir("profiles") + "/";
    const std::string saved_cwd_ = cwd();
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

// Which profile keeps a caption depends on the order of the scan; the
// others are numbered and their caption files rewritten. Profiles without a
// caption are named "profile" and numbered alike.
TEST_F(Profiles, DuplicateAndMissingCaptionsAreNumberedOnDisk) {
    for (const char* title : {"h1", "h2", "h3"}) make_profile(title, "Home\n");
    make_profile("n1", "profile\n");
    make_profile("n2", nullptr);
    make_profile("n3", "  \n");
    const std::vector<std::string> list = listed();
    ASSERT_EQ(6u, list.size());
    std::set<std::string> captions;
    for (const std::string& entry : list) {
        captions.insert(entry.substr(3));
        EXPECT_EQ(entry.substr(3) + "\n", read_all(caption_file(entry.substr(0, 2))));
    }
    EXPECT_EQ(
        (std::set<std::string>{"Home", "Home#2", "Home#3", "profile", "profile#2", "profile#3"}),
        captions);
    EXPECT_EQ("Home", list[0].substr(3));
    EXPECT_EQ("n1:profile", list[3]);
    // A second listing finds nothing left to rename.
    EXPECT_EQ(list, listed());
}

// A directory without caption gets the caption "profile", written to disk;
// an empty title, or no .current, resolves to the root itself.
TEST_F(Profiles, FromProfiledirFromDotcurrentAndFromCaption) {
    make_profile("a", "Alpha\n");
    make_profile("n", nullptr);
    // Title (null: from_dotcurrent without .current), valid, path, caption.
    const std::tuple<const char*, bool, std::string, std::string> cases[] = {
        {"a", true, root_ + "a", "Alpha"},         {"n", true, root_ + "n", "profile"},
        {"missing", false, root_ + "missing", ""}, {"", true, root_, "profile"},
        {nullptr, true, root_, "profile"},
    };
    for (const auto& [title, valid, path, caption] : cases) {
        unlink((root_ + "profile_name").c_str());
        ProfileInfo info;
        if (title != nullptr) info.from_profiledir(title);
        if (title == nullptr) info.from_dotcurrent();
        EXPECT_EQ(valid, info.valid) << path;
        EXPECT_EQ(caption, info.caption()) << path;
        EXPECT_EQ(valid ? path : info.path, info.path);
        EXPECT_EQ(title != nullptr ? title : "", info.dir_title()) << path;
        if (caption == "profile") {
            EXPECT_EQ("profile\n", read_all(path + "/profile_name")) << path;
        }
    }
    write_text(dotcurrent(), "\n  a  \n");
    ProfileInfo info;
    EXPECT_TRUE(info.from_dotcurrent().valid);
    EXPECT_EQ("a:Alpha", info.dir_title() + ":" + info.caption());
    // from_caption wants the caption exactly, and sees no hidden profile.
    make_profile("b", "  Beta \n");
    make_profile(".h", "Hidden\n");
    EXPECT_TRUE(info.from_caption("Beta").valid);
    EXPECT_EQ("b " + caption_file("b"), info.dir_title() + " " + info.path);
    for (const char* missing : {"beta", "Hidden", ""}) {
        EXPECT_FALSE(info.from_caption(missing).valid) << missing;
        EXPECT_EQ(missing, info.caption() + info.dir_title() + info.path);
    }
}

TEST_F(Profiles, DotCurrentSnapshotInEachStateOfDotcurrent) {
    make_profile("b", "Beta\n");
    make_profile("nocap", nullptr);
    // .current (null: none), the profile it names, its caption.
    const char* const cases[][3] = {
        {nullptr, "", ""},
        {"  \n\n", "", ""},
        {"  b \n", "b", "Beta"},
        // A missing caption file reads as an empty caption, not the title.
        {"nocap\n", "nocap", ""},
    };
    for (const auto& [text, value, caption] : cases) {
        const std::string name = text != nullptr ? text : "(none)";
        unlink(dotcurrent().c_str());
        if (text != nullptr) write_text(dotcurrent(), text);
        ProfileUtils::DotCurrentProfile snapshot;
        EXPECT_TRUE(snapshot.is_valid()) << name;
        EXPECT_EQ(value, snapshot.dotcurrent_value()) << name;
        EXPECT_EQ(*value == '\0' ? "" : root_ + value, snapshot.currentprofile_dir()) << name;
        EXPECT_EQ(caption, snapshot.caption()) << name;
    }
    EXPECT_FALSE(std::filesystem::exists(root_ + "nocap/profile_name"));
}

// Profile "b" has the lowest caption but no hip.conf; "c" has one. Unless
// .current names a profile with a hip.conf, it is replaced by the profile of
// lowest caption, although `out` then names a file that is not there. The
// .current written gets mode 0666 whatever the umask.
TEST_F(Profiles, SetCurrentProfileEntersTheProfileThatDotcurrentEndsUpNaming) {
    const mode_t old_umask = umask(077);
    make_profile("a", "Zulu\n", true);
    make_profile("b", "Alpha\n");
    make_profile("c", "Mike\n", true);
    // .current (null: none), the profile entered.
    const std::pair<const char*, const char*> cases[] = {
        {"  c\n", "c"}, {"b\n", "b"}, {"ghost\n", "b"}, {" \n\n", "b"}, {nullptr, "b"}};
    for (const auto& [text, entered] : cases) {
        const std::string name = text != nullptr ? text : "(none)";
        unlink(dotcurrent().c_str());
        if (text != nullptr) write_text(dotcurrent(), text);
        // The flat function enters the profile even where the path is cut (0).
        char small[4] = "old";
        EXPECT_EQ(0, profileutils_set_current_profile(small, sizeof small)) << name;
        EXPECT_EQ(root_.substr(0, 3), small) << name;
        EXPECT_EQ(real(root_ + entered), cwd()) << name;
        EXPECT_EQ(*entered == 'c' ? text : "b\n", read_all(dotcurrent())) << name;
        if (*entered == 'b') {
            EXPECT_EQ(0666u, permissions(dotcurrent())) << name;
        }
        std::filesystem::current_path(saved_cwd_);
        std::string out = "old";
        ASSERT_TRUE(ProfileUtils::set_current_profile(out)) << name;
        EXPECT_EQ(root_ + entered + "/hip.conf", out) << name;
        EXPECT_EQ(real(root_ + entered), cwd()) << name;
        char large[4096];
        EXPECT_EQ(1, profileutils_set_current_profile(large, sizeof large)) << name;
        EXPECT_EQ(out, large) << name;
    }
    umask(old_umask);
}

TEST_F(Profiles, SetCurrentProfileWithoutAnyProfileOrRootFailsAndKeepsDotcurrent) {
    std::string out = "old";
    EXPECT_FALSE(ProfileUtils::set_current_profile(out) || exists_no_follow(dotcurrent()));
    char buffer[32] = "untouched";
    EXPECT_EQ(0, profileutils_set_current_profile(buffer, sizeof buffer));
    EXPECT_STREQ("untouched", buffer);
    write_text(dotcurrent(), "ghost\n");
    EXPECT_FALSE(ProfileUtils::set_current_profile(out));
    EXPECT_EQ("ghost\n", read_all(dotcurrent()));
    EXPECT_EQ(saved_cwd_, cwd());
    ProfileUtils::internal::override_paths(dir_.path("missing"), dir_.path("bulwin"));
    EXPECT_FALSE(ProfileUtils::set_current_profile(out) || exists_no_follow(dir_.path("missing")));
    std::vector<ProfileInfo*> list{new ProfileInfo()};
    ClearVectorPolicy<ProfileInfo> free_list(list);
    EXPECT_FALSE(ProfileInfo::load_profiles(list));
    EXPECT_TRUE(list.empty());
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

// Titles and file names that are not one path component lead out of the
// root; every operation that builds a path from one refuses it, and a
// .current that names one is not followed.
TEST_F(Profiles, NamesThatAreNotOnePathComponentAreRefused) {
    make_profile("a", "A", true);
    const std::string outside = dir_.dir("outside");
    write_text(outside + "/hip.conf", "a=1\n");
    for (const char* bad : {"..", ".", "../outside", "a/../../outside", "/tmp"}) {
        std::string out = "old";
        EXPECT_FALSE(
            ProfileUtils::profile_path(out, bad) || ProfileUtils::file_in_profile(out, "a", bad) ||
            ProfileUtils::file_in_current(out, bad) || ProfileUtils::write_dot_current(bad) ||
            ProfileInfo().from_profiledir(bad).valid)
            << bad;
    }
    EXPECT_FALSE(exists_no_follow(outside + "/profile_name"));
    write_text(dotcurrent(), "../outside\n");
    std::string conf;
    EXPECT_TRUE(ProfileUtils::set_current_profile(conf));
    EXPECT_EQ(real(root_ + "a"), cwd());
}

// Links planted in the profiles tree are never written through: what they
// lead to is neither created nor changed. A plain .current is made mode 0666.
TEST_F(Profiles, LinksInTheTreeAreNeverWrittenThrough) {
    const std::string outside = dir_.dir("outside"), kept = outside + "/kept";
    write_text(kept, "keep me\n");
    make_profile("a", nullptr);
    ASSERT_EQ(0, symlink((outside + "/made").c_str(), caption_file("a").c_str()));
    std::vector<ProfileInfo*> list;
    ClearVectorPolicy<ProfileInfo> free_list(list);
    ProfileInfo::load_profiles(list);
    EXPECT_FALSE(exists_no_follow(outside + "/made"));
    for (bool symbolic : {true, false}) {
        ASSERT_EQ(0, symbolic ? symlink(kept.c_str(), dotcurrent().c_str())
                              : link(kept.c_str(), dotcurrent().c_str()));
        EXPECT_FALSE(ProfileUtils::write_dot_current("a")) << symbolic;
        EXPECT_EQ("keep me\n", read_all(kept)) << symbolic;
        ASSERT_EQ(0, unlink(dotcurrent().c_str()));
    }
    struct stat info;
    EXPECT_TRUE(ProfileUtils::write_dot_current("a"));
    ASSERT_EQ(0, stat(dotcurrent().c_str(), &info));
    EXPECT_EQ(0666u, info.st_mode & 0777);
    EXPECT_EQ("a\n", read_all(dotcurrent()));
}
