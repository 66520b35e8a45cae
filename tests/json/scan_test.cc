// The parser's fast byte scans against the plain forms they stand in for.
#include "json/scan.h"

#include <gtest/gtest.h>

#include <cctype>
#include <random>
#include <string>

namespace {

using namespace qor::detail;

TEST(JsonScan, CSpaceIsIsspaceOfTheCLocale) {
    for (int c = 0; c < 256; ++c)
        EXPECT_EQ(isCSpace(static_cast<char>(c)), std::isspace(c) != 0) << c;
}

TEST(JsonScan, FastScansAgreeWithThePlainOnesAtEveryStartAndLength) {
    const char alphabet[] = {' ',  '\t',   '\n', '\v',   '\f',   '\r',   '"',
                             '\\', 'a',    '\0', '\x80', '\x08', '\x0e', '\x1f',
                             '!',  '\xff', '0',  '9',    '/',    ':',    '5'};
    std::mt19937 random(17);
    for (int round = 0; round < 3000; ++round) {
        // Mostly one byte, so that runs are long enough for the wide steps.
        const char common = alphabet[round % sizeof(alphabet)];
        std::string text(random() % 70, common);
        for (char& c : text) {
            if (random() % 8 == 0) c = alphabet[random() % sizeof(alphabet)];
        }
        const char* end = text.data() + text.size();
        for (size_t from = 0; from <= text.size(); ++from) {
            const char* p = text.data() + from;
            ASSERT_EQ(skipCSpaceFast(p, end), skipCSpacePlain(p, end)) << text << " @" << from;
            ASSERT_EQ(findQuoteOrBackslashFast(p, end), findQuoteOrBackslashPlain(p, end))
                << text << " @" << from;
            ASSERT_EQ(skipDigitsFast(p, end), skipDigitsPlain(p, end)) << text << " @" << from;
        }
    }
}

}  // namespace
