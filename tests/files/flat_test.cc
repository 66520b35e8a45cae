// Tests of the flat const char* file, config and profile functions.
#include <limits.h>

#include <cstring>

#include "files/temp_tree.h"

using namespace files_test;

// Removals give 0 on success (A), file_exists and copy give 1 (B), and move
// gives 0: copy and move run in opposite senses.
TEST(FlatFunctionsTest, FileOperationsKeepTheirReturnConventions) {
    TempTree dir;
    const std::string file = dir.file("f", "content"), sub = dir.dir("d"), copy = dir.path("copy");
    const std::string moved = dir.path("moved"), missing = dir.path("missing");
    dir.file("d/inner");
    const char *f = file.c_str(), *d = sub.c_str(), *c = copy.c_str(), *m = moved.c_str();
    const char* x = missing.c_str();
    // Each call and what it must give, in the order of the calls: a move
    // without overwrite keeps the destination, a removal of what is gone
    // succeeds, a directory that is not empty stays.
    const int cases[][2] = {
        {fileutils_file_exists(f), 1},       {fileutils_file_exists(d), 0},
        {fileutils_file_exists(nullptr), 0}, {fileutils_copy_file(f, c, 0), 1},
        {fileutils_copy_file(x, c, 1), 0},   {fileutils_move_file(f, m, 0), 0},
        {fileutils_move_file(x, m, 1), 1},   {fileutils_move_file(c, m, 0), 1},
        {fileutils_remove_file(c), 0},       {fileutils_remove_file(d), 1},
        {fileutils_remove_file(nullptr), 1}, {fileutils_remove_dir(d), 1},
        {fileutils_remove_fileordir(d), 1},  {fileutils_remove_recursively("relative/path"), 1},
        {fileutils_remove_recursively(d), 0}};
    for (std::size_t i = 0; i < std::size(cases); ++i)
        EXPECT_EQ(cases[i][0], cases[i][1]) << "case " << i;
    EXPECT_EQ("content", read_all(moved));
    EXPECT_FALSE(exists_no_follow(copy) || exists_no_follow(sub));
}

// Texts into a caller's buffer: 0 when they fit (A), 1 for a cut text, which
// is stored cut where the buffer has room at all.
TEST(FlatFunctionsTest, DirectoryAndFileNamesGiveZeroWhenTheyFit) {
    std::string temp_dir, lock;
    FileUtils::tempdir_path(temp_dir);
    FileUtils::makeLockFilename(lock, "f");
    char buffer[PATH_MAX];
    const int length = static_cast<int>(temp_dir.size());
    EXPECT_EQ(0, fileutils_tempdir_path(buffer, length + 1));
    EXPECT_EQ(temp_dir, buffer);
    EXPECT_EQ(1, fileutils_tempdir_path(buffer, length));
    EXPECT_EQ(temp_dir.substr(0, length - 1), buffer);
    std::strcpy(buffer, "untouched");
    EXPECT_EQ(1, fileutils_tempdir_path(buffer, 0));
    EXPECT_STREQ("untouched", buffer);
    EXPECT_EQ(0, fileutils_makelockfilename(buffer, sizeof buffer, "f"));
    EXPECT_EQ(lock, buffer);
}

// Configuration gives 1 on success (B); reading always stores a text and
// gives 0 only when it had to cut it.
TEST(FlatFunctionsTest, ConfigFunctionsGiveOneOnSuccess) {
    TempTree dir;
    const std::string path = dir.path("c.conf"), none = dir.path("no/c.conf");
    EXPECT_EQ(1, configutils_writeconfig(path.c_str(), "key", "abcde"));
    EXPECT_EQ("key=abcde\n", read_all(path));
    EXPECT_EQ(0, configutils_writeconfig(none.c_str(), "key", "value"));
    char buffer[16];
    EXPECT_EQ(1, configutils_readconfig(buffer, sizeof buffer, path.c_str(), "key"));
    EXPECT_STREQ("abcde", buffer);
    EXPECT_EQ(0, configutils_readconfig(buffer, 3, path.c_str(), "key"));
    EXPECT_STREQ("ab", buffer);
    for (const std::string& from : {path, none}) {  // a missing key, a missing file
        std::strcpy(buffer, "old");
        EXPECT_EQ(1, configutils_readconfig(buffer, sizeof buffer, from.c_str(), "missing"));
        EXPECT_STREQ("", buffer);
    }
    write_text(path, "a : 1\nb : 2\n");
    EXPECT_EQ(1, configutils_removeconfig(path.c_str(), "a", ':'));
    EXPECT_EQ("b:2\n", read_all(path));
}
