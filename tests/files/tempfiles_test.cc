#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <string>

#include "files/temp_tree.h"
#include "files/tempfiles_internal.h"
#include "qorbasic/files.h"

using files_test::permissions;
using files_test::TempTree;
using files_test::TestDirectories;

// One environment for the whole test program: every test that reaches the
// temporary or lock directory finds them inside its own temporary tree.
static testing::Environment* const test_directories =
    testing::AddGlobalTestEnvironment(new TestDirectories);

TEST(TrailingDirsepTest, AppendsOneSlashToNonEmptyPaths) {
    const struct {
        const char* in;
        const char* out;
    } cases[] = {{"", ""}, {"a", "a/"}, {"a/", "a/"}, {"/", "/"}, {"a//", "a//"}};
    for (const auto& c : cases) {
        std::string path = c.in;
        EXPECT_EQ(&FileUtils::trailing_dirsep(path), &path);
        EXPECT_EQ(path, c.out) << c.in;
    }
}

TEST(JoinFilenameTest, JoinsThePartsWithTextByOneSlash) {
    std::string out = "stale";
    EXPECT_EQ(FileUtils::join_filename(out, "/opt/", "x", "y"), "/opt/x/y");
    EXPECT_EQ(FileUtils::join_filename(out, "a", "", "b"), "a/b");
    EXPECT_EQ(FileUtils::join_filename(out, "", ""), "");
    EXPECT_EQ(FileUtils::join_filename(out, "/", ""), "/");
    EXPECT_EQ(FileUtils::join_filename(out, "", "/abs"), "/abs");
    EXPECT_EQ(FileUtils::join_filename(out, "a//b", "c"), "a//b/c");
    EXPECT_EQ(FileUtils::join_filename(out, "a", "/b"), "a//b");
    EXPECT_EQ(FileUtils::join_filename(out, "dir", 5), "dir/5");
    EXPECT_EQ(FileUtils::join_filename(out, "1", "2", "3", "4", "5", "6", "7", "8", "9", "10"),
              "1/2/3/4/5/6/7/8/9/10");
}

TEST(TempdirPathTest, ComesFromTheEnvironmentWithASlashAndIsMade) {
    std::string out;
    EXPECT_EQ(FileUtils::tempdir_path(out), TestDirectories::tmp_dir() + "/");
    EXPECT_TRUE(FileUtils::dirExists(out));
    EXPECT_EQ(FileUtils::makeTempFilename(out, "f"), TestDirectories::tmp_dir() + "/f");
    EXPECT_EQ(FileUtils::lockdir_path(out), TestDirectories::lock_dir() + "/");
    EXPECT_TRUE(FileUtils::dirExists(out));
    EXPECT_EQ(FileUtils::makeLockFilename(out, "a.conf.lock"),
              TestDirectories::lock_dir() + "/a.conf.lock");
}

TEST(TempdirPathTest, EnvironmentIsReadOncePerProcess) {
    std::string first;
    FileUtils::tempdir_path(first);
    EXPECT_EQ(files_test::run_in_child([&] {
                  setenv("QOR_TMP_DIR", "/somewhere/else", 1);
                  setenv("QOR_LOCK_DIR", "/somewhere/else", 1);
                  std::string again;
                  CHILD_CHECK(FileUtils::tempdir_path(again) == first);
                  CHILD_CHECK(FileUtils::lockdir_path(again) == TestDirectories::lock_dir() + "/");
                  return true;
              }),
              0);
}

TEST(TempdirPathTest, DefaultIsSlashTmpWhenTheVariableHasNoText) {
    for (const char* value : {static_cast<const char*>(nullptr), ""}) {
        EXPECT_EQ(files_test::run_in_child([&] {
                      FileUtils::internal::forget_cached_directories();
                      if (value == nullptr) {
                          unsetenv("QOR_TMP_DIR");
                      } else {
                          setenv("QOR_TMP_DIR", value, 1);
                      }
                      std::string out;
                      CHILD_CHECK(FileUtils::tempdir_path(out) == "/tmp/");
                      CHILD_CHECK(FileUtils::makeTempFilename(out, "f") == "/tmp/f");
                      return true;
                  }),
                  0);
    }
}

