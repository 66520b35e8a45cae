#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sched.h>
#include <sys/inotify.h>
#include <sys/mount.h>
#include <sys/time.h>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

#include "files/temp_tree.h"
#include "qorbasic/files.h"
#include "qorbasic/fileutils_flat.h"
#include "qorbasic/timeutils.h"

using files_test::exists_no_follow;
using files_test::permissions;
using files_test::read_all;
using files_test::run_in_child;
using files_test::TempTree;
using files_test::write_text;
using namespace FileUtils;
using Names = std::vector<std::string>;

namespace {

// A tree with one entry of each kind, links included.
class FileKinds : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
        tree.link(tree.path("nowhere"), "dangling");
    }
    TempTree tree;
    const std::string file = tree.file("file", "12345"), empty = tree.file("empty");
    const std::string dir = tree.dir("dir"), fifo = tree.path("fifo");
    const std::string file_link = tree.link(file, "file_link"),
                      dir_link = tree.link(dir, "dir_link");
    const std::string dangling = tree.path("dangling"), missing = tree.path("missing");
};

Names sorted(const StringVector& list) {
    Names names;
    for (int i = 0; i < list.size(); ++i) names.push_back(list.fetch(i));
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace

// The queries follow links; a dangling link is nothing, an empty path never
// the current directory.
TEST_F(FileKinds, QueriesFollowLinksAndSeeDanglingLinksAsNothing) {
    const struct {
        std::string path;
        bool path_exists, file_exists, dir_exists, fifo_exists;
        long size;
    } cases[] = {
        {file, true, true, false, false, 5},        {empty, true, true, false, false, 0},
        {dir, true, false, true, false, -2},        {fifo, true, false, false, true, 0},
        {file_link, true, true, false, false, 5},   {dir_link, true, false, true, false, -2},
        {dangling, false, false, false, false, -1}, {missing, false, false, false, false, -1},
        {"", false, false, false, false, -1},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(pathExists(c.path), c.path_exists) << c.path;
        EXPECT_EQ(fileExists(c.path), c.file_exists) << c.path;
        EXPECT_EQ(dirExists(c.path), c.dir_exists) << c.path;
        EXPECT_EQ(fifoExists(c.path), c.fifo_exists) << c.path;
        if (c.size != -2) {  // -2: a directory, whose size depends on the file system
            EXPECT_EQ(getFileSize(c.path), c.size) << c.path;
        }
    }
    EXPECT_FALSE(fileExists(nullptr));
    EXPECT_EQ(getFileModifiedDate(""), 0);
    EXPECT_FALSE(fileIsRecent("", 1000000000L));
    EXPECT_FALSE(fifoHasReader(""));
}

// The date is in whole seconds; recent means younger than the age, and only
// regular files can be recent.
TEST_F(FileKinds, ModifiedDateAndRecentFiles) {
    struct timeval times[2] = {{1500000000, 123456}, {1500000000, 654321}};
    ASSERT_EQ(utimes(file.c_str(), times), 0);
    EXPECT_EQ(getFileModifiedDate(file), 1500000000L * 1000000L);
    EXPECT_EQ(getFileModifiedDate(missing), 0);
    times[0] = times[1] = {current_time_usec1970() / 1000000 - 100, 0};
    ASSERT_EQ(utimes(file.c_str(), times), 0);
    EXPECT_TRUE(fileIsRecent(file, 1000L * 1000000L));
    EXPECT_FALSE(fileIsRecent(file, 50L * 1000000L));
    EXPECT_FALSE(fileIsRecent(file, 0));
    EXPECT_TRUE(fileIsRecent(file_link, 1000L * 1000000L));
    for (const std::string& other : {dir, fifo, missing}) {
        EXPECT_FALSE(fileIsRecent(other, 1000L * 1000000L)) << other;
    }
}

TEST_F(FileKinds, FifoHasReaderOnlyWhileSomeoneReads) {
    EXPECT_FALSE(fifoHasReader(fifo));
    const int reader = open(fifo.c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_GE(reader, 0);
    EXPECT_TRUE(fifoHasReader(fifo));
    close(reader);
    EXPECT_FALSE(fifoHasReader(fifo));
    // Any writable file passes the same test.
    EXPECT_TRUE(fifoHasReader(file));
    EXPECT_FALSE(fifoHasReader(missing));
    EXPECT_FALSE(fifoHasReader(dir));
}

TEST_F(FileKinds, ReadLinkGivesTheTextOfALinkOnly) {
    const std::string longest(4095, 'x');  // the longest target the system allows
    EXPECT_EQ(readLink(file_link), file);
    EXPECT_EQ(readLink(dangling), tree.path("nowhere"));
    EXPECT_EQ(readLink(tree.link("../relative/target", "relative")), "../relative/target");
    EXPECT_EQ(readLink(tree.link(longest, "long")), longest);
    for (const std::string& no_link : {file, missing, std::string()}) {
        EXPECT_EQ(readLink(no_link), "") << no_link;
    }
}

// Links sort by what they name: a link to a pipe and a dangling link are
// "others". A relative link resolves from the working directory.
TEST_F(FileKinds, DirectoryContentsSortsEntriesByKind) {
    TempTree outside;
    tree.link(outside.root(), "to_outside_dir");
    tree.link(fifo, "to_pipe");
    tree.link("file", "relative");
    tree.file(".hidden");
    const DirectoryContents contents(tree.root());
    EXPECT_EQ(contents.status, STATUS_SUCCESS);
    EXPECT_EQ(contents.path, tree.root());
    EXPECT_EQ(sorted(contents.files), (Names{".hidden", "empty", "file"}));
    EXPECT_EQ(sorted(contents.directories), Names{"dir"});
    EXPECT_EQ(sorted(contents.file_links), Names{"file_link"});
    EXPECT_EQ(sorted(contents.dir_links), (Names{"dir_link", "to_outside_dir"}));
    EXPECT_EQ(sorted(contents.others), (Names{"dangling", "fifo", "relative", "to_pipe"}));
    EXPECT_EQ(run_in_child([&] {
                  CHILD_CHECK(chdir(tree.root().c_str()) == 0);
                  const DirectoryContents here(tree.root());
                  return sorted(here.file_links) == Names{"file_link", "relative"};
              }),
              0);
}

TEST(DirectoryContentsTest, FailuresAndAnEmptyDirectoryLeaveEveryListEmpty) {
    TempTree tree;
    const std::string closed = tree.dir("closed"), empty = tree.dir("empty");
    const std::string file = tree.file("closed/inside");
    chmod(closed.c_str(), 0);
    const struct {
        std::string path;
        int status;
    } cases[] = {
        {empty, STATUS_SUCCESS},
        {"", STATUS_INVALID_ARGUMENT},
        {tree.path("missing"), STATUS_OPENDIR_FAILED},
        {file, STATUS_OPENDIR_FAILED},
        {closed, STATUS_OPENDIR_FAILED},  // only without privileges
    };
    tree.open_to_all();
    EXPECT_UNPRIVILEGED([&] {
        for (const auto& c : cases) {
            const DirectoryContents contents(c.path);
            CHILD_CHECK(contents.status == c.status && contents.path == c.path);
            for (const StringVector* list :
                 {&contents.files, &contents.directories, &contents.file_links, &contents.dir_links,
                  &contents.others}) {
                CHILD_CHECK(list->size() == 0);
            }
        }
        return true;
    });
}

TEST(DirectoryQueryTest, RemovedWorkingDirectoryFailsWithGetcwdAndClearsOut) {
    TempTree tree;
    const std::string gone = tree.dir("gone");
    EXPECT_EQ(run_in_child([&] {
                  CHILD_CHECK(chdir(gone.c_str()) == 0 && rmdir(gone.c_str()) == 0);
                  std::string out = "old";
                  CHILD_CHECK(getWorkingDirectory(out).status == STATUS_GETCWD_FAILED);
                  return out.empty();
              }),
              0);
}

TEST(TreeTest, StatusOfEachOperation) {
    TempTree tree;
    const std::string some = tree.file("some", "x"), missing = tree.path("missing");
    const std::string dir = tree.dir("dir"), full = tree.dir("full");
    tree.file("full/inside");
    const auto mode = ACCESSMODE_RWX_OWNER_RX_ALL;
    const struct {
        CommandResult result;
        int status;
    } cases[] = {
        {makeDir("", mode), STATUS_INVALID_ARGUMENT},
        {setAccess("", ACCESSMODE_RW_ALL), STATUS_INVALID_ARGUMENT},
        {removeFile(""), STATUS_INVALID_ARGUMENT},
        {removeDir(""), STATUS_INVALID_ARGUMENT},
        {removeFileOrDir(""), STATUS_INVALID_ARGUMENT},
        {removeRecursively(""), STATUS_INVALID_ARGUMENT},
        {moveFile("", some, true), STATUS_INVALID_ARGUMENT},
        {moveFile(some, "", true), STATUS_INVALID_ARGUMENT},
        {copyFile("", some, true), STATUS_INVALID_ARGUMENT},
        {copyFile(some, "", true), STATUS_INVALID_ARGUMENT},
        // Anything of the name counts as made; only one level is made.
        {makeDir(tree.path("made"), mode), STATUS_SUCCESS},
        {makeDir(tree.path("made"), mode), STATUS_SUCCESS},
        {makeDir(some, mode), STATUS_SUCCESS},
        {makeDir(tree.path("no/parent"), mode), STATUS_MKDIR_FAILED},
        {setAccess(missing, ACCESSMODE_RW_ALL), STATUS_CHMOD_FAILED},
        // What is gone counts as removed; the wrong kind fails.
        {removeFile(missing), STATUS_SUCCESS},
        {removeDir(missing), STATUS_SUCCESS},
        {removeFileOrDir(missing), STATUS_SUCCESS},
        {removeRecursively(missing), STATUS_SUCCESS},
        {removeFile(dir), STATUS_UNLINK_FAILED},
        {removeDir(some), STATUS_RMDIR_FAILED},
        {removeDir(full), STATUS_RMDIR_FAILED},
        {removeFileOrDir(full), STATUS_RMDIR_FAILED},
        // Only a regular file counts for overwrite; onto a directory rename decides.
        {moveFile(missing, tree.path("dest"), true), STATUS_RENAME_FAILED},
        {moveFile(some, dir, false), STATUS_RENAME_FAILED},
        {moveFile(some, tree.path("no/such/dir"), true), STATUS_RENAME_FAILED},
        {copyFile(missing, tree.path("d"), true), STATUS_INVALID_ARGUMENT},
    };
    for (std::size_t i = 0; i < sizeof cases / sizeof cases[0]; ++i) {
        EXPECT_EQ(cases[i].result.status, cases[i].status) << "case " << i;
    }
    EXPECT_EQ(read_all(some), "x");
    EXPECT_TRUE(dirExists(tree.path("made")) && dirExists(full));
    EXPECT_EQ(removeFileOrDir(dir).status, STATUS_SUCCESS);
    EXPECT_EQ(removeFileOrDir(some).status, STATUS_SUCCESS);
    EXPECT_FALSE(pathExists(dir) || pathExists(some));
}

TEST(TreeTest, ModesFollowTheArgumentAndTheUmask) {
    TempTree tree;
    const std::string file = tree.file("file");
    EXPECT_EQ(setAccess(file, ACCESSMODE_RW_ALL).status, STATUS_SUCCESS);
    EXPECT_EQ(permissions(file), 0666u);
    EXPECT_EQ(setAccess(file, ACCESSMODE_RWX_OWNER_RX_ALL).status, STATUS_SUCCESS);
    EXPECT_EQ(permissions(file), 0755u);
    EXPECT_EQ(run_in_child([&] {
                  umask(077);
                  const std::string made = tree.path("private");
                  CHILD_CHECK(makeDir(made, ACCESSMODE_RWX_OWNER_RX_ALL).is_success());
                  return permissions(made) == 0700;
              }),
              0);
}

// Another user may set the mode only where it is right already.
TEST(TreeTest, SetAccessByAnotherUserSucceedsOnlyWhereTheModeIsRight) {
    if (geteuid() != 0) GTEST_SKIP() << "needs files owned by another user: run as root";
    TempTree tree;
    const std::string right = tree.file("right"), wrong = tree.file("wrong");
    chmod(right.c_str(), 0666);
    chmod(wrong.c_str(), 0600);
    tree.open_to_all();
    EXPECT_UNPRIVILEGED([&] {
        CHILD_CHECK(setAccess(right, ACCESSMODE_RW_ALL).status == STATUS_SUCCESS);
        return setAccess(wrong, ACCESSMODE_RW_ALL).status == STATUS_CHMOD_FAILED;
    });
    EXPECT_EQ(permissions(wrong), 0600u);
}

// Links are removed, never what they point to: dangling and relative links,
// links to files and directories outside the tree.
TEST(TreeTest, RemovalsTakeLinksButNothingTheyPointTo) {
    TempTree tree, outside;
    const std::string kept = outside.file("kept", "outside");
    const std::string top = tree.dir("top");
    tree.file("top/a", "1");
    tree.dir("top/sub");
    tree.dir("top/sub/deeper");
    tree.file("top/sub/deeper/b", "2");
    tree.link(outside.root(), "top/to_outside_dir");
    tree.link(kept, "top/sub/to_outside_file");
    tree.link("../a", "top/sub/relative");
    tree.link(tree.path("nowhere"), "top/sub/deeper/dangling");
    ASSERT_EQ(mkfifo(tree.path("top/pipe").c_str(), 0600), 0);
    const struct {
        std::string path;
        CommandResult (*remove)(const QRSTR&);
    } cases[] = {
        {tree.link(kept, "file_link"), removeFile},
        {tree.link(tree.path("nowhere"), "dangling"), removeFile},
        {tree.link(outside.root(), "dir_link"), removeRecursively},
        {tree.file("file"), removeRecursively},
        {top, removeRecursively},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.remove(c.path).status, STATUS_SUCCESS) << c.path;
        EXPECT_FALSE(exists_no_follow(c.path)) << c.path;
    }
    EXPECT_EQ(read_all(kept), "outside");
}

TEST(TreeTest, RemoveRecursivelyRefusesRelativePathsAndReportsWhatItCouldNotRemove) {
    TempTree tree;
    const std::string top = tree.dir("top"), stuck = tree.dir("top/stuck");
    tree.file("top/loose", "1");
    tree.file("top/stuck/inside", "2");
    chmod(stuck.c_str(), 0555);
    chmod(top.c_str(), 0777);
    tree.open_to_all();
    EXPECT_UNPRIVILEGED([&] {
        CHILD_CHECK(chdir(tree.root().c_str()) == 0);
        CHILD_CHECK(removeRecursively("top").status == STATUS_INVALID_ARGUMENT);
        CHILD_CHECK(removeRecursively("top/").status == STATUS_INVALID_ARGUMENT);
        CHILD_CHECK(exists_no_follow(top + "/loose"));
        CHILD_CHECK(removeRecursively(top).status == STATUS_RMDIR_FAILED);
        CHILD_CHECK(!exists_no_follow(top + "/loose"));
        return exists_no_follow(stuck + "/inside");
    });
}

TEST(TreeTest, MoveFileRenamesAndHonoursOverwrite) {
    TempTree tree;
    const std::string source = tree.file("source", "new"), dest = tree.file("dest", "old");
    EXPECT_EQ(moveFile(source, dest, false).status, STATUS_RENAME_FAILED);
    EXPECT_EQ(read_all(source) + read_all(dest), "newold");
    EXPECT_EQ(moveFile(source, dest, true).status, STATUS_SUCCESS);
    EXPECT_FALSE(exists_no_follow(source));
    EXPECT_EQ(moveFile(dest, tree.path("fresh"), false).status, STATUS_SUCCESS);
    EXPECT_EQ(read_all(tree.path("fresh")), "new");
}

// A tmpfs mounted on a directory of the tree, in a mount namespace of a
// child's own, gives a second file system without touching the machine.
TEST(TreeTest, MoveFileAcrossFileSystemsCopiesWithMode0644AndRemovesTheSource) {
    TempTree tree;
    const std::string source = tree.file("source", "moved"), other = tree.dir("other_fs");
    chmod(source.c_str(), 0600);
    const int status = run_in_child([&] {
        if (unshare(CLONE_NEWNS) != 0 ||
            mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount("tmpfs", other.c_str(), "tmpfs", 0, nullptr) != 0) {
            _exit(77);
        }
        const std::string dest = other + "/dest", back = tree.file("back", "b");
        CHILD_CHECK(moveFile(source, dest, false).status == STATUS_SUCCESS);
        CHILD_CHECK(read_all(dest) == "moved" && permissions(dest) == 0644);
        CHILD_CHECK(!exists_no_follow(source));
        CHILD_CHECK(moveFile(back, dest, false).status == STATUS_RENAME_FAILED);
        CHILD_CHECK(moveFile(back, dest, true).status == STATUS_SUCCESS);
        return read_all(dest) == "b";
    });
    if (status == 77) GTEST_SKIP() << "no private mount namespace here";
    EXPECT_EQ(status, 0);
}

TEST(TreeTest, CopyFileCopiesTheBytesWithMode0644AndOverwritesOnlyWhenAsked) {
    TempTree tree;
    std::string content(10000, '\0');
    for (std::size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>(i % 251);
    const std::string source = tree.file("source", content), empty = tree.file("empty");
    chmod(source.c_str(), 0700);
    EXPECT_EQ(run_in_child([&] {
                  umask(077);
                  for (const std::string& from : {source, empty}) {
                      const std::string dest = from + "_copy";
                      CHILD_CHECK(copyFile(from, dest, false).status == STATUS_SUCCESS);
                      CHILD_CHECK(read_all(dest) == read_all(from) && permissions(dest) == 0644);
                  }
                  return true;
              }),
              0);
    EXPECT_EQ(permissions(source), 0700u);
    const std::string dest = tree.file("dest", "old content");
    chmod(dest.c_str(), 0600);
    EXPECT_EQ(copyFile(empty, dest, false).status, STATUS_OPEN_FAILED);
    EXPECT_EQ(read_all(dest), "old content");
    EXPECT_EQ(copyFile(empty, dest, true).status, STATUS_SUCCESS);
    EXPECT_EQ(read_all(dest), "");
    EXPECT_EQ(permissions(dest), 0644u);
}

// A failure names the side that failed: the destination that does not open
// (missing or present without overwrite), the source that does not open or
// read. A missing source is an invalid argument, with no subject.
TEST(TreeTest, CopyFileNamesTheFailingSideOfEachFailure) {
    TempTree tree;
    const std::string source = tree.file("source", "x"), present = tree.file("present");
    const std::string unreachable = tree.path("no/such/dest"), locked = tree.file("locked", "s");
    chmod(locked.c_str(), 0);
    const CommandResult missing = copyFile(tree.path("missing"), tree.path("d"), true);
    EXPECT_EQ(missing.status, STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(missing.subject, "");
    struct Case {
        std::string from, to;
        int status;
        std::string subject;
    };
    std::vector<Case> cases = {{source, unreachable, STATUS_OPEN_FAILED, unreachable},
                               {source, present, STATUS_OPEN_FAILED, present},
                               {locked, tree.path("d3"), STATUS_OPEN_FAILED, locked}};
    // A directory has a size but cannot be read.
    if (getFileSize(tree.root()) > 0) {
        cases.push_back({tree.root(), tree.path("d2"), STATUS_READ_FAILED, tree.root()});
    }
    tree.open_to_all();
    EXPECT_UNPRIVILEGED([&] {
        for (const Case& c : cases) {
            const CommandResult result = copyFile(c.from, c.to, c.to != present);
            CHILD_CHECK(result.status == c.status && result.subject == c.subject);
            CHILD_CHECK(result.operation == "copyFile");
        }
        return true;
    });
}

// Another thread swaps a subdirectory for a link to an outside directory
// while the tree goes, right after the first file of the subdirectory is
// removed: from then on, a removal that rebuilt paths would reach through
// the link. The removal may fail, but the outside directory keeps every file.
TEST(TreeTest, RemovalNeverReachesThroughASubdirectorySwappedForALink) {
    constexpr int kFiles = 40;
    TempTree tree, outside;
    for (int i = 0; i < kFiles; ++i) outside.file("f" + std::to_string(i), "keep");
    for (int round = 0; round < 100; ++round) {
        const std::string top = tree.dir("top" + std::to_string(round)), sub = top + "/sub";
        ASSERT_EQ(mkdir(sub.c_str(), 0755), 0);
        for (int i = 0; i < kFiles; ++i) write_text(sub + "/f" + std::to_string(i), "x");
        const int watch = inotify_init1(IN_CLOEXEC);
        ASSERT_GE(inotify_add_watch(watch, sub.c_str(), IN_DELETE), 0);
        std::thread swapper([&] {
            struct pollfd deleted = {watch, POLLIN, 0};
            if (poll(&deleted, 1, 10000) != 1) return;
            rename(sub.c_str(), (top + "/moved").c_str());
            symlink(outside.root().c_str(), sub.c_str());
        });
        removeRecursively(top);
        swapper.join();
        close(watch);
        for (int i = 0; i < kFiles; ++i)
            ASSERT_EQ(read_all(outside.path("f" + std::to_string(i))), "keep") << round;
    }
}

// A copy onto its own source, by name or through a link, is a bad
// destination; the file keeps every byte.
TEST(TreeTest, CopyFileOntoItsOwnSourceFailsAndKeepsTheBytes) {
    TempTree tree;
    const std::string source = tree.file("source", "every byte");
    const std::string soft = tree.link(source, "soft");
    for (const std::string& dest : {source, soft}) {
        const CommandResult result = copyFile(source, dest, true);
        EXPECT_EQ(result.status, STATUS_OPEN_FAILED) << dest;
        EXPECT_EQ(result.subject, dest);
    }
    EXPECT_EQ(fileutils_copy_file(soft.c_str(), source.c_str(), 1), 0);
    EXPECT_EQ(read_all(source), "every byte");
}
