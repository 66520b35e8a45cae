#include "files/line_reader.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "files/temp_tree.h"

using FileUtils::internal::read_file_line;

namespace {

// All lines the reader gives for `content` with the limit `max_size`, each
// with its line end and without the NUL the reader puts behind it.
std::vector<std::string> lines_of(const std::string& content, std::size_t max_size) {
    files_test::TempTree tree;
    const std::string path = tree.file("lines", content);
    FILE* stream = fopen(path.c_str(), "r");
    std::vector<std::string> lines;
    std::string buffer = "stale";
    while (read_file_line(buffer, stream, max_size)) {
        EXPECT_EQ(buffer.back(), '\0');
        lines.push_back(buffer.substr(0, buffer.size() - 1));
    }
    fclose(stream);
    return lines;
}

}  // namespace

TEST(LineReaderTest, KeepsLineEndsAndGivesTheLastLineWithoutOne) {
    EXPECT_EQ(lines_of("a\nb\r\nc", 1000), (std::vector<std::string>{"a\n", "b\r\n", "c"}));
    EXPECT_EQ(lines_of("", 1000), std::vector<std::string>{});
    EXPECT_EQ(lines_of("\n\n", 1000), (std::vector<std::string>{"\n", "\n"}));
}

TEST(LineReaderTest, CarriageReturnEndsALineOnlyAtTheEndOfAChunk) {
    const std::string first(498, 'a');
    EXPECT_EQ(lines_of(first + "\rrest\n", 100000),
              (std::vector<std::string>{first + "\r", "rest\n"}));
    EXPECT_EQ(lines_of("x\ry\n", 100000), std::vector<std::string>{"x\ry\n"});
}

// fgets gives no length, so what follows a NUL in its chunk is lost, the
// line end included, and the line goes on with the next chunk.
TEST(LineReaderTest, NulDropsTheRestOfItsChunk) {
    EXPECT_EQ(lines_of(std::string("ab\0cd\nef\n", 9), 1000), (std::vector<std::string>{"abef\n"}));
}

// With a limit of 1500 a chunk of 499 bytes is read while the buffer holds
// at most 1000 bytes: three chunks, so 1497 bytes with the line end.
TEST(LineReaderTest, LongestLineFillsTheLastChunkThatFitsTheLimit) {
    const std::string longest = std::string(1496, 'x') + "\n";
    EXPECT_EQ(lines_of(longest + "next\n", 1500), (std::vector<std::string>{longest, "next\n"}));
    const std::string too_long = std::string(1497, 'x') + "\n";
    EXPECT_EQ(lines_of("before\n" + too_long + "next\n", 1500),
              std::vector<std::string>{"before\n"});
}

TEST(LineReaderTest, LimitBelowOneChunkGivesNothing) {
    EXPECT_EQ(lines_of("a\n", 499), std::vector<std::string>{});
    EXPECT_EQ(lines_of("a\n", 500), std::vector<std::string>{"a\n"});
}
