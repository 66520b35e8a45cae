// String algorithms: splitting, joining, trimming, case, search and wide text.
#include "qorbasic/strings.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

using Fields = std::vector<std::string>;

static Fields list_fields(const std::string& text, int separator) {
    StringVector list;
    list.append("stale");  // the list form clears its output first
    split_string(list, text, separator);
    Fields fields;
    for (int i = 0; i < list.size(); ++i) fields.push_back(list.fetch(i));
    return fields;
}

TEST(SplitStringTest, StreamAndListFormsDifferOnlyAtTheEdgesAndPairFormCutsAtTheFirst) {
    // text, stream form, list form
    const std::tuple<const char*, Fields, Fields> cases[] = {
        {"", {}, {""}},           {"a,b", {"a", "b"}, {"a", "b"}},
        {"a,", {"a"}, {"a", ""}}, {",a", {"", "a"}, {"", "a"}},
        {",", {""}, {"", ""}},    {"a,,b", {"a", "", "b"}, {"a", "", "b"}}};
    for (const auto& [text, stream, list] : cases) {
        EXPECT_EQ(split_string(text, ','), stream) << text;
        EXPECT_EQ(list_fields(text, ','), list) << text;
    }
    // The list form reads each byte as a signed char.
    EXPECT_EQ(list_fields("a\xB0z", static_cast<signed char>('\xB0')), (Fields{"a", "z"}));
    EXPECT_EQ(list_fields("a\xB0z", 0xB0), (Fields{"a\xB0z"}));

    StringVector list;  // an element of the output list as the input text
    list.append("x,y");
    split_string(list, list.fetch(0), ',');
    EXPECT_EQ(list.fetch(1), "y");

    Fields out = {"kept"};  // the appending splitters keep earlier fields
    split_string("x;y", ';', out);
    split_string_by_ws("  one\ttwo \n three  ", out);
    split_string_by_ws(" \t\n", out);
    EXPECT_EQ(out, (Fields{"kept", "x", "y", "one", "two", "three"}));

    std::string left = "L", right = "R";  // the pair form leaves them without a separator
    EXPECT_FALSE(split_string("abc", left, right, "-"));
    EXPECT_EQ(left + right, "LR");
    EXPECT_TRUE(split_string("a::b::c", left, right, "::"));
    EXPECT_EQ(left + "|" + right, "a|b::c");
    std::string text = "key=value";  // its own output as input
    EXPECT_TRUE(split_string(text, text, right, "="));
    EXPECT_EQ(text + "|" + right, "key|value");
}

// Joining with a separator is checked against splitting by the split_string
// fuzz target; the argument form skips empty and null texts.
TEST(JoinStringTest, ArgumentFormSkipsEmptyTextsAndAppendsToItself) {
    std::string out = "old";
    const char* none = nullptr;
    EXPECT_EQ(join_string(out, "port ", 8080), "port 8080");
    EXPECT_EQ(join_string(out, "", "a", none, "b", true, 'c'), "abtruec");
    EXPECT_EQ(join_string(out, out, "/", out), "abtruec/abtruec");  // appends to itself
}

TEST(TrimTest, InPlaceTrimCutsSpacesWhileCopyingTrimCutsAllNonGraphicBytes) {
    // text, trimmed in place, trimmed copy
    // clang-format off
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {"  key =  value \n", "key =  value", "key =  value"},  {" \t\r\n ", "", ""},
        {"\x80", "\x80", ""}, {"\xFF a \x7F", "\xFF a \x7F", "a"}, {"\x01x\x1F", "\x01x\x1F", "x"}};
    // clang-format on
    for (const auto& [text, in_place, copied] : cases) {
        std::string trimmed = text;
        EXPECT_EQ(string_trim(trimmed), in_place) << text;
        std::string copy = "stale";
        string_trim(copy, text);
        EXPECT_EQ(copy, copied) << text;
    }
    std::string text = "  a  ";
    EXPECT_EQ(string_ltrim(text), "a  ");
    EXPECT_EQ(string_rtrim(text), "a");
}

TEST(CaseTest, InPlaceConversionCutsAtNulOnlyWhenSomethingChanges) {
    std::string unchanged("ab\0c", 4);
    EXPECT_EQ(string_tolower(unchanged).size(), 4u);
    std::string changed("ab\0c", 4);
    EXPECT_EQ(string_toupper(changed), "AB");
    // The copying forms keep the whole length, NULs included.
    std::string out;
    EXPECT_EQ(string_toupper(out, std::string("a\0b", 3)), std::string("A\0B", 3));
    EXPECT_EQ(downcased(std::string("X\0Y", 3)), std::string("x\0y", 3));
}

TEST(SearchTest, PrefixSuffixCharSearchAndCharacterClasses) {
    // text, affix, starts with it, ends with it
    const std::tuple<const char*, const char*, bool, bool> cases[] = {
        {"", "", true, true},       {"abc", "", true, true},     {"abc", "ab", true, false},
        {"abc", "bc", false, true}, {"ab", "abc", false, false}, {"abc", "x", false, false}};
    for (const auto& [text, affix, starts, ends] : cases) {
        EXPECT_EQ(string_starts_with(text, affix), starts) << text << " / " << affix;
        EXPECT_EQ(string_ends_with(text, affix), ends) << text << " / " << affix;
    }
    EXPECT_EQ(string_findchar("", '\0'), -1);
    EXPECT_EQ(string_reversefind("", 'a'), -1);
    EXPECT_EQ(string_findchar("abcabc", 'c'), 2);
    EXPECT_EQ(string_reversefind("abcabc", 'a'), 3);
    EXPECT_EQ(limited_string_length("abc", 10), 3);
    for (char c : std::string("azAZ09-.")) EXPECT_TRUE(is_domain_char(c)) << c;
    for (char c : std::string("_:/[] @\x80")) EXPECT_FALSE(is_domain_char(c)) << c;
    for (char c : std::string("afAF09:[]")) EXPECT_TRUE(is_ipv6_char(c)) << c;
    for (char c : std::string("gG.-_/ ")) EXPECT_FALSE(is_ipv6_char(c)) << c;
}

TEST(WideTextTest, ConversionsKeepSignedBytesAndMaskNonPrintables) {
    std::wstring wide = L"stale";
    ascii_to_widechar(wide, nullptr);
    EXPECT_TRUE(wide.empty());
    ascii_to_widechar(wide, "a\xFF");
    EXPECT_EQ(wide, (std::wstring{L'a', static_cast<wchar_t>(-1)}));

    std::string narrow;
    const wchar_t text[] = {L'o', 0x7F, L'k', 0x100, 0x1F, -5, L'~', 0};
    widechar_to_ascii(narrow, text);
    EXPECT_EQ(narrow, "o?k???~");
}