TEST(TempdirPathTest, MakesOneLevelOnly) {
    TempTree tree;
    EXPECT_EQ(files_test::run_in_child([&] {
                  FileUtils::internal::forget_cached_directories();
                  setenv("QOR_TMP_DIR", tree.path("made").c_str(), 1);
                  setenv("QOR_LOCK_DIR", tree.path("no/parent").c_str(), 1);
                  std::string out;
                  CHILD_CHECK(FileUtils::tempdir_path(out) == tree.path("made") + "/");
                  CHILD_CHECK(FileUtils::dirExists(tree.path("made")));
                  CHILD_CHECK(permissions(tree.path("made")) == (0755 & ~umask(0)));
                  CHILD_CHECK(FileUtils::lockdir_path(out) == tree.path("no/parent") + "/");
                  CHILD_CHECK(!FileUtils::pathExists(tree.path("no")));
                  return true;
              }),
              0);
}

// The default lock directory exists on the machine; lockdir_path makes
// nothing there and the test creates nothing either.
TEST(LockdirPathTest, DefaultIsTheCanonicalFormOfVarLock) {
    char resolved[PATH_MAX];
    const bool resolvable = realpath("/var/lock", resolved) != nullptr;
    const int status = files_test::run_in_child([&] {
        FileUtils::internal::forget_cached_directories();
        unsetenv("QOR_LOCK_DIR");
        std::string out;
        FileUtils::lockdir_path(out);
        CHILD_CHECK(out == std::string(resolved) + "/");
        return true;
    });
    EXPECT_EQ(status, resolvable ? 0 : 101);
}

TEST(LockdirPathDeathTest, UnresolvableDefaultEndsTheProcess) {
    std::string out;
    EXPECT_EXIT(FileUtils::internal::realpath_or_exit(out, "/no/such/lock/dir", "lockdir_path"),
                testing::ExitedWithCode(101),
                "lockdir_path: realpath\\(\\) failed: \\(2\\) No such file or directory");
}

TEST(MakeUniqueFileTest, MakesANewFileWithMode0644OpenForReadingAndWriting) {
    TempTree tree;
    const std::string prefix = tree.path("x");
    EXPECT_EQ(files_test::run_in_child([&] {
                  umask(077);
                  std::string first, second;
                  FILE* a = FileUtils::makeUniqueFile(prefix, first);
                  FILE* b = FileUtils::makeUniqueFile(prefix, second);
                  CHILD_CHECK(a != nullptr && b != nullptr);
                  CHILD_CHECK(first != second);
                  CHILD_CHECK(first.size() == prefix.size() + 7);
                  CHILD_CHECK(first.compare(0, prefix.size() + 1, prefix + ".") == 0);
                  CHILD_CHECK(permissions(first) == 0644);
                  CHILD_CHECK(fputs("written", a) >= 0);
                  rewind(a);
                  char back[16] = {};
                  CHILD_CHECK(fgets(back, sizeof back, a) != nullptr);
                  CHILD_CHECK(std::string(back) == "written");
                  fclose(a);
                  fclose(b);
                  return true;
              }),
              0);
}

TEST(MakeUniqueFileTest, MissingDirectoryLogsElevenTimesAndGivesNull) {
    TempTree tree;
    std::string name = "untouched";
    testing::internal::CaptureStderr();
    FILE* stream = FileUtils::makeUniqueFile(tree.path("missing/x"), name);
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_EQ(stream, nullptr);
    EXPECT_EQ(name, "untouched");
    int lines = 0;
    for (std::size_t at = log.find("failed to open file"); at != std::string::npos;
         at = log.find("failed to open file", at + 1)) {
        ++lines;
    }
    EXPECT_EQ(lines, 11) << log;
    EXPECT_THAT(log, testing::HasSubstr("No such file or directory"));
}

TEST(MakeUniqueFileTest, PrefixTooLongForThePathBufferGivesNullWithoutLogging) {
    std::string name = "untouched";
    testing::internal::CaptureStderr();
    FILE* stream = FileUtils::makeUniqueFile(std::string(4089, 'p'), name);
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_EQ(stream, nullptr);
    EXPECT_EQ(name, "untouched");
    EXPECT_EQ(log, "");
}
