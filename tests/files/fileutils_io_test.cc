// Tests of whole-file and line I/O and of the line reader.
#include "files/line_reader.h"
#include "files/temp_tree.h"

using namespace files_test;

// All lines the reader gives for `content` with the limit `max_size`, each
// with its line end and without the NUL the reader puts behind it.
TEST(LineReaderTest, KeepsLineEndsAndStopsAtTheLimit) {
    const std::string chunk(498, 'a'), longest = std::string(1496, 'x') + "\n";
    // Content, limit, lines.
    const std::tuple<std::string, std::size_t, Lines> cases[] = {
        // clang-format off
        {"a\nb\r\nc", 1000, {"a\n", "b\r\n", "c"}},
        // A carriage return ends a line only at the end of a chunk.
        {chunk + "\rrest\n", 100000, {chunk + "\r", "rest\n"}}, {"x\ry\n", 100000, {"x\ry\n"}},
        // A limit of 1500 allows three chunks of 499 bytes: 1497 bytes.
        {longest + "next\n", 1500, {longest, "next\n"}},
        {"a\n", 499, {}},  {"a\n", 500, {"a\n"}},
        {"before\nx" + longest + "next\n", 1500, {"before\n"}},
        // clang-format on
    };
    TempTree tree;
    for (const auto& [content, max_size, expected] : cases) {
        FILE* stream = fopen(tree.file("lines", content).c_str(), "r");
        Lines lines;
        std::string buffer = "stale";
        while (FileUtils::internal::read_file_line(buffer, stream, max_size)) {
            EXPECT_EQ(buffer.back(), '\0');
            lines.push_back(buffer.substr(0, buffer.size() - 1));
        }
        fclose(stream);
        EXPECT_EQ(lines, expected) << testing::PrintToString(content.substr(0, 20));
    }
}

