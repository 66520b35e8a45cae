#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "files/temp_tree.h"
#include "qorbasic/files.h"

using files_test::TempTree;

namespace {

std::vector<std::string> sorted(const StringVector& list) {
    std::vector<std::string> names;
    for (int i = 0; i < list.size(); ++i) names.push_back(list.fetch(i));
    std::sort(names.begin(), names.end());
    return names;
}

using Names = std::vector<std::string>;

}  // namespace

TEST(DirectoryContentsTest, SortsEntriesByKindAndLinksByWhatTheyName) {
    TempTree outside;
    TempTree tree;
    tree.file("plain");
    tree.dir("sub");
    ASSERT_EQ(mkfifo(tree.path("pipe").c_str(), 0600), 0);
    tree.link(tree.path("plain"), "to_file");
    tree.link(outside.root(), "to_outside_dir");
    tree.link(tree.path("pipe"), "to_pipe");
    tree.link(tree.path("nowhere"), "dangling");
    tree.file(".hidden");

    const FileUtils::DirectoryContents contents(tree.root());
    EXPECT_EQ(contents.status, STATUS_SUCCESS);
    EXPECT_TRUE(contents.is_success());
    EXPECT_EQ(contents.path, tree.root());
    EXPECT_EQ(sorted(contents.files), (Names{".hidden", "plain"}));
    EXPECT_EQ(sorted(contents.directories), Names{"sub"});
    EXPECT_EQ(sorted(contents.file_links), Names{"to_file"});
    EXPECT_EQ(sorted(contents.dir_links), Names{"to_outside_dir"});
    EXPECT_EQ(sorted(contents.others), (Names{"dangling", "pipe", "to_pipe"}));
}

TEST(DirectoryContentsTest, RelativeLinkResolvesFromTheWorkingDirectoryNotItsOwn) {
    TempTree tree;
    tree.file("target");
    tree.link("target", "relative");
    {
        const FileUtils::DirectoryContents contents(tree.root());
        EXPECT_EQ(sorted(contents.others), Names{"relative"});
        EXPECT_EQ(contents.file_links.size(), 0);
    }
    EXPECT_EQ(files_test::run_in_child([&] {
                  CHILD_CHECK(chdir(tree.root().c_str()) == 0);
                  const FileUtils::DirectoryContents contents(tree.root());
                  CHILD_CHECK(sorted(contents.file_links) == Names{"relative"});
                  CHILD_CHECK(contents.others.size() == 0);
                  return true;
              }),
              0);
}

TEST(DirectoryContentsTest, EmptyDirectoryHasEmptyLists) {
    TempTree tree;
    const FileUtils::DirectoryContents contents(tree.root());
    EXPECT_EQ(contents.status, STATUS_SUCCESS);
    for (const StringVector* list : {&contents.files, &contents.directories, &contents.file_links,
                                     &contents.dir_links, &contents.others}) {
        EXPECT_EQ(list->size(), 0);
    }
}

TEST(DirectoryContentsTest, FailuresLeaveEveryListEmpty) {
    TempTree tree;
    const std::string file = tree.file("plain");
    const struct {
        std::string path;
        int status;
        std::string stored_path;
    } cases[] = {
        {"", STATUS_INVALID_ARGUMENT, ""},
        {tree.path("missing"), STATUS_OPENDIR_FAILED, tree.path("missing")},
        {file, STATUS_OPENDIR_FAILED, file},
    };
    for (const auto& c : cases) {
        const FileUtils::DirectoryContents contents(c.path);
        EXPECT_EQ(contents.status, c.status) << c.path;
        EXPECT_FALSE(contents.is_success());
        EXPECT_EQ(contents.path, c.stored_path);
        for (const StringVector* list :
             {&contents.files, &contents.directories, &contents.file_links, &contents.dir_links,
              &contents.others}) {
            EXPECT_EQ(list->size(), 0);
        }
    }
}

TEST(DirectoryContentsTest, UnreadableDirectoryFailsToOpen) {
    TempTree tree;
    const std::string closed = tree.dir("closed");
    tree.file("closed/inside");
    chmod(closed.c_str(), 0);
    tree.open_to_all();
    EXPECT_UNPRIVILEGED([&] {
        const FileUtils::DirectoryContents contents(closed);
        CHILD_CHECK(contents.status == STATUS_OPENDIR_FAILED);
        CHILD_CHECK(contents.files.size() == 0);
        return true;
    });
}
