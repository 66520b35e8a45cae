#include <gtest/gtest.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>

#include "files/config_test_support.h"
#include "files/profile_paths.h"
#include "qorbasic/files.h"
#include "qorbasic/fileutils_flat.h"

namespace {

using config_test::read_all;
using config_test::write_text;

bool exists(const std::string& path) {
    return access(path.c_str(), F_OK) == 0;
}

class FlatFunctions : public ::testing::Test {
  protected:
    void SetUp() override {
        config_test::use_test_lock_dir();
        ASSERT_FALSE(dir_.root().empty());
    }
    files_test::TempTree dir_;
};

// ---------------------------------------------------------------------------
// Convention A (0 success) beside convention B (1 success).

TEST_F(FlatFunctions, RemovalsGiveZeroOnSuccess) {
    const std::string file = dir_.path("f"), sub = dir_.path("d");
    write_text(file, "x");
    ASSERT_EQ(0, mkdir(sub.c_str(), 0755));
    write_text(sub + "/inner", "x");

    EXPECT_EQ(0, fileutils_remove_file(file.c_str()));
    EXPECT_FALSE(exists(file));
    EXPECT_EQ(0, fileutils_remove_file(file.c_str()));  // already gone
    EXPECT_EQ(1, fileutils_remove_file(sub.c_str()));   // a directory
    EXPECT_EQ(1, fileutils_remove_file(nullptr));       // empty path
    EXPECT_EQ(1, fileutils_remove_dir(sub.c_str()));    // not empty
    EXPECT_EQ(1, fileutils_remove_fileordir(sub.c_str()));
    EXPECT_EQ(1, fileutils_remove_recursively("relative/path"));
    EXPECT_EQ(0, fileutils_remove_recursively(sub.c_str()));
    EXPECT_FALSE(exists(sub));
}

TEST_F(FlatFunctions, CopyAndMoveRunInOppositeSenses) {
    const std::string source = dir_.path("source"), copy = dir_.path("copy"),
                      moved = dir_.path("moved"), missing = dir_.path("missing");
    write_text(source, "content");

    EXPECT_EQ(1, fileutils_copy_file(source.c_str(), copy.c_str(), 0));
    EXPECT_EQ("content", read_all(copy));
    EXPECT_EQ(0, fileutils_copy_file(missing.c_str(), copy.c_str(), 1));

    EXPECT_EQ(0, fileutils_move_file(source.c_str(), moved.c_str(), 0));
    EXPECT_EQ("content", read_all(moved));
    EXPECT_FALSE(exists(source));
    EXPECT_EQ(1, fileutils_move_file(missing.c_str(), moved.c_str(), 1));
    // Without overwrite an existing destination stays.
    EXPECT_EQ(1, fileutils_move_file(copy.c_str(), moved.c_str(), 0));
    EXPECT_TRUE(exists(copy));
}

TEST_F(FlatFunctions, FileExistsGivesOneForARegularFile) {
    const std::string file = dir_.path("f");
    write_text(file, "");
    EXPECT_EQ(1, fileutils_file_exists(file.c_str()));
    EXPECT_EQ(0, fileutils_file_exists(dir_.root().c_str()));
    EXPECT_EQ(0, fileutils_file_exists(dir_.path("missing").c_str()));
    EXPECT_EQ(0, fileutils_file_exists(nullptr));
}

// ---------------------------------------------------------------------------
// Convention C.

TEST_F(FlatFunctions, MkuniqueGivesAStreamAndAMallocedName) {
    const std::string prefix = dir_.path("x");
    char* name = nullptr;
    FILE* stream = fileutils_mkunique(prefix.c_str(), &name);
    ASSERT_NE(nullptr, stream);
    ASSERT_NE(nullptr, name);
    EXPECT_EQ(prefix.size() + 7, strlen(name));
    EXPECT_EQ(0, strncmp(name, (prefix + ".").c_str(), prefix.size() + 1));
    EXPECT_TRUE(exists(name));
    fclose(stream);
    unlink(name);
    free(name);
}

TEST_F(FlatFunctions, MkuniqueFailureGivesNullAndLeavesTheNameAlone) {
    char marker = 'm';
    char* name = &marker;
    EXPECT_EQ(nullptr, fileutils_mkunique(dir_.path("no/such/x").c_str(), &name));
    EXPECT_EQ(&marker, name);
}

// ---------------------------------------------------------------------------
// Text into a caller's buffer, convention A.

TEST_F(FlatFunctions, TempdirPathReportsACutTextAsFailure) {
    std::string expected;
    FileUtils::tempdir_path(expected);
    const int length = static_cast<int>(expected.size());
    char buffer[PATH_MAX];

    EXPECT_EQ(0, fileutils_tempdir_path(buffer, length + 1));
    EXPECT_EQ(expected, buffer);
    EXPECT_EQ(1, fileutils_tempdir_path(buffer, length));
    EXPECT_EQ(expected.substr(0, length - 1), buffer);

    std::strcpy(buffer, "untouched");
    EXPECT_EQ(1, fileutils_tempdir_path(buffer, 0));
    EXPECT_STREQ("untouched", buffer);
}

TEST_F(FlatFunctions, TempAndLockNamesGiveZeroWhenTheyFit) {
    std::string temp, lock, lock_dir;
    FileUtils::makeTempFilename(temp, "f");
    FileUtils::makeLockFilename(lock, "f");
    FileUtils::lockdir_path(lock_dir);
    char buffer[PATH_MAX];
    EXPECT_EQ(0, fileutils_maketempfilename(buffer, sizeof buffer, "f"));
    EXPECT_EQ(temp, buffer);
    EXPECT_EQ(0, fileutils_makelockfilename(buffer, sizeof buffer, "f"));
    EXPECT_EQ(lock, buffer);
    EXPECT_EQ(0, fileutils_lockdir_path(buffer, sizeof buffer));
    EXPECT_EQ(lock_dir, buffer);
    EXPECT_EQ(1, fileutils_makelockfilename(buffer, 2, "f"));
}

// ---------------------------------------------------------------------------
// Configuration, convention B.

TEST_F(FlatFunctions, WriteconfigSetsOneKeyAndGivesOne) {
    const std::string path = dir_.path("c.conf");
    EXPECT_EQ(1, configutils_writeconfig(path.c_str(), "key", "value"));
    EXPECT_EQ("key=value\n", read_all(path));
    EXPECT_EQ(0, configutils_writeconfig(dir_.path("no/c.conf").c_str(), "key", "value"));
}

TEST_F(FlatFunctions, ReadconfigAlwaysStoresAndGivesOneWhenAllFits) {
    const std::string path = dir_.path("c.conf");
    write_text(path, "key=abcde\n");
    char buffer[16];
    EXPECT_EQ(1, configutils_readconfig(buffer, sizeof buffer, path.c_str(), "key"));
    EXPECT_STREQ("abcde", buffer);
    EXPECT_EQ(0, configutils_readconfig(buffer, 3, path.c_str(), "key"));
    EXPECT_STREQ("ab", buffer);

    std::strcpy(buffer, "old");
    EXPECT_EQ(1, configutils_readconfig(buffer, sizeof buffer, path.c_str(), "missing"));
    EXPECT_STREQ("", buffer);
    std::strcpy(buffer, "old");
    EXPECT_EQ(1, configutils_readconfig(buffer, sizeof buffer, dir_.path("none").c_str(), "k"));
    EXPECT_STREQ("", buffer);
}

TEST_F(FlatFunctions, RemoveconfigUsesTheGivenSeparator) {
    const std::string path = dir_.path("c.conf");
    write_text(path, "a : 1\nb : 2\n");
    EXPECT_EQ(1, configutils_removeconfig(path.c_str(), "a", ':'));
    EXPECT_EQ("b:2\n", read_all(path));
    EXPECT_EQ(0, configutils_removeconfig(dir_.path("none").c_str(), "a", ':'));
}

// ---------------------------------------------------------------------------
// Profiles, convention B.

TEST(FlatProfilePaths, GiveOneAndTheFixedPaths) {
    char buffer[128];
    EXPECT_EQ(1, profileutils_installation_path(buffer, sizeof buffer));
    EXPECT_STREQ("/etc/bulwin", buffer);
    EXPECT_EQ(1, profileutils_current_profile_path(buffer, sizeof buffer));
    EXPECT_STREQ("/etc/bulwin/", buffer);
    EXPECT_EQ(1, profileutils_file_in_current(buffer, sizeof buffer, "x"));
    EXPECT_STREQ("/etc/bulwin//x", buffer);
    EXPECT_EQ(1, profileutils_profile_path(buffer, sizeof buffer, "a"));
    EXPECT_STREQ("/opt/qor//profiles/a", buffer);
    EXPECT_EQ(1, profileutils_file_in_profile(buffer, sizeof buffer, "a", "hip.conf"));
    EXPECT_STREQ("/opt/qor//profiles/a/hip.conf", buffer);
    EXPECT_EQ(1, profileutils_factory_path(buffer, sizeof buffer));
    EXPECT_STREQ("/opt/qor//profiles/.factory", buffer);
    EXPECT_EQ(1, profileutils_dotcurrent_path(buffer, sizeof buffer));
    EXPECT_STREQ("/opt/qor//profiles/.current", buffer);
}

TEST(FlatProfilePaths, FailedOperationLeavesTheBufferAlone) {
    char buffer[32] = "untouched";
    EXPECT_EQ(0, profileutils_profile_path(buffer, sizeof buffer, ""));
    EXPECT_EQ(0, profileutils_profile_path(buffer, sizeof buffer, nullptr));
    EXPECT_EQ(0, profileutils_file_in_profile(buffer, sizeof buffer, "a", nullptr));
    EXPECT_EQ(0, profileutils_file_in_current(buffer, sizeof buffer, ""));
    EXPECT_STREQ("untouched", buffer);
}

TEST(FlatProfilePaths, CutTextGivesZero) {
    char buffer[8];
    EXPECT_EQ(0, profileutils_installation_path(buffer, sizeof buffer));
    EXPECT_STREQ("/etc/bu", buffer);
}

class FlatProfiles : public FlatFunctions {
  protected:
    void SetUp() override {
        FlatFunctions::SetUp();
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
    std::string root_;
    std::string saved_cwd_;
};

TEST_F(FlatProfiles, WriteDotCurrentGivesOne) {
    EXPECT_EQ(1, profileutils_write_dot_current("b"));
    EXPECT_EQ("b\n", read_all(root_ + ".current"));
}

TEST_F(FlatProfiles, SetCurrentProfileWithSmallBufferGivesZeroButEntersTheProfile) {
    ASSERT_EQ(0, mkdir((root_ + "p").c_str(), 0755));
    write_text(root_ + "p/profile_name", "Only\n");
    char buffer[4] = "old";
    EXPECT_EQ(0, profileutils_set_current_profile(buffer, sizeof buffer));
    EXPECT_EQ(root_.substr(0, 3), buffer);
    EXPECT_EQ("p\n", read_all(root_ + ".current"));
    char cwd[PATH_MAX], real[PATH_MAX];
    ASSERT_NE(nullptr, getcwd(cwd, sizeof cwd));
    ASSERT_NE(nullptr, realpath((root_ + "p").c_str(), real));
    EXPECT_STREQ(real, cwd);

    char large[PATH_MAX];
    EXPECT_EQ(1, profileutils_set_current_profile(large, sizeof large));
    EXPECT_EQ(root_ + "p/hip.conf", large);
}

TEST_F(FlatProfiles, SetCurrentProfileWithoutProfilesGivesZeroAndLeavesTheBuffer) {
    char buffer[32] = "untouched";
    EXPECT_EQ(0, profileutils_set_current_profile(buffer, sizeof buffer));
    EXPECT_STREQ("untouched", buffer);
}

}  // namespace