namespace {

// Each writer, for the cases that all of them share.
const struct {
    const char* name;
    CommandResult (*write)(const QRSTR& path);
} kWriters[] = {
    {"vector", [](const QRSTR& p) { return FileUtils::writeFile(p, Lines{"a"}); }},
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

// New files get read and write for all less the umask.
TEST(FileWriteTest, EveryWriterReplacesTheContentAndReportsFailures) {
    TempTree tree;
    for (const auto& writer : kWriters) {
        const std::string path = tree.file(writer.name, "old content that is longer\n");
        EXPECT_TRUE(writer.write(path).is_success() && read_all(path) == "a\n") << writer.name;
        EXPECT_EQ(writer.write("").status, STATUS_INVALID_ARGUMENT) << writer.name;
        EXPECT_EQ(writer.write(tree.path("missing/dir/file")).status, STATUS_OPEN_FAILED);
        EXPECT_IN_CHILD([&] {
            umask(027);
            const std::string fresh = tree.path(std::string("new-") + writer.name);
            return writer.write(fresh).is_success() && permissions(fresh) == 0640;
        }) << writer.name;
    }
}

TEST(FileWriteTest, LinesEndInLineFeedsTextOnlyWhenAskedBinaryKeepsEveryByteBothWays) {
    TempTree tree;
    const std::string path = tree.path("out");
    // What a write left in the file, or "(failed)".
    auto wrote = [&](const CommandResult& r) {
        return r.is_success() ? read_all(path) : "(failed)";
    };
    const char data[] = {'a', '\0', '\r', '\n', '\xff'};
    const Lines lines = {"one", "", std::string("tw\0o", 4), "3"};  // a line stops at a NUL
    EXPECT_EQ(wrote(FileUtils::writeFile(path, lines)), "one\n\ntw\n3\n");
    EXPECT_EQ(wrote(FileUtils::writeFile(path, "value", false)), "value");
    EXPECT_EQ(wrote(FileUtils::writeBinaryFile(path, data, sizeof data)), std::string(data, 5));
    EXPECT_EQ(wrote(FileUtils::writeBinaryFile(path, nullptr, 0)), "");
    const std::string bytes = std::string(5000, '\xff') + std::string(5000, '\0');
    std::vector<char> back;
    EXPECT_EQ(FileUtils::readBinaryFile(back, tree.file("bytes", bytes)).status, STATUS_SUCCESS);
    EXPECT_EQ(std::string(back.begin(), back.end()), bytes);
    EXPECT_TRUE(FileUtils::readBinaryFile(back, tree.file("empty")).is_success() && back.empty());
}

// readTextFile cuts lines without their ends; readOneLine gives the first
// line with text, trimmed (control bytes and bytes above 0x7e included). A
// line above the limit (about 10 MB) ends the reading with success.
TEST(FileReadTest, TextFileLinesAndFirstLineWithText) {
    const std::string line(1000000, 'y'), huge(10000000, 'x');
    // Content, lines, first line.
    const std::tuple<std::string, Lines, std::string> cases[] = {
        // clang-format off
        {"", {}, ""},  {"a\r\n\r\nb\n", {"a", "", "b"}, "a"},  {"no end", {"no end"}, "no end"},
        {std::string("ab\0cd\nnext\n", 11), {"abnext"}, "abnext"},  // see the line reader
        {"\n   name  \nsecond\n", {"", "   name  ", "second"}, "name"},
        {"\t\x7f value \xff\x80\r\n", {"\t\x7f value \xff\x80"}, "value"},
        {line + "\nafter\n", {line, "after"}, line},
        {"first\n" + huge + "\nafter\n", {"first"}, "first"},
        // clang-format on
    };
    TempTree tree;
    for (const auto& [content, expected, expected_first] : cases) {
        const std::string path = tree.file("text", content),
                          name = testing::PrintToString(content.substr(0, 30));
        Lines lines = {"stale"};
        EXPECT_EQ(FileUtils::readTextFile(lines, path).status, STATUS_SUCCESS);
        EXPECT_EQ(lines, expected) << name;
        StringVector list;
        list.append("stale");
        EXPECT_EQ(FileUtils::readTextFile(list, path).status, STATUS_SUCCESS);
        ASSERT_EQ(list.size(), static_cast<int>(expected.size())) << name;
        for (int i = 0; i < list.size(); ++i) EXPECT_EQ(list.fetch(i), expected[i]) << name;
        std::string first = "stale";
        EXPECT_EQ(FileUtils::readOneLine(first, path).status, STATUS_SUCCESS);
        EXPECT_EQ(first, expected_first) << name;
    }
}

// A missing file has no first line, which is no failure; every failure
// leaves the lines and the first line empty and the bytes alone.
TEST(FileReadTest, StatusOfEachReadFailure) {
    TempTree tree;
    const std::string missing = tree.path("missing"), locked = tree.file("locked", "secret\n");
    const long dir_size = FileUtils::getFileSize(tree.root());
    chmod(locked.c_str(), 0);
    tree.open_to_all();
    const struct {
        std::string path;
        int text, line, binary;
    } cases[] = {
        {"", STATUS_INVALID_ARGUMENT, STATUS_INVALID_ARGUMENT, STATUS_INVALID_ARGUMENT},
        {missing, STATUS_OPEN_FAILED, STATUS_SUCCESS, STATUS_STAT_FAILED},
        {locked, STATUS_OPEN_FAILED, STATUS_OPEN_FAILED, STATUS_OPEN_FAILED},  // unprivileged
    };
    EXPECT_UNPRIVILEGED([&] {
        for (const auto& c : cases) {
            Lines lines = {"stale"};
            StringVector list;
            list.append("stale");
            std::string line = "stale";
            std::vector<char> bytes = {'k'};
            CHILD_CHECK(FileUtils::readTextFile(lines, c.path).status == c.text && lines.empty());
            CHILD_CHECK(FileUtils::readTextFile(list, c.path).status == c.text && list.size() == 0);
            CHILD_CHECK(FileUtils::readOneLine(line, c.path).status == c.line && line.empty());
            CHILD_CHECK(FileUtils::readBinaryFile(bytes, c.path).status == c.binary);
            CHILD_CHECK(bytes == std::vector<char>{'k'});
        }
        // A directory has a size but cannot be read.
        std::vector<char> bytes;
        return dir_size <= 0 ||
               (FileUtils::readBinaryFile(bytes, tree.root()).status == STATUS_READ_FAILED &&
                static_cast<long>(bytes.size()) == dir_size);
    });
}

// Files of sysfs report a size of 4096 and deliver less: the same as a file
// that shrinks while it is read or copied.
TEST(FileReadTest, FileThatEndsBeforeItsSizeIsAReadFailureWithWhatWasRead) {
    const char* shrinking = "/sys/devices/system/cpu/online";
    const std::string content = read_all(shrinking);
    if (content.empty() || FileUtils::getFileSize(shrinking) <= static_cast<long>(content.size())) {
        GTEST_SKIP() << shrinking << " is not a file whose size exceeds its content here";
    }
    std::vector<char> out;
    EXPECT_EQ(FileUtils::readBinaryFile(out, shrinking).status, STATUS_READ_FAILED);
    EXPECT_EQ(std::string(out.begin(), out.end()), content);
    TempTree tree;
    const CommandResult copied = FileUtils::copyFile(shrinking, tree.path("dest"), true);
    EXPECT_TRUE(copied.status == STATUS_READ_FAILED && copied.subject == shrinking);
    EXPECT_EQ(read_all(tree.path("dest")), content);
}

TEST(FileReadTest, DiffFileComparesContent) {
    TempTree tree;
    // The change lies beyond the first block.
    const std::string base(3000, 'b'), changed = base.substr(0, 2900) + "c" + base.substr(2901);
    const std::string a = tree.file("a", base), missing = tree.path("missing");
    const std::string e1 = tree.file("e1"), e2 = tree.file("e2"), dir = tree.dir("d");
    const std::tuple<std::string, std::string, bool> cases[] = {
        // clang-format off
        {a, tree.file("same", base), false},     {e1, e2, false},
        {a, tree.file("other", changed), true},  {a, tree.file("short", base.substr(1)), true},
        {missing, missing, true},                {a, missing, true},
        {dir, tree.dir("d2"), true},
        // clang-format on
    };
    for (const auto& [left, right, differ] : cases)
        EXPECT_EQ(FileUtils::diffFile(left, right), differ) << left << " " << right;
}
