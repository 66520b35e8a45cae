#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "files/temp_tree.h"
#include "qorbasic/files.h"

using files_test::exists_no_follow;
using files_test::permissions;
using files_test::read_all;
using files_test::TempTree;

namespace {

class TreeTest : public testing::Test {
  protected:
    TempTree tree;
};

}  // namespace

TEST_F(TreeTest, EveryOperationRefusesAnEmptyPath) {
    using namespace FileUtils;
    const std::string some = tree.file("some", "x");
    EXPECT_EQ(makeDir("", ACCESSMODE_RWX_OWNER_RX_ALL).status, STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(setAccess("", ACCESSMODE_RW_ALL).status, STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(removeFile("").status, STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(removeDir("").status, STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(removeFileOrDir("").status, STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(removeRecursively("").status, STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(moveFile("", some, true).status, STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(moveFile(some, "", true).status, STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(copyFile("", some, true).status, STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(copyFile(some, "", true).status, STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(read_all(some), "x");
}

TEST_F(TreeTest, MakeDirSucceedsWhereAnythingOfThatNameExists) {
    const std::string made = tree.path("made");
    EXPECT_EQ(FileUtils::makeDir(made, FileUtils::ACCESSMODE_RWX_OWNER_RX_ALL).status,
              STATUS_SUCCESS);
    EXPECT_TRUE(FileUtils::dirExists(made));
    EXPECT_EQ(FileUtils::makeDir(made, FileUtils::ACCESSMODE_RWX_OWNER_RX_ALL).status,
              STATUS_SUCCESS);
    const std::string file = tree.file("file");
    EXPECT_EQ(FileUtils::makeDir(file, FileUtils::ACCESSMODE_RWX_OWNER_RX_ALL).status,
              STATUS_SUCCESS);
    EXPECT_TRUE(FileUtils::fileExists(file));
    EXPECT_EQ(
        FileUtils::makeDir(tree.path("no/parent"), FileUtils::ACCESSMODE_RWX_OWNER_RX_ALL).status,
        STATUS_MKDIR_FAILED);
}

TEST_F(TreeTest, MakeDirModeIsSubjectToTheUmask) {
    EXPECT_EQ(
        files_test::run_in_child([&] {
            umask(077);
            const std::string made = tree.path("private");
            CHILD_CHECK(
                FileUtils::makeDir(made, FileUtils::ACCESSMODE_RWX_OWNER_RX_ALL).is_success());
            CHILD_CHECK(permissions(made) == 0700);
            return true;
        }),
        0);
}

TEST_F(TreeTest, SetAccessSetsTheModeAndFailsForWhatIsNotThere) {
    const std::string file = tree.file("file");
    EXPECT_EQ(FileUtils::setAccess(file, FileUtils::ACCESSMODE_RW_ALL).status, STATUS_SUCCESS);
    EXPECT_EQ(permissions(file), 0666u);
    EXPECT_EQ(FileUtils::setAccess(file, FileUtils::ACCESSMODE_RWX_OWNER_RX_ALL).status,
              STATUS_SUCCESS);
    EXPECT_EQ(permissions(file), 0755u);
    EXPECT_EQ(FileUtils::setAccess(tree.path("missing"), FileUtils::ACCESSMODE_RW_ALL).status,
              STATUS_CHMOD_FAILED);
}

TEST_F(TreeTest, SetAccessByAnotherUserSucceedsOnlyWhereTheModeIsRight) {
    const std::string right = tree.file("right");
    const std::string wrong = tree.file("wrong");
    chmod(right.c_str(), 0666);
    chmod(wrong.c_str(), 0600);
    tree.open_to_all();
    if (geteuid() != 0) GTEST_SKIP() << "needs files owned by another user: run as root";
    EXPECT_UNPRIVILEGED([&] {
        CHILD_CHECK(FileUtils::setAccess(right, FileUtils::ACCESSMODE_RW_ALL).status ==
                    STATUS_SUCCESS);
        CHILD_CHECK(FileUtils::setAccess(wrong, FileUtils::ACCESSMODE_RW_ALL).status ==
                    STATUS_CHMOD_FAILED);
        return true;
    });
    EXPECT_EQ(permissions(wrong), 0600u);
}

TEST_F(TreeTest, RemovingWhatIsGoneSucceedsAndTheWrongKindFails) {
    using namespace FileUtils;
    const std::string missing = tree.path("missing");
    const std::string dir = tree.dir("dir");
    const std::string full = tree.dir("full");
    tree.file("full/inside");
    EXPECT_EQ(removeFile(missing).status, STATUS_SUCCESS);
    EXPECT_EQ(removeDir(missing).status, STATUS_SUCCESS);
    EXPECT_EQ(removeFileOrDir(missing).status, STATUS_SUCCESS);
    EXPECT_EQ(removeFile(dir).status, STATUS_UNLINK_FAILED);
    EXPECT_EQ(removeDir(tree.file("file")).status, STATUS_RMDIR_FAILED);
    EXPECT_EQ(removeDir(full).status, STATUS_RMDIR_FAILED);
    EXPECT_EQ(removeFileOrDir(full).status, STATUS_RMDIR_FAILED);
    EXPECT_TRUE(dirExists(full));
    EXPECT_EQ(removeFileOrDir(dir).status, STATUS_SUCCESS);
    EXPECT_FALSE(pathExists(dir));
    EXPECT_EQ(removeFileOrDir(tree.path("file")).status, STATUS_SUCCESS);
    EXPECT_FALSE(pathExists(tree.path("file")));
}

TEST_F(TreeTest, RemoveFileTakesALinkAndNotItsTarget) {
    const std::string target = tree.file("target", "keep");
    const std::string link = tree.link(target, "link");
    const std::string dangling = tree.link(tree.path("nowhere"), "dangling");
    EXPECT_EQ(FileUtils::removeFile(link).status, STATUS_SUCCESS);
    EXPECT_EQ(FileUtils::removeFile(dangling).status, STATUS_SUCCESS);
    EXPECT_FALSE(exists_no_follow(link));
    EXPECT_FALSE(exists_no_follow(dangling));
    EXPECT_EQ(read_all(target), "keep");
}

TEST_F(TreeTest, RemoveRecursivelyTakesTheTreeButNothingLinksPointTo) {
    TempTree outside;
    const std::string kept_file = outside.file("kept", "outside");
    const std::string top = tree.dir("top");
    tree.file("top/a", "1");
    tree.dir("top/sub");
    tree.dir("top/sub/deeper");
    tree.file("top/sub/deeper/b", "2");
    tree.link(outside.root(), "top/to_outside_dir");
    tree.link(kept_file, "top/sub/to_outside_file");
    tree.link("../a", "top/sub/relative");
    tree.link(tree.path("nowhere"), "top/sub/deeper/dangling");
    ASSERT_EQ(mkfifo(tree.path("top/pipe").c_str(), 0600), 0);

    EXPECT_EQ(FileUtils::removeRecursively(top).status, STATUS_SUCCESS);
    EXPECT_FALSE(exists_no_follow(top));
    EXPECT_EQ(read_all(kept_file), "outside");
    EXPECT_TRUE(FileUtils::dirExists(outside.root()));
}

TEST_F(TreeTest, RemoveRecursivelyOfALinkToADirectoryRemovesTheLinkOnly) {
    TempTree outside;
    const std::string kept = outside.file("kept", "x");
    const std::string link = tree.link(outside.root(), "link");
    EXPECT_EQ(FileUtils::removeRecursively(link).status, STATUS_SUCCESS);
    EXPECT_FALSE(exists_no_follow(link));
    EXPECT_EQ(read_all(kept), "x");
}

TEST_F(TreeTest, RemoveRecursivelyOfFilesMissingAndRelativePaths) {
    const std::string file = tree.file("file");
    EXPECT_EQ(FileUtils::removeRecursively(file).status, STATUS_SUCCESS);
    EXPECT_FALSE(exists_no_follow(file));
    EXPECT_EQ(FileUtils::removeRecursively(tree.path("missing")).status, STATUS_SUCCESS);
    tree.dir("relative");
    EXPECT_EQ(
        files_test::run_in_child([&] {
            CHILD_CHECK(chdir(tree.root().c_str()) == 0);
            CHILD_CHECK(FileUtils::removeRecursively("relative").status == STATUS_INVALID_ARGUMENT);
            CHILD_CHECK(FileUtils::removeRecursively("relative/").status ==
                        STATUS_INVALID_ARGUMENT);
            return true;
        }),
        0);
    EXPECT_TRUE(FileUtils::dirExists(tree.path("relative")));
}

TEST_F(TreeTest, RemoveRecursivelyRemovesWhatItCanAndReportsTheRest) {
    const std::string top = tree.dir("top");
    tree.file("top/loose", "1");
    const std::string stuck = tree.dir("top/stuck");
    tree.file("top/stuck/inside", "2");
    chmod(stuck.c_str(), 0555);
    tree.open_to_all();
    chmod(top.c_str(), 0777);
    EXPECT_UNPRIVILEGED([&] {
        CHILD_CHECK(FileUtils::removeRecursively(top).status == STATUS_RMDIR_FAILED);
        CHILD_CHECK(!exists_no_follow(top + "/loose"));
        CHILD_CHECK(exists_no_follow(stuck + "/inside"));
        return true;
    });
}

TEST_F(TreeTest, MoveFileRenamesAndHonoursOverwrite) {
    const std::string source = tree.file("source", "new");
    const std::string dest = tree.file("dest", "old");
    EXPECT_EQ(FileUtils::moveFile(source, dest, false).status, STATUS_RENAME_FAILED);
    EXPECT_EQ(read_all(source), "new");
    EXPECT_EQ(read_all(dest), "old");
    EXPECT_EQ(FileUtils::moveFile(source, dest, true).status, STATUS_SUCCESS);
    EXPECT_FALSE(exists_no_follow(source));
    EXPECT_EQ(read_all(dest), "new");
    EXPECT_EQ(FileUtils::moveFile(dest, tree.path("fresh"), false).status, STATUS_SUCCESS);
    EXPECT_EQ(read_all(tree.path("fresh")), "new");
}

TEST_F(TreeTest, MoveFileFailuresAreAllRenameFailures) {
    const std::string source = tree.file("source", "x");
    const std::string dir = tree.dir("dir");
    tree.file("dir/inside");
    EXPECT_EQ(FileUtils::moveFile(tree.path("missing"), tree.path("dest"), true).status,
              STATUS_RENAME_FAILED);
    // Only a regular file counts for overwrite; onto a directory rename decides.
    EXPECT_EQ(FileUtils::moveFile(source, dir, false).status, STATUS_RENAME_FAILED);
    EXPECT_EQ(FileUtils::moveFile(source, tree.path("no/such/dir"), true).status,
              STATUS_RENAME_FAILED);
    EXPECT_EQ(read_all(source), "x");
}

// A tmpfs mounted on a directory of the tree, in a mount namespace of a
// child's own, gives a second file system without touching the machine.
TEST_F(TreeTest, MoveFileAcrossFileSystemsCopiesWithMode0644AndRemovesTheSource) {
    const std::string source = tree.file("source", "moved content");
    chmod(source.c_str(), 0600);
    const std::string other = tree.dir("other_fs");
    const int status = files_test::run_in_child([&] {
        if (unshare(CLONE_NEWNS) != 0 ||
            mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount("tmpfs", other.c_str(), "tmpfs", 0, nullptr) != 0) {
            _exit(77);
        }
        const std::string dest = other + "/dest";
        CHILD_CHECK(FileUtils::moveFile(source, dest, false).status == STATUS_SUCCESS);
        CHILD_CHECK(read_all(dest) == "moved content");
        CHILD_CHECK(permissions(dest) == 0644);
        CHILD_CHECK(!exists_no_follow(source));
        const std::string back = tree.file("back", "b");
        CHILD_CHECK(FileUtils::moveFile(back, dest, false).status == STATUS_RENAME_FAILED);
        CHILD_CHECK(FileUtils::moveFile(back, dest, true).status == STATUS_SUCCESS);
        CHILD_CHECK(read_all(dest) == "b");
        return true;
    });
    if (status == 77) GTEST_SKIP() << "no private mount namespace here";
    EXPECT_EQ(status, 0);
}

TEST_F(TreeTest, CopyFileCopiesTheBytesWithMode0644) {
    std::string content(10000, '\0');
    for (std::size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>(i % 251);
    const std::string source = tree.file("source", content);
    chmod(source.c_str(), 0700);
    const std::string empty = tree.file("empty");
    EXPECT_EQ(files_test::run_in_child([&] {
                  umask(077);
                  const std::string dest = tree.path("dest");
                  CHILD_CHECK(FileUtils::copyFile(source, dest, false).status == STATUS_SUCCESS);
                  CHILD_CHECK(read_all(dest) == content);
                  CHILD_CHECK(permissions(dest) == 0644);
                  const std::string empty_copy = tree.path("empty_copy");
                  CHILD_CHECK(FileUtils::copyFile(empty, empty_copy, false).is_success());
                  CHILD_CHECK(read_all(empty_copy).empty());
                  CHILD_CHECK(permissions(empty_copy) == 0644);
                  return true;
              }),
              0);
    EXPECT_EQ(permissions(source), 0700u);
}

TEST_F(TreeTest, CopyFileOverwritesOnlyWhenAsked) {
    const std::string source = tree.file("source", "new");
    const std::string dest = tree.file("dest", "old content");
    chmod(dest.c_str(), 0600);
    const CommandResult refused = FileUtils::copyFile(source, dest, false);
    EXPECT_EQ(refused.status, STATUS_OPEN_FAILED);
    EXPECT_EQ(refused.subject, dest);
    EXPECT_EQ(refused.operation, "copyFile");
    EXPECT_EQ(read_all(dest), "old content");
    EXPECT_EQ(FileUtils::copyFile(source, dest, true).status, STATUS_SUCCESS);
    EXPECT_EQ(read_all(dest), "new");
    EXPECT_EQ(permissions(dest), 0644u);
}

TEST_F(TreeTest, CopyFileNamesTheFailingSideOfEachFailure) {
    const std::string source = tree.file("source", "x");
    const CommandResult missing = FileUtils::copyFile(tree.path("missing"), tree.path("d"), true);
    EXPECT_EQ(missing.status, STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(missing.subject, "");

    const std::string unreachable = tree.path("no/such/dest");
    const CommandResult no_dest = FileUtils::copyFile(source, unreachable, true);
    EXPECT_EQ(no_dest.status, STATUS_OPEN_FAILED);
    EXPECT_EQ(no_dest.subject, unreachable);
    EXPECT_EQ(no_dest.operation, "copyFile");

    const long dir_size = FileUtils::getFileSize(tree.root());
    if (dir_size > 0) {
        const CommandResult from_dir = FileUtils::copyFile(tree.root(), tree.path("d2"), true);
        EXPECT_EQ(from_dir.status, STATUS_READ_FAILED);
        EXPECT_EQ(from_dir.subject, tree.root());
        EXPECT_EQ(from_dir.operation, "copyFile");
    }

    const std::string locked = tree.file("locked", "secret");
    chmod(locked.c_str(), 0);
    tree.open_to_all();
    EXPECT_UNPRIVILEGED([&] {
        const CommandResult no_source = FileUtils::copyFile(locked, tree.path("d3"), true);
        CHILD_CHECK(no_source.status == STATUS_OPEN_FAILED);
        CHILD_CHECK(no_source.subject == locked);
        CHILD_CHECK(no_source.operation == "copyFile");
        return true;
    });
}

TEST_F(TreeTest, CopyFileOfASourceThatEndsBeforeItsSizeIsAReadFailure) {
    const char* shrinking = "/sys/devices/system/cpu/online";
    const std::string content = read_all(shrinking);
    if (content.empty() || FileUtils::getFileSize(shrinking) <= static_cast<long>(content.size())) {
        GTEST_SKIP() << shrinking << " is not a file whose size exceeds its content here";
    }
    const std::string dest = tree.path("dest");
    const CommandResult result = FileUtils::copyFile(shrinking, dest, true);
    EXPECT_EQ(result.status, STATUS_READ_FAILED);
    EXPECT_EQ(result.subject, shrinking);
    EXPECT_EQ(result.operation, "copyFile");
    EXPECT_EQ(read_all(dest), content);
}
