// QRSTR, the comparison and copy functions, and StringVector.
#include "qorbasic/text.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

TEST(QrstrTest, ScalarsRenderIntoTheirOwnBufferNullIsEmptyAndStringsKeepNul) {
    EXPECT_STREQ(QRSTR(-1).ptr(), "-1");
    EXPECT_EQ(QRSTR(false).length(), 5);
    EXPECT_STREQ(QRSTR(1.5).ptr(), "1.500000");
    QRSTR nul('\0');
    EXPECT_EQ(nul.length(), 1);
    EXPECT_STREQ(nul.ptr(), "");
    QRSTR big(1e200);  // cut to 99 characters
    EXPECT_EQ(big.length(), 99);
    EXPECT_EQ(strlen(big.ptr()), 99u);
    const char* none = nullptr;
    QRSTR text(none);
    EXPECT_TRUE(text.is_empty());
    EXPECT_STREQ(text.ptr(), "");

    std::string with_nul("ab\0cd", 5);  // kept whole, but StringVector::append stops at NUL
    EXPECT_EQ(QRSTR(with_nul).length(), 5);
    StringVector list;
    list.append(with_nul);
    EXPECT_EQ(list.fetch(0), "ab");
}

TEST(ComparisonTest, OnlyCasedEqualsSeesLengths) {
    std::string a("ab\0x", 4), b("ab\0y", 4), c("ab", 2);
    EXPECT_FALSE(cased_equals(a, c));
    EXPECT_TRUE(equals_nocase(a, c));
    EXPECT_TRUE(cased_equals(a, b));  // equal lengths, strcmp stops at NUL
    EXPECT_TRUE(limited_cased_equals("abc", "xyz", 0));
    EXPECT_TRUE(limited_equals_nocase("ABcd", "abCE", 3));
    EXPECT_FALSE(limited_equals_nocase("ABcd", "abCE", 4));
    EXPECT_LT(cased_compare("B", "a"), 0);
    EXPECT_EQ(compare_nocase("B", "b"), 0);
}

TEST(CopyTest, CopiesAreCutAndTerminatedAndMemzeroIgnoresNonPositiveCounts) {
    char buf[10] = "xxxxxxxxx";
    EXPECT_EQ(string_copy(buf, 0, "abc"), 0);
    EXPECT_EQ(buf[0], 'x');
    EXPECT_EQ(string_copy(buf, 1, "abc"), 0);
    EXPECT_EQ(buf[0], '\0');
    EXPECT_EQ(string_copy(buf, 4, "abcdef"), 3);
    EXPECT_STREQ(buf, "abc");
    EXPECT_EQ(limited_string_copy(buf, 10, "abcdef", 2), 2);
    EXPECT_STREQ(buf, "ab");
    memzero(nullptr, 4);
    memzero(buf, -3);
    memzero(buf + 1, 1);
    EXPECT_EQ(std::string(buf, 3), std::string("a\0\0", 3));
}

static std::string joined(const StringVector& list) {
    std::string out;
    for (int i = 0; i < list.size(); ++i) out += list.fetch(i) + "|";
    return out;
}

TEST(StringVectorTest, BadIndexesAreHarmlessFindSkipsEmptyKeyAndSortIsStable) {
    StringVector list;
    for (const char* s : {"a", "b", "c"}) list.append(s);
    list.store(3, "x");
    list.store(-1, "x");
    list.remove(5);
    list.remove(-1);
    EXPECT_EQ(&list.fetch(-1), &list.fetch(list.size()));
    EXPECT_EQ(list.fetch(-1), "");
    list.store(1, "Key");
    list.remove(2);
    list.remove(0);
    EXPECT_EQ(joined(list), "Key|");
    list.append("");  // find never matches an empty key
    EXPECT_EQ(list.cased_find("") + list.find_nocase("") + list.cased_find("key"), -3);
    EXPECT_EQ(list.find_nocase("key"), 0);
    EXPECT_EQ(list.cased_find("Key"), 0);

    StringVector empty;
    empty.sort_strings();
    EXPECT_EQ(empty.size(), 0);
    // Sorting is stable and carries the companion list along.
    StringVector keys, values;
    for (const char* s : {"b", "a", "B", "a"}) keys.append(s);
    for (const char* s : {"1", "2", "3", "4"}) values.append(s);
    StringVector::sort_strings(keys, values);
    EXPECT_EQ(joined(keys) + joined(values), "B|a|a|b|3|2|4|1|");
}
