// Tests of file queries and tree operations, links and races included.
#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <sys/inotify.h>
#include <sys/mount.h>
#include <sys/time.h>

#include <algorithm>
#include <thread>

#include "files/temp_tree.h"
#include "qorbasic/timeutils.h"

using namespace files_test;
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

// The five lists of `d` (files, directories, file links, directory links,
// others), each sorted and joined by blanks, and joined by "|".
std::string listed(const DirectoryContents& d) {
    std::string out;
    for (const StringVector* list :
         {&d.files, &d.directories, &d.file_links, &d.dir_links, &d.others}) {
        Names names;
        for (int i = 0; i < list->size(); ++i) names.push_back(list->fetch(i));
        std::sort(names.begin(), names.end());
        for (std::size_t i = 0; i < names.size(); ++i) out += (i > 0 ? " " : "") + names[i];
        if (list != &d.others) out += "|";
    }
    return out;
}

}  // namespace

// The queries follow links; a dangling link is nothing, an empty path never
// the current directory.
TEST_F(FileKinds, QueriesFollowLinksAndSeeDanglingLinksAsNothing) {
    // Each path, what pathExists, fileExists, dirExists and fifoExists say
    // ("p", "f", "d", "F" for true), and its size (-2: a directory, whose
    // size depends on the file system).
    const struct {
        std::string path, kinds;
        long size;
    } cases[] = {
        // clang-format off
        {file, "pf", 5},      {dir, "pd", -2},      {fifo, "pF", 0},
        {file_link, "pf", 5}, {dir_link, "pd", -2}, {dangling, "", -1}, {"", "", -1},
        // clang-format on
    };
    for (const auto& c : cases) {
        const std::string kinds = std::string(pathExists(c.path) ? "p" : "") +
                                  (fileExists(c.path) ? "f" : "") + (dirExists(c.path) ? "d" : "") +
                                  (fifoExists(c.path) ? "F" : "");
        EXPECT_EQ(kinds, c.kinds) << c.path;
        if (c.size != -2) {
            EXPECT_EQ(getFileSize(c.path), c.size) << c.path;
        }
    }
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
    EXPECT_TRUE(fileIsRecent(file, 1000L * 1000000L) && fileIsRecent(file_link, 1000L * 1000000L));
    EXPECT_FALSE(fileIsRecent(file, 50L * 1000000L) || fileIsRecent(file, 0));
    for (const std::string& other : {dir, fifo, missing})
        EXPECT_FALSE(fileIsRecent(other, 1000L * 1000000L)) << other;
}

// Any writable file passes the same test.
TEST_F(FileKinds, FifoHasReaderOnlyWhileSomeoneReads) {
    EXPECT_FALSE(fifoHasReader(fifo));
    const int reader = open(fifo.c_str(), O_RDONLY | O_NONBLOCK);
    EXPECT_TRUE(fifoHasReader(fifo) && fifoHasReader(file));
    close(reader);
    EXPECT_FALSE(fifoHasReader(fifo) || fifoHasReader(missing) || fifoHasReader(dir));
}

TEST_F(FileKinds, ReadLinkGivesTheTextOfALinkOnly) {
    const std::string longest(4095, 'x');  // the longest target the system allows
    EXPECT_EQ(readLink(file_link), file);
    EXPECT_EQ(readLink(dangling), tree.path("nowhere"));
    EXPECT_EQ(readLink(tree.link(longest, "long")), longest);
    for (const std::string& no_link : {file, missing, std::string()})
        EXPECT_EQ(readLink(no_link), "") << no_link;
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
    EXPECT_TRUE(contents.status == STATUS_SUCCESS && contents.path == tree.root());
    const std::string lists = ".hidden empty file|dir|file_link|dir_link to_outside_dir|";
    EXPECT_EQ(listed(contents), lists + "dangling fifo relative to_pipe");
    EXPECT_IN_CHILD([&] {
        return chdir(tree.root().c_str()) == 0 &&
               listed(DirectoryContents(tree.root())) ==
                   ".hidden empty file|dir|file_link relative|dir_link to_outside_dir|dangling "
                   "fifo to_pipe";
    });
}

TEST(DirectoryContentsTest, FailuresAndAnEmptyDirectoryLeaveEveryListEmpty) {
    TempTree tree;
    const std::string closed = tree.dir("closed"), empty = tree.dir("empty");
    const std::string file = tree.file("closed/inside");
    chmod(closed.c_str(), 0);
    const std::pair<std::string, int> cases[] = {
        {empty, STATUS_SUCCESS},
        {"", STATUS_INVALID_ARGUMENT},
        {file, STATUS_OPENDIR_FAILED},
        {closed, STATUS_OPENDIR_FAILED},  // only without privileges
    };
    tree.open_to_all();
    EXPECT_UNPRIVILEGED([&] {
        for (const auto& c : cases) {
            const DirectoryContents d(c.first);
            CHILD_CHECK(d.status == c.second && d.path == c.first && listed(d) == "||||");
        }
        return true;
    });
}

