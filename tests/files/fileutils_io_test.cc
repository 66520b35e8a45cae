#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "files/temp_tree.h"
#include "qorbasic/files.h"

using files_test::read_all;
using files_test::TempTree;

namespace {

class FileWriteTest : public testing::Test {
  protected:
    TempTree tree;
};

// Each writer, for the cases that all of them share.
struct Writer {
    const char* name;
    CommandResult (*write)(const QRSTR& path);
};

const Writer kWriters[] = {
    {"vector",
     [](const QRSTR& p) { return FileUtils::writeFile(p, std::vector<std::string>{"a"}); }},
    {"StringVector",
     [](const QRSTR& p) {
         StringVector lines;
         lines.append("a");
         return FileUtils::writeFile(p, lines);
     }},
    {"text", [](const QRSTR& p) { return FileUtils::writeFile(p, "a", true); }},
    {"binary", [](const QRSTR& p) { return FileUtils::writeBinaryFile(p, "a\n", 2); }},
};

}  // namespace

TEST_F(FileWriteTest, EveryWriterReplacesTheContentAndReportsOpenFailures) {
    for (const Writer& writer : kWriters) {
        const std::string path = tree.file(writer.name, "old content that is longer\n");
        EXPECT_EQ(writer.write(path).status, STATUS_SUCCESS) << writer.name;
        EXPECT_EQ(read_all(path), "a\n") << writer.name;
        EXPECT_EQ(writer.write("").status, STATUS_INVALID_ARGUMENT) << writer.name;
        EXPECT_EQ(writer.write(tree.path("missing/dir/file")).status, STATUS_OPEN_FAILED)
            << writer.name;
        EXPECT_EQ(writer.write(tree.root()).status, STATUS_OPEN_FAILED) << writer.name;
    }
}

TEST_F(FileWriteTest, NewFilesGetReadAndWriteForAllLessTheUmask) {
    EXPECT_EQ(files_test::run_in_child([&] {
                  umask(027);
                  for (const Writer& writer : kWriters) {
                      const std::string path = tree.path(std::string("new-") + writer.name);
                      CHILD_CHECK(writer.write(path).is_success());
                      CHILD_CHECK(files_test::permissions(path) == 0640);
                  }
                  return true;
              }),
              0);
}

TEST_F(FileWriteTest, LinesEndInLineFeedsAndStopAtANul) {
    const std::string path = tree.path("lines");
    std::vector<std::string> lines = {"one", "", std::string("tw\0o", 4), "three"};
    ASSERT_TRUE(FileUtils::writeFile(path, lines).is_success());
    EXPECT_EQ(read_all(path), "one\n\ntw\nthree\n");
    ASSERT_TRUE(FileUtils::writeFile(path, std::vector<std::string>()).is_success());
    EXPECT_EQ(read_all(path), "");
}

TEST_F(FileWriteTest, TextGetsALineFeedOnlyWhenAsked) {
    const std::string path = tree.path("text");
    ASSERT_TRUE(FileUtils::writeFile(path, "value", false).is_success());
    EXPECT_EQ(read_all(path), "value");
    ASSERT_TRUE(FileUtils::writeFile(path, "value", true).is_success());
    EXPECT_EQ(read_all(path), "value\n");
    ASSERT_TRUE(FileUtils::writeFile(path, "", false).is_success());
    EXPECT_EQ(read_all(path), "");
}

TEST_F(FileWriteTest, BinaryKeepsEveryByteAndZeroLengthEmptiesTheFile) {
    const std::string path = tree.file("binary", "old");
    const char data[] = {'a', '\0', '\r', '\n', '\xff'};
    ASSERT_TRUE(FileUtils::writeBinaryFile(path, data, sizeof data).is_success());
    EXPECT_EQ(read_all(path), std::string(data, sizeof data));
    ASSERT_TRUE(FileUtils::writeBinaryFile(path, nullptr, 0).is_success());
    EXPECT_EQ(read_all(path), "");
}

namespace {

class FileReadTest : public testing::Test {
  protected:
    TempTree tree;
};

}  // namespace

