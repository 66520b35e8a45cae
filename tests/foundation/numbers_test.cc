#include "qorbasic/numbers.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

TEST(ParseDecimalTest, AcceptsWholeTextsInRangeAndZeroesOutputOtherwise) {
    struct Case {
        const char* text;
        bool ok32;
        int value32;
        bool ok64;
        long value64;
    };
    const long max64 = 9223372036854775807L;
    const Case cases[] = {
        {"", false, 0, false, 0},
        {"  42", true, 42, true, 42},
        {"42 ", false, 0, false, 0},
        {"42x", false, 0, false, 0},
        {"+7", true, 7, true, 7},
        {"2147483647", true, 2147483647, true, 2147483647L},
        {"2147483648", false, 0, true, 2147483648L},
        {"-2147483648", true, -2147483647 - 1, true, -2147483648L},
        {"-2147483649", false, 0, true, -2147483649L},
        {"0x10", false, 0, false, 0},
        {"-", false, 0, false, 0},
        {"9223372036854775808", false, 0, true, max64},  // clamped, not failed
        {"-9223372036854775809", false, 0, true, -max64 - 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        int out32 = 12345;
        long out64 = 12345;
        EXPECT_EQ(parse_decimal32(out32, c.text), c.ok32);
        EXPECT_EQ(out32, c.value32);
        EXPECT_EQ(parse_decimal64(out64, c.text), c.ok64);
        EXPECT_EQ(out64, c.value64);
    }
}

TEST(ParseDecimalTest, ParsingLeavesErrnoAsItWas) {
    errno = EACCES;
    long out;
    parse_decimal64(out, "99999999999999999999");
    EXPECT_EQ(errno, EACCES);
}

TEST(ParseHexTest, SignedConversionClampsAndWrapsNegatives) {
    struct Case {
        const char* text;
        bool ok64;
        unsigned long value64;
        bool ok32;
        unsigned int value32;
    };
    const Case cases[] = {
        {"10", true, 16, true, 16},
        {"0x10", true, 16, true, 16},
        {"FFFFFFFF", true, 0xFFFFFFFFul, true, 0xFFFFFFFFu},
        {"100000000", true, 0x100000000ul, false, 0},
        {"ffffffffffffffff", true, 0x7FFFFFFFFFFFFFFFul, false, 0},
        {"-1", true, 0xFFFFFFFFFFFFFFFFul, false, 0},
        {"", false, 0, false, 0},
        {"1g", false, 0, false, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        unsigned long out64 = 777;
        unsigned int out32 = 777;
        EXPECT_EQ(parse_hex64(out64, c.text), c.ok64);
        EXPECT_EQ(out64, c.value64);
        EXPECT_EQ(parse_hex32(out32, c.text), c.ok32);
        EXPECT_EQ(out32, c.value32);
    }
}

TEST(ParseBoolTest, AcceptsEightWordsInAnyCaseAndNothingElse) {
    for (const char* yes : {"true", "TRUE", "Yes", "1", "oN"}) {
        bool out = false;
        EXPECT_TRUE(parse_bool(out, yes) && out) << yes;
    }
    for (const char* no : {"false", "no", "0", "Off"}) {
        bool out = true;
        EXPECT_TRUE(parse_bool(out, no) && !out) << no;
    }
    for (const char* bad : {" true", "true ", "2", "", "y", "truth"}) {
        bool out = true;
        EXPECT_FALSE(parse_bool(out, bad)) << bad;
        EXPECT_FALSE(out) << bad;
    }
}

TEST(RenderTest, RenderersReplaceOutputWithFixedWidthHex) {
    std::string out = "stale text";
    EXPECT_EQ(render_hex8(out, 0x0A, true), "0a");
    EXPECT_EQ(render_hex8(out, 0x0A, false), "0A");
    EXPECT_EQ(render_hex16(out, 0xBEEF, true), "beef");
    EXPECT_EQ(render_hex32(out, 1, false), "00000001");
    EXPECT_EQ(render_hex64(out, 0xFEDCBA9876543210ul, false), "FEDCBA9876543210");
    EXPECT_EQ(render_decimal32(out, -2147483647 - 1), "-2147483648");
    EXPECT_EQ(render_decimal64(out, -9223372036854775807L - 1), "-9223372036854775808");
    EXPECT_EQ(render_bool(out, false), "false");
}

TEST(RenderTest, RenderBytesAppendsWithOptionalSeparator) {
    const char bytes[] = {'\x01', '\xAB'};
    std::string out = "mac=";
    render_bytes(out, bytes, 2, false, ':');
    EXPECT_EQ(out, "mac=01:AB");
    render_bytes(out, bytes, 2, true, '\0');
    render_bytes(out, bytes, 0, true, ':');
    render_bytes(out, bytes, -3, true, ':');
    EXPECT_EQ(out, "mac=01:AB01ab");
}

TEST(DigitTest, SingleDigitConversionsRejectOutOfRange) {
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
