#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <string>

#include "files/temp_tree.h"
#include "qorbasic/files.h"
#include "qorbasic/timeutils.h"

using files_test::TempTree;

namespace {

class FileQueryTest : public testing::Test {
  protected:
    void SetUp() override {
        file = tree.file("file", "12345");
        empty = tree.file("empty");
        dir = tree.dir("dir");
        fifo = tree.path("fifo");
        ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
        file_link = tree.link(file, "file_link");
        dir_link = tree.link(dir, "dir_link");
        dangling = tree.link(tree.path("nowhere"), "dangling");
        missing = tree.path("missing");
    }

    TempTree tree;
    std::string file, empty, dir, fifo, file_link, dir_link, dangling, missing;
};

}  // namespace

TEST_F(FileQueryTest, KindQueriesFollowLinksAndSeeDanglingLinksAsNothing) {
    const struct {
        const std::string& path;
        bool path_exists, file_exists, dir_exists, fifo_exists;
    } cases[] = {
        {file, true, true, false, false},       {empty, true, true, false, false},
        {dir, true, false, true, false},        {fifo, true, false, false, true},
        {file_link, true, true, false, false},  {dir_link, true, false, true, false},
        {dangling, false, false, false, false}, {missing, false, false, false, false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(FileUtils::pathExists(c.path), c.path_exists) << c.path;
        EXPECT_EQ(FileUtils::fileExists(c.path), c.file_exists) << c.path;
        EXPECT_EQ(FileUtils::dirExists(c.path), c.dir_exists) << c.path;
        EXPECT_EQ(FileUtils::fifoExists(c.path), c.fifo_exists) << c.path;
    }
}

TEST_F(FileQueryTest, EmptyPathIsNeverTheCurrentDirectory) {
    EXPECT_FALSE(FileUtils::pathExists(""));
    EXPECT_FALSE(FileUtils::dirExists(""));
    EXPECT_FALSE(FileUtils::fileExists(nullptr));
    EXPECT_FALSE(FileUtils::fifoExists(""));
    EXPECT_EQ(FileUtils::getFileSize(""), -1);
    EXPECT_EQ(FileUtils::getFileModifiedDate(""), 0);
    EXPECT_FALSE(FileUtils::fileIsRecent("", 1000000000L));
    EXPECT_FALSE(FileUtils::fifoHasReader(""));
}

TEST_F(FileQueryTest, SizeIsMinusOneOnlyForWhatIsNotThere) {
    EXPECT_EQ(FileUtils::getFileSize(file), 5);
    EXPECT_EQ(FileUtils::getFileSize(file_link), 5);
    EXPECT_EQ(FileUtils::getFileSize(empty), 0);
    EXPECT_EQ(FileUtils::getFileSize(missing), -1);
    EXPECT_EQ(FileUtils::getFileSize(dangling), -1);
}

TEST_F(FileQueryTest, ModifiedDateIsWholeSecondsInMicroseconds) {
    struct timeval times[2] = {{1500000000, 123456}, {1500000000, 654321}};
    ASSERT_EQ(utimes(file.c_str(), times), 0);
    EXPECT_EQ(FileUtils::getFileModifiedDate(file), 1500000000L * 1000000L);
    EXPECT_EQ(FileUtils::getFileModifiedDate(missing), 0);
}

TEST_F(FileQueryTest, RecentMeansYoungerThanTheAgeAndOnlyForRegularFiles) {
    const long now_seconds = current_time_usec1970() / 1000000;
    struct timeval times[2] = {{now_seconds - 100, 0}, {now_seconds - 100, 0}};
    ASSERT_EQ(utimes(file.c_str(), times), 0);
    EXPECT_TRUE(FileUtils::fileIsRecent(file, 1000L * 1000000L));
    EXPECT_FALSE(FileUtils::fileIsRecent(file, 50L * 1000000L));
    EXPECT_FALSE(FileUtils::fileIsRecent(file, 0));
    EXPECT_TRUE(FileUtils::fileIsRecent(file_link, 1000L * 1000000L));
    EXPECT_FALSE(FileUtils::fileIsRecent(dir, 1000L * 1000000L));
    EXPECT_FALSE(FileUtils::fileIsRecent(fifo, 1000L * 1000000L));
    EXPECT_FALSE(FileUtils::fileIsRecent(missing, 1000L * 1000000L));
}

TEST_F(FileQueryTest, FifoHasReaderOnlyWhileSomeoneReads) {
    EXPECT_FALSE(FileUtils::fifoHasReader(fifo));
    const int reader = open(fifo.c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_GE(reader, 0);
    EXPECT_TRUE(FileUtils::fifoHasReader(fifo));
    close(reader);
    EXPECT_FALSE(FileUtils::fifoHasReader(fifo));
    // Any writable file passes the same test.
    EXPECT_TRUE(FileUtils::fifoHasReader(file));
    EXPECT_FALSE(FileUtils::fifoHasReader(missing));
    EXPECT_FALSE(FileUtils::fifoHasReader(dir));
}

TEST_F(FileQueryTest, ReadLinkGivesTheTextOfALinkOnly) {
    EXPECT_EQ(FileUtils::readLink(file_link), file);
    EXPECT_EQ(FileUtils::readLink(dangling), tree.path("nowhere"));
    tree.link("../relative/target", "relative");
    EXPECT_EQ(FileUtils::readLink(tree.path("relative")), "../relative/target");
    EXPECT_EQ(FileUtils::readLink(file), "");
    EXPECT_EQ(FileUtils::readLink(missing), "");
    EXPECT_EQ(FileUtils::readLink(""), "");
}

TEST_F(FileQueryTest, ReadLinkTakesTheLongestTargetTheSystemAllows) {
    const std::string longest(4095, 'x');
    tree.link(longest, "long");
    EXPECT_EQ(FileUtils::readLink(tree.path("long")), longest);
}

TEST(DirectoryQueryTest, BinariesDirectoryIsFixed) {
    std::string out = "old";
    const CommandResult result = FileUtils::getBinariesDirectory(out);
    EXPECT_EQ(result.status, STATUS_SUCCESS);
    EXPECT_EQ(out, "/opt/qor/");
}

TEST(DirectoryQueryTest, WorkingDirectoryIsTheProcessOne) {
    char expected[4096];
    ASSERT_NE(getcwd(expected, sizeof expected), nullptr);
    std::string out;
    EXPECT_EQ(FileUtils::getWorkingDirectory(out).status, STATUS_SUCCESS);
    EXPECT_EQ(out, expected);
}

TEST(DirectoryQueryTest, RemovedWorkingDirectoryFailsWithGetcwdAndClearsOut) {
    TempTree tree;
    const std::string gone = tree.dir("gone");
    EXPECT_EQ(files_test::run_in_child([&] {
                  CHILD_CHECK(chdir(gone.c_str()) == 0 && rmdir(gone.c_str()) == 0);
                  std::string out = "old";
                  CHILD_CHECK(FileUtils::getWorkingDirectory(out).status == STATUS_GETCWD_FAILED);
                  CHILD_CHECK(out.empty());
                  return true;
              }),
              0);
}