TEST_F(FileReadTest, TextFileIsCutIntoLinesWithoutTheirEnds) {
    const struct {
        std::string content;
        std::vector<std::string> lines;
    } cases[] = {
        {"", {}},
        {"a\r\n\r\nb\n", {"a", "", "b"}},
        {"no final line feed", {"no final line feed"}},
        {"a\n\n", {"a", ""}},
        {"\n", {""}},
        {"a\rb\n", {"a\rb"}},  // a carriage return inside a line is a plain byte
        {std::string("ab\0cd\nnext\n", 11), {"abnext"}},  // see the line reader
        {"trailing blanks  \n", {"trailing blanks  "}},
    };
    for (const auto& c : cases) {
        const std::string path = tree.file("text", c.content);
        std::vector<std::string> vector_out = {"stale"};
        EXPECT_EQ(FileUtils::readTextFile(vector_out, path).status, STATUS_SUCCESS);
        EXPECT_EQ(vector_out, c.lines) << testing::PrintToString(c.content);
        StringVector list_out;
        list_out.append("stale");
        EXPECT_EQ(FileUtils::readTextFile(list_out, path).status, STATUS_SUCCESS);
        ASSERT_EQ(list_out.size(), static_cast<int>(c.lines.size()));
        for (int i = 0; i < list_out.size(); ++i) EXPECT_EQ(list_out.fetch(i), c.lines[i]);
    }
}

TEST_F(FileReadTest, TextFileFailuresClearTheResult) {
    std::vector<std::string> out = {"stale"};
    EXPECT_EQ(FileUtils::readTextFile(out, "").status, STATUS_INVALID_ARGUMENT);
    EXPECT_TRUE(out.empty());
    out = {"stale"};
    EXPECT_EQ(FileUtils::readTextFile(out, tree.path("missing")).status, STATUS_OPEN_FAILED);
    EXPECT_TRUE(out.empty());
    StringVector list;
    list.append("stale");
    EXPECT_EQ(FileUtils::readTextFile(list, tree.path("missing")).status, STATUS_OPEN_FAILED);
    EXPECT_EQ(list.size(), 0);
}

TEST_F(FileReadTest, LineAboveTheLimitEndsTheReadingWithSuccess) {
    std::string content = "first\n";
    content.append(10000000, 'x');
    content += "\nafter\n";
    const std::string path = tree.file("huge", content);
    std::vector<std::string> out;
    EXPECT_EQ(FileUtils::readTextFile(out, path).status, STATUS_SUCCESS);
    EXPECT_EQ(out, std::vector<std::string>{"first"});
}

TEST_F(FileReadTest, LongLineBelowTheLimitIsReadWhole) {
    const std::string line(1000000, 'y');
    const std::string path = tree.file("long", line + "\nafter\n");
    std::vector<std::string> out;
    EXPECT_EQ(FileUtils::readTextFile(out, path).status, STATUS_SUCCESS);
    ASSERT_EQ(out.size(), 2u);
    EXPECT_EQ(out[0], line);
    EXPECT_EQ(out[1], "after");
}

TEST_F(FileReadTest, OneLineIsTheFirstWithTextTrimmed) {
    const struct {
        std::string content;
        std::string line;
    } cases[] = {
        {"\n   name  \nsecond\n", "name"},
        {"\n \t\n\r\n", ""},
        {"", ""},
        {"\t\x7f value \xff\x80\r\n", "value"},
        {"last without end", "last without end"},
    };
    for (const auto& c : cases) {
        const std::string path = tree.file("one", c.content);
        std::string out = "stale";
        EXPECT_EQ(FileUtils::readOneLine(out, path).status, STATUS_SUCCESS);
        EXPECT_EQ(out, c.line) << testing::PrintToString(c.content);
    }
}

