#include "qorbasic/url.h"

#include <gtest/gtest.h>

#include <string>

TEST(ParseUrlTest, SplitsSchemeHostPortAndPath) {
    struct Case {
        const char* url;
        bool ok;
        const char* scheme;
        const char* host;
        const char* port;
        const char* path;
    };
    const Case cases[] = {
        {"http://example/a/b", true, "http://", "example", "", "/a/b"},
        {"http://example", true, "http://", "example", "", ""},
        {"http://example:8080", true, "http://", "example", "8080", ""},
        {"http://example:8080/x", true, "http://", "example", "8080", "/x"},
        {"https://[fe80::1]:8443/x", true, "https://", "fe80::1", "8443", "/x"},
        {"https://[fe80::1]", true, "https://", "fe80::1", "", ""},
        {"http://1:2:3/x", true, "http://", "1:2", "3", "/x"},
        {"http://fe80::1", true, "http://", "fe80:", "1", ""},
        // The ninth colon lies behind the eighth, which starts the port.
        {"x://1:2:3:4:5:6:7:8:9", true, "x://", "1:2:3:4:5:6:7:8", "9", ""},
        {"http://host:80x/y", true, "http://", "host", "80", "x/y"},
        {"http://host:/y", true, "http://", "host", "", "/y"},
        {"any+thing://h?q", false, "any+thing://", "h?q", "", ""},
        {"http://[fe80::1", false, "http://", "", "", ""},
        {"http://[]", false, "http://", "", "", ""},
        {"http://[xy]", false, "http://", "xy", "", ""},
        {"example", false, "", "", "", ""},
        {"http:/x", false, "", "", "", ""},
        {"http://", false, "http://", "", "", ""},
        {"http://:80", false, "http://", "", "", ""},
        {"http://a_b/x", false, "http://", "a_b", "", ""},
        {"http://host/a:b", false, "http://", "host/a", "", ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.url);
        std::string scheme = "s", host = "h", port = "p", path = "x";
        EXPECT_EQ(parse_url(scheme, host, port, path, c.url), c.ok);
        EXPECT_EQ(scheme, c.scheme);
        EXPECT_EQ(host, c.host);
        EXPECT_EQ(port, c.port);
        EXPECT_EQ(path, c.path);
    }
}

TEST(ParseUrlTest, AcceptsOneOfItsOutputsAsInput) {
    std::string url = "http://example:80/a", scheme, port, path;
    EXPECT_TRUE(parse_url(scheme, url, port, path, url));
    EXPECT_EQ(url, "example");
    EXPECT_EQ(path, "/a");
}

TEST(MakeUrlTest, BracketsHostsWithColonsAndRejectsMissingParts) {
    struct Case {
        const char* scheme;
        const char* host;
        const char* port;
        const char* path;
        bool ok;
        const char* url;
    };
    const Case cases[] = {
        {"http://", "example", "80", "/a", true, "http://example:80/a"},
        {"http://", "::1", "80", "/a", true, "http://[::1]:80/a"},
        {"http://", "example", "", "", true, "http://example"},
        {"http://", "", "80", "/a", false, "unchanged"},
        {"", "example", "80", "/a", false, "unchanged"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.url);
        std::string url = "unchanged";
        EXPECT_EQ(make_url(c.scheme, c.host, c.port, c.path, url), c.ok);
        EXPECT_EQ(url, c.url);
    }
}

TEST(PercentCodingTest, EncodeKeepsOnlyLettersAndDigits) {
    struct Case {
        std::string text;
        const char* encoded;
    };
    const Case cases[] = {
        {"a b", "a%20b"},
        {"A-Z", "A%2DZ"},
        {"~", "%7E"},
        {"\xFF", "%FF"},
        {"._", "%2E%5F"},
        {"azAZ09", "azAZ09"},
        {std::string(1, '\0'), "%00"},
        {"", ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.encoded);
        std::string out = "stale";
        EXPECT_EQ(percent_encode(out, c.text), c.encoded);
    }
}

TEST(PercentCodingTest, DecodeToleratesMalformedInput) {
    struct Case {
        const char* text;
        std::string decoded;
    };
    const Case cases[] = {
        {"a%20b", "a b"},
        {"%7e", "~"},
        {"%7E", "~"},
        {"a+b", "a+b"},
        {"abc%4", "abc"},
        {"abc%", "abc"},
        {"%zz", std::string(1, '\0')},
        {"%g1", "\x01"},
        {"%%41", std::string("\x04") + "1"},
        {"", ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        std::string out = "stale";
        EXPECT_EQ(percent_decode(out, c.text), c.decoded);
    }
}

TEST(PercentCodingTest, DecodeOfEncodeGivesEveryByteBack) {
    std::string all;
    for (int c = 0; c < 256; ++c) all.push_back(static_cast<char>(c));
    std::string encoded, decoded;
    percent_encode(encoded, all);
    EXPECT_EQ(encoded.size(), 62u + 194u * 3u);
    EXPECT_EQ(percent_decode(decoded, encoded), all);
    // In place, through the output itself.
    percent_encode(encoded, encoded);
    percent_decode(encoded, encoded);
    percent_decode(encoded, encoded);
    EXPECT_EQ(encoded, all);
}

TEST(SplitStringPairTest, CutsAtFirstSeparator) {
    struct Case {
        const char* text;
        bool ok;
        const char* left;
        const char* right;
    };
    const Case cases[] = {
        {"key=value", true, "key", "value"},
        {"a=b=c", true, "a", "b=c"},
        {"key", false, "key", ""},
        {"=x", true, "", "x"},
        {"x=", true, "x", ""},
        {"", false, "", ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        std::string left = "L", right = "R";
        EXPECT_EQ(split_string_pair(left, right, c.text, '='), c.ok);
        EXPECT_EQ(left, c.left);
        EXPECT_EQ(right, c.right);
    }
}
