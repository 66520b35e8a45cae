// URL parsing and making, percent coding and split_string_pair.
#include "qorbasic/url.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>

using namespace std::string_literals;

TEST(UrlTest, ParseSplitsSchemeHostPortAndPathAndMakeBracketsHostsWithColons) {
    // url, ok, "scheme|host|port|path"; the ninth colon of the last but one
    // lies behind the eighth, which starts the port.
    // clang-format off
    const std::tuple<const char*, bool, const char*> cases[] = {
        {"http://example", true, "http://|example||"},
        {"https://[fe80::1]", true, "https://|fe80::1||"},
        {"http://example:8080/x", true, "http://|example|8080|/x"},
        {"https://[fe80::1]:8443/x", true, "https://|fe80::1|8443|/x"},
        {"http://1:2:3/x", true, "http://|1:2|3|/x"}, {"http://fe80::1", true, "http://|fe80:|1|"},
        {"x://1:2:3:4:5:6:7:8:9", true, "x://|1:2:3:4:5:6:7:8|9|"},
        {"http://host:80x/y", true, "http://|host|80|x/y"},
        {"http://host:/y", true, "http://|host||/y"},      {"http://a_b/x", false, "http://|a_b||"},
        {"any+thing://h?q", false, "any+thing://|h?q||"},  {"http://[fe80::1", false, "http://|||"},
        {"http://[]", false, "http://|||"},  {"http://[xy]", false, "http://|xy||"},
        {"example", false, "|||"},           {"http://", false, "http://|||"},
        {"http://:80", false, "http://|||"}, {"http://host/a:b", false, "http://|host/a||"}};
    // clang-format on
    for (const auto& [url, ok, parts] : cases) {
        std::string scheme = "s", host = "h", port = "p", path = "x";
        EXPECT_EQ(parse_url(scheme, host, port, path, url), ok) << url;
        EXPECT_EQ(scheme + "|" + host + "|" + port + "|" + path, parts) << url;
    }
    std::string url = "http://example:80/a", scheme, port, path;  // an output as the input
    EXPECT_TRUE(parse_url(scheme, url, port, path, url));
    EXPECT_EQ(url + "|" + path, "example|/a");

    // make_url: scheme, host, port, path and the url made ("unchanged" where it fails)
    const char* made[][5] = {{"http://", "example", "80", "/a", "http://example:80/a"},
                             {"http://", "::1", "80", "/a", "http://[::1]:80/a"},
                             {"http://", "example", "", "", "http://example"},
                             {"http://", "", "80", "/a", "unchanged"},
                             {"", "example", "80", "/a", "unchanged"}};
    for (const auto& c : made) {
        url = "unchanged";
        EXPECT_EQ(make_url(c[0], c[1], c[2], c[3], url), std::string(c[4]) != "unchanged") << c[4];
        EXPECT_EQ(url, c[4]);
    }
}

TEST(PercentCodingTest, EncodeKeepsOnlyLettersAndDigitsAndDecodeToleratesMalformedInput) {
    const std::pair<std::string, std::string> both_ways[] = {
        {"a b", "a%20b"}, {"A-Z", "A%2DZ"},     {"~", "%7E"},   {"\xFF", "%FF"},
        {"._", "%2E%5F"}, {"azAZ09", "azAZ09"}, {"\0"s, "%00"}, {"", ""}};
    for (const auto& [text, code] : both_ways) {
        std::string out = "stale";
        EXPECT_EQ(percent_encode(out, text), code);
        EXPECT_EQ(percent_decode(out, code), text);
    }
    const std::pair<const char*, std::string> decode_only[] = {
        {"%7e", "~"},   {"a+b", "a+b"},  {"abc%4", "abc"}, {"abc%", "abc"},
        {"%zz", "\0"s}, {"%g1", "\x01"}, {"%%41", "\0041"}};
    for (const auto& [text, plain] : decode_only) {
        std::string out = "stale";
        EXPECT_EQ(percent_decode(out, text), plain) << text;
    }
    // Every byte comes back, also through the output itself; the fuzz target
    // checks the round trip for any text.
    std::string all;
    for (int c = 0; c < 256; ++c) all.push_back(static_cast<char>(c));
    std::string text = all;
    EXPECT_EQ(percent_encode(text, text).size(), 62u + 194u * 3u);
    EXPECT_EQ(percent_decode(text, text), all);
}

TEST(SplitStringPairTest, CutsAtFirstSeparator) {
    // text, ok, "left|right"
    const std::tuple<const char*, bool, const char*> cases[] = {
        {"a=b=c", true, "a|b=c"}, {"key", false, "key|"}, {"=x", true, "|x"},
        {"x=", true, "x|"},       {"", false, "|"},       {"==", true, "|="}};
    for (const auto& [text, ok, parts] : cases) {
        std::string left = "L", right = "R";
        EXPECT_EQ(split_string_pair(left, right, text, '='), ok) << text;
        EXPECT_EQ(left + "|" + right, parts) << text;
    }
}