TEST(DirectoryQueryTest, RemovedWorkingDirectoryFailsWithGetcwdAndClearsOut) {
    TempTree tree;
    const std::string gone = tree.dir("gone");
    EXPECT_IN_CHILD([&] {
        CHILD_CHECK(chdir(gone.c_str()) == 0 && rmdir(gone.c_str()) == 0);
        std::string out = "old";
        CHILD_CHECK(getWorkingDirectory(out).status == STATUS_GETCWD_FAILED);
        return out.empty();
    });
}

TEST(TreeTest, StatusOfEachOperation) {
    TempTree tree;
    const std::string some = tree.file("some", "x"), missing = tree.path("missing");
    const std::string dir = tree.dir("dir"), full = tree.dir("full"), other = tree.file("o", "y");
    tree.file("full/inside");
    const auto mode = ACCESSMODE_RWX_OWNER_RX_ALL;
    for (const CommandResult& empty :
         {makeDir("", mode), setAccess("", ACCESSMODE_RW_ALL), removeFile(""), removeDir(""),
          removeFileOrDir(""), removeRecursively(""), moveFile("", some, true),
          moveFile(some, "", true), copyFile("", some, true), copyFile(some, "", true)})
        EXPECT_EQ(empty.status, STATUS_INVALID_ARGUMENT);
    // Each call's status, in the order of the calls.
    const std::pair<CommandResult, int> cases[] = {
        // clang-format off
        // Anything of the name counts as made; only one level is made.
        {makeDir(tree.path("made"), mode), STATUS_SUCCESS},  {makeDir(some, mode), STATUS_SUCCESS},
        {makeDir(tree.path("no/parent"), mode), STATUS_MKDIR_FAILED},
        {setAccess(missing, ACCESSMODE_RW_ALL), STATUS_CHMOD_FAILED},
        // What is gone counts as removed; the wrong kind fails.
        {removeDir(missing), STATUS_SUCCESS},         {removeFileOrDir(missing), STATUS_SUCCESS},
        {removeRecursively(missing), STATUS_SUCCESS}, {removeFile(dir), STATUS_UNLINK_FAILED},
        {removeDir(some), STATUS_RMDIR_FAILED},       {removeFileOrDir(full), STATUS_RMDIR_FAILED},
        // Only a regular file counts for overwrite; onto a directory rename decides.
        {moveFile(missing, tree.path("dest"), true), STATUS_RENAME_FAILED},
        {moveFile(some, dir, false), STATUS_RENAME_FAILED},
        {moveFile(some, other, false), STATUS_RENAME_FAILED},
        {moveFile(some, other, true), STATUS_SUCCESS},
        {moveFile(other, some, false), STATUS_SUCCESS},
        // clang-format on
    };
    for (std::size_t i = 0; i < std::size(cases); ++i)
        EXPECT_EQ(cases[i].first.status, cases[i].second) << "case " << i;
    EXPECT_EQ(read_all(some), "x");  // moved away and back, the rename failures kept it
    EXPECT_FALSE(pathExists(other));
    EXPECT_TRUE(dirExists(tree.path("made")) && dirExists(full));
    EXPECT_TRUE(removeFileOrDir(dir).is_success() && removeFileOrDir(some).is_success());
    EXPECT_FALSE(pathExists(dir) || pathExists(some));
}

TEST(TreeTest, ModesFollowTheArgumentAndTheUmask) {
    TempTree tree;
    const std::string file = tree.file("file");
    for (const auto& [mode, bits] :
         {std::pair{ACCESSMODE_RW_ALL, 0666u}, std::pair{ACCESSMODE_RWX_OWNER_RX_ALL, 0755u}}) {
        EXPECT_TRUE(setAccess(file, mode).is_success() && permissions(file) == bits) << bits;
    }
    EXPECT_IN_CHILD([&] {
        umask(077);
        return makeDir(tree.path("private"), ACCESSMODE_RWX_OWNER_RX_ALL).is_success() &&
               permissions(tree.path("private")) == 0700;
    });
}

