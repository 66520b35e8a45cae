// Number and bool text: the parsers and the renderers.
#include "qorbasic/numbers.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <string>
#include <tuple>
#include <vector>

TEST(ParseDecimalTest, AcceptsWholeTextsInRangeZeroesOutputOtherwiseAndKeepsErrno) {
    // texts, ok32, value32, ok64, value64
    // clang-format off
    const std::tuple<std::vector<const char*>, bool, int, bool, long> cases[] = {
        {{"", "42 ", "42x", "0x10", "-"}, false, 0, false, 0},
        {{"  42"}, true, 42, true, 42},      {{"+7"}, true, 7, true, 7},
        {{"2147483647"}, true, 2147483647, true, 2147483647L},
        {{"2147483648"}, false, 0, true, 2147483648L},
        {{"-2147483649"}, false, 0, true, -2147483649L},
        {{"-2147483648"}, true, -2147483647 - 1, true, -2147483648L},
        {{"9223372036854775808"}, false, 0, true, LONG_MAX},  // clamped, not failed
        {{"-9223372036854775809"}, false, 0, true, -LONG_MAX - 1}};
    // clang-format on
    errno = EACCES;
    for (const auto& [texts, ok32, value32, ok64, value64] : cases) {
        for (const char* text : texts) {
            SCOPED_TRACE(text);
            int out32 = 12345;
            long out64 = 12345;
            EXPECT_EQ(parse_decimal32(out32, text), ok32);
            EXPECT_EQ(out32, value32);
            EXPECT_EQ(parse_decimal64(out64, text), ok64);
            EXPECT_EQ(out64, value64);
        }
    }
    EXPECT_EQ(errno, EACCES);  // even after out-of-range texts
}

TEST(ParseHexTest, SignedConversionClampsAndWrapsNegatives) {
    // text, ok64, value64, ok32, value32
    // clang-format off
    const std::tuple<const char*, bool, unsigned long, bool, unsigned int> cases[] = {
        {"10", true, 16, true, 16},  {"0x10", true, 16, true, 16},  {"", false, 0, false, 0},
        {"1g", false, 0, false, 0},  {"FFFFFFFF", true, 0xFFFFFFFFul, true, 0xFFFFFFFFu},
        {"100000000", true, 0x100000000ul, false, 0},  {"-1", true, 0xFFFFFFFFFFFFFFFFul, false, 0},
        {"ffffffffffffffff", true, 0x7FFFFFFFFFFFFFFFul, false, 0}};
    // clang-format on
    for (const auto& [text, ok64, value64, ok32, value32] : cases) {
        SCOPED_TRACE(text);
        unsigned long out64 = 777;
        unsigned int out32 = 777;
        EXPECT_EQ(parse_hex64(out64, text), ok64);
        EXPECT_EQ(out64, value64);
        EXPECT_EQ(parse_hex32(out32, text), ok32);
        EXPECT_EQ(out32, value32);
    }
}

TEST(ParseBoolTest, AcceptsEightWordsInAnyCaseAndNothingElse) {
    // texts, accepted, value
    const std::tuple<std::vector<const char*>, bool, bool> cases[] = {
        {{"true", "TRUE", "Yes", "1", "oN"}, true, true},
        {{"false", "no", "0", "Off"}, true, false},
        {{" true", "true ", "2", "", "y", "truth"}, false, false}};
    for (const auto& [texts, ok, value] : cases) {
        for (const char* text : texts) {
            bool out = !value;
            EXPECT_EQ(parse_bool(out, text), ok) << text;
            EXPECT_EQ(out, value) << text;
        }
    }
}

TEST(RenderTest, RenderersReplaceOutputRenderBytesAppendsAndDigitsRejectOutOfRange) {
    std::string out = "stale text";
    EXPECT_EQ(render_hex8(out, 0x0A, true), "0a");
    EXPECT_EQ(render_hex8(out, 0x0A, false), "0A");
    EXPECT_EQ(render_hex32(out, 1, false), "00000001");
    EXPECT_EQ(render_hex64(out, 0xFEDCBA9876543210ul, false), "FEDCBA9876543210");
    EXPECT_EQ(render_decimal32(out, -2147483647 - 1), "-2147483648");
    EXPECT_EQ(render_decimal64(out, -9223372036854775807L - 1), "-9223372036854775808");
    EXPECT_EQ(render_bool(out, false), "false");

    const char bytes[] = {'\x01', '\xAB'};  // render_bytes appends
    out = "mac=";
    render_bytes(out, bytes, 2, false, ':');
    render_bytes(out, bytes, 2, true, '\0');
    render_bytes(out, bytes, 0, true, ':');
    render_bytes(out, bytes, -3, true, ':');
    EXPECT_EQ(out, "mac=01:AB01ab");

    // Single digits: out-of-range values give -1 and '?'.
    const char digits[] = "0123456789abcdef";
    for (int i = 0; i < 16; ++i) {
        EXPECT_EQ(hex_to_decimal(digits[i]), i);
        EXPECT_EQ(decimal_to_hex(i, true), digits[i]);
    }
    EXPECT_EQ(hex_to_decimal('F'), 15);
    EXPECT_EQ(decimal_to_hex(11, false), 'B');
    for (char c : std::string("gG /:@`\xFF")) EXPECT_EQ(hex_to_decimal(c), -1) << c;
    EXPECT_EQ(decimal_to_hex(16, true), '?');
    EXPECT_EQ(decimal_to_hex(-1, false), '?');
}