TEST_F(FileReadTest, OneLineOfAMissingFileIsAnEmptySuccess) {
    std::string out = "stale";
    EXPECT_EQ(FileUtils::readOneLine(out, tree.path("missing")).status, STATUS_SUCCESS);
    EXPECT_EQ(out, "");
    out = "stale";
    EXPECT_EQ(FileUtils::readOneLine(out, "").status, STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(out, "");
}

TEST_F(FileReadTest, UnreadableFilesFailToOpen) {
    const std::string locked = tree.file("locked", "secret\n");
    chmod(locked.c_str(), 0);
    tree.open_to_all();
    EXPECT_UNPRIVILEGED([&] {
        std::string line = "stale";
        CHILD_CHECK(FileUtils::readOneLine(line, locked).status == STATUS_OPEN_FAILED);
        CHILD_CHECK(line.empty());
        std::vector<std::string> lines;
        CHILD_CHECK(FileUtils::readTextFile(lines, locked).status == STATUS_OPEN_FAILED);
        std::vector<char> bytes = {'k'};
        CHILD_CHECK(FileUtils::readBinaryFile(bytes, locked).status == STATUS_OPEN_FAILED);
        CHILD_CHECK(bytes == std::vector<char>{'k'});
        CHILD_CHECK(FileUtils::writeFile(locked, "x", true).status == STATUS_OPEN_FAILED);
        return true;
    });
}

TEST_F(FileReadTest, BinaryFileIsReadWhole) {
    std::string content(10000, '\0');
    for (std::size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>(i * 7);
    const std::string path = tree.file("bytes", content);
    std::vector<char> out;
    EXPECT_EQ(FileUtils::readBinaryFile(out, path).status, STATUS_SUCCESS);
    EXPECT_EQ(std::string(out.begin(), out.end()), content);
}

TEST_F(FileReadTest, BinaryFileStatusOfEachFailure) {
    std::vector<char> out = {'k'};
    EXPECT_EQ(FileUtils::readBinaryFile(out, "").status, STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(FileUtils::readBinaryFile(out, tree.path("missing")).status, STATUS_STAT_FAILED);
    EXPECT_EQ(out, std::vector<char>{'k'});
    EXPECT_EQ(FileUtils::readBinaryFile(out, tree.file("empty")).status, STATUS_SUCCESS);
    EXPECT_TRUE(out.empty());
    // A directory has a size but cannot be read.
    const long dir_size = FileUtils::getFileSize(tree.root());
    if (dir_size > 0) {
        EXPECT_EQ(FileUtils::readBinaryFile(out, tree.root()).status, STATUS_READ_FAILED);
        EXPECT_EQ(static_cast<long>(out.size()), dir_size);
    }
}

// Files of sysfs report a size of 4096 and deliver less: the same as a file
// that shrinks while it is read.
TEST_F(FileReadTest, BinaryFileThatEndsBeforeItsSizeGivesWhatWasRead) {
    const char* shrinking = "/sys/devices/system/cpu/online";
    const std::string content = read_all(shrinking);
    if (content.empty() || FileUtils::getFileSize(shrinking) <= static_cast<long>(content.size())) {
        GTEST_SKIP() << shrinking << " is not a file whose size exceeds its content here";
    }
    std::vector<char> out;
    EXPECT_EQ(FileUtils::readBinaryFile(out, shrinking).status, STATUS_READ_FAILED);
    EXPECT_EQ(std::string(out.begin(), out.end()), content);
}

TEST_F(FileReadTest, DiffFileComparesContent) {
    const std::string block(1024, 'b');
    std::string changed = block;
    changed[700] = 'c';
    const std::string big(3000, 'z');
    const std::string a = tree.file("a", block), same = tree.file("same", block);
    const std::string other = tree.file("other", changed);
    const std::string shorter = tree.file("shorter", block.substr(1));
    const std::string big_a = tree.file("big_a", big), big_b = tree.file("big_b", big);
    const std::string e1 = tree.file("e1"), e2 = tree.file("e2");
    const std::string missing = tree.path("missing");
    const std::string dir_a = tree.dir("dir_a"), dir_b = tree.dir("dir_b");
    const struct {
        const std::string &left, &right;
        bool differ;
    } cases[] = {
        {a, same, false},   {a, a, false},        {e1, e2, false},          {big_a, big_b, false},
        {a, other, true},   {a, shorter, true},   {missing, missing, true}, {a, missing, true},
        {missing, a, true}, {dir_a, dir_b, true},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(FileUtils::diffFile(c.left, c.right), c.differ) << c.left << " " << c.right;
    }
}