// Links are removed, never what they point to: dangling and relative links,
// links to files and directories outside the tree.
TEST(TreeTest, RemovalsTakeLinksButNothingTheyPointTo) {
    TempTree tree, outside;
    const std::string kept = outside.file("kept", "outside");
    const std::string top = tree.dir("top");
    tree.dir("top/sub"), tree.dir("top/sub/deeper"), tree.file("top/sub/deeper/b", "2");
    tree.link(outside.root(), "top/to_outside_dir");
    tree.link(kept, "top/sub/to_outside_file");
    tree.link("deeper/b", "top/sub/relative");
    tree.link(tree.path("nowhere"), "top/sub/deeper/dangling");
    ASSERT_EQ(mkfifo(tree.path("top/pipe").c_str(), 0600), 0);
    const std::pair<std::string, CommandResult (*)(const QRSTR&)> cases[] = {
        {tree.link(kept, "file_link"), removeFile},
        {tree.link(tree.path("nowhere"), "dangling"), removeFile},
        {tree.link(outside.root(), "dir_link"), removeRecursively},
        {tree.file("file"), removeRecursively},
        {top, removeRecursively},
    };
    for (const auto& [path, remove] : cases)
        EXPECT_TRUE(remove(path).is_success() && !exists_no_follow(path)) << path;
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
        for (const char* relative : {"top", "top/"})
            CHILD_CHECK(removeRecursively(relative).status == STATUS_INVALID_ARGUMENT);
        CHILD_CHECK(exists_no_follow(top + "/loose"));
        CHILD_CHECK(removeRecursively(top).status == STATUS_RMDIR_FAILED);
        CHILD_CHECK(!exists_no_follow(top + "/loose"));
        return exists_no_follow(stuck + "/inside");
    });
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
        CHILD_CHECK(moveFile(source, dest, false).is_success() && !exists_no_follow(source));
        CHILD_CHECK(read_all(dest) == "moved" && permissions(dest) == 0644);
        CHILD_CHECK(moveFile(back, dest, false).status == STATUS_RENAME_FAILED);
        return moveFile(back, dest, true).is_success() && read_all(dest) == "b";
    });
    if (status == 77) GTEST_SKIP() << "no private mount namespace here";
    EXPECT_EQ(status, 0);
}

// Copies get mode 0644 whatever the umask and the mode of the source. A
// failure names the side that failed: the destination that does not open
// (present without overwrite), the source that does not open; a missing
// source is a bad argument with no subject.
TEST(TreeTest, CopyFileCopiesBytesWithMode0644AndNamesTheFailingSide) {
    TempTree tree;
    std::string content(10000, '\0');
    for (std::size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>(i % 251);
    const std::string source = tree.file("source", content), empty = tree.file("empty");
    const std::string present = tree.file("present", "old"), locked = tree.file("locked", "s");
    chmod(source.c_str(), 0700);
    chmod(locked.c_str(), 0);
    EXPECT_IN_CHILD([&] {
        umask(077);
        for (const std::string& from : {source, empty}) {
            const std::string dest = from + "_copy";
            CHILD_CHECK(copyFile(from, dest, false).status == STATUS_SUCCESS);
            CHILD_CHECK(read_all(dest) == read_all(from) && permissions(dest) == 0644);
        }
        return true;
    });
    EXPECT_EQ(permissions(source), 0700u);
    // Source, destination, status, subject.
    const std::tuple<std::string, std::string, int, std::string> cases[] = {
        {tree.path("missing"), tree.path("d1"), STATUS_INVALID_ARGUMENT, ""},
        {empty, present, STATUS_OPEN_FAILED, present},  // no overwrite
        {locked, tree.path("d2"), STATUS_OPEN_FAILED, locked}};
    tree.open_to_all();
    EXPECT_UNPRIVILEGED([&] {
        for (const auto& [from, to, status, subject] : cases) {
            const CommandResult result = copyFile(from, to, to != present);
            CHILD_CHECK(result.status == status && result.subject == subject);
            CHILD_CHECK(subject.empty() || result.operation == "copyFile");
        }
        return true;
    });
    chmod(present.c_str(), 0600);
    EXPECT_EQ(read_all(present), "old");
    EXPECT_TRUE(copyFile(empty, present, true).is_success());
    EXPECT_TRUE(read_all(present).empty() && permissions(present) == 0644u);
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

// A copy onto its own source, by name or through a soft or hard link, is a
// bad destination; the file keeps every byte.
TEST(TreeTest, CopyFileOntoItsOwnSourceFailsAndKeepsTheBytes) {
    TempTree tree;
    const std::string source = tree.file("source", "every byte");
    const std::string soft = tree.link(source, "soft"), hard = tree.path("hard");
    ASSERT_EQ(link(source.c_str(), hard.c_str()), 0);
    for (const std::string& dest : {source, soft, hard}) {
        const CommandResult result = copyFile(source, dest, true);
        EXPECT_TRUE(result.status == STATUS_OPEN_FAILED && result.subject == dest) << dest;
    }
    EXPECT_EQ(fileutils_copy_file(soft.c_str(), source.c_str(), 1), 0);
    EXPECT_EQ(read_all(source), "every byte");
}
