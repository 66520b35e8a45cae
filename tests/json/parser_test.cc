// JsonUtil: the accepted grammar, the hash form, limits and ownership at failure.
#include <gtest/gtest.h>

#include <memory>
#include <sstream>

#include "qorbasic/json.h"

namespace {

const char* const kNull = nullptr;  // marks a text that must not parse

std::string parsed(const std::string& text) {
    std::unique_ptr<JsonNode> node(JsonUtil::parse(text));
    return node ? node->toString() : "<null>";
}

TEST(JsonParser, AcceptsAndRefusesTheExampleTexts) {
    struct Case {
        std::string text;
        const char* result;  // toString of the tree, or kNull
    };
    const Case cases[] = {
        {"", kNull},
        {" \t\n\v\f\r", kNull},
        {"{}", "{}"},
        {"{ }", "{}"},
        {"[]", "[]"},
        {"[ ]", "[]"},
        {R"({"a":1,})", R"({"a":1})"},
        {"[1,]", kNull},
        {"[,1]", kNull},
        {"{,}", kNull},
        {R"({"a":1,,"b":2})", kNull},
        {R"({"a" junk : 1})", R"({"a":1})"},
        {R"({"a" , "b":1})", R"({"a":1})"},
        {R"({"a" 1})", kNull},
        {"{a:1}", kNull},
        {"{'a':1}", kNull},
        {R"({"a":1,"a":2})", R"({"a":2})"},
        {R"({"":1})", R"({"":1})"},
        {"{\"a\":1} \n", R"({"a":1})"},
        {R"({"a":1}x)", kNull},
        {"12x", kNull},
        {"truex", kNull},
        {"[]]", kNull},
        {"{}}", kNull},
        {"12 x", kNull},
        {"[[1]", kNull},
        {R"({"a":{"b":1})", kNull},
        {R"({"a":[1 2,"b":3})", kNull},
        {"[1 2]", kNull},
        {R"({"a":1 "b":2})", kNull},
        {R"({"a":})", kNull},
        {"true", "true"},
        {"false", "false"},
        {"null", "null"},
        {" null ", "null"},
        {"True", kNull},
        {"NULL", kNull},
        {"nul", kNull},
        {"1.2.3", kNull},
        {"--1", kNull},
        {"- 1", kNull},
        {"1e", kNull},
        {"0x", kNull},
        {"[1] // c", kNull},
        {"/* c */ 1", kNull},
        {"\xEF\xBB\xBF{}", kNull},
        {"\"a\nb\"", "\"a\\nb\""},
        {"[ 1 , \"x\" , { } , [ ] ]", R"([1,"x",{},[]])"},
        {"{\"a\"\n:\n[\ttrue ,false,null ]\n}", R"({"a":[true,false,null]})"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(parsed(c.text), c.result ? c.result : "<null>") << "text: " << c.text;
    }
}

TEST(JsonParser, NumbersKeepExactlyTheBytesStrtoldTakes) {
    const char* const numbers[] = {
        "12",
        "-12",
        "+1",
        "007",
        "1.5",
        ".5",
        "5.",
        "-.5",
        "1e5",
        "1E+5",
        "2.5e-3",
        "1.e5",
        "0x1F",
        "0X1f",
        "0x1p3",
        "-0x.8p1",
        "inf",
        "INF",
        "Infinity",
        "-inf",
        "nan",
        "NaN",
        "nan(x)",
        "-nan(ab_1)",
        "123456789012345678901234567890",
        "1234567890123456789012345678901234567890123456789012345678901234567890123456789012345"
        "678901234567890123456789012345678901234567890123456789012345",
    };
    for (const char* n : numbers) {
        EXPECT_EQ(parsed(n), n);
        EXPECT_EQ(parsed(std::string("[") + n + "]"), std::string("[") + n + "]");
        EXPECT_EQ(parsed(std::string("{\"k\":") + n + "}"), std::string("{\"k\":") + n + "}");
    }
    // strtold stops early; the rest must then fail the value.
    const char* const refused[] = {"1e", "1e+",  "0x",   "0xg",  ".",       "-",   "+",
                                   "+.", "1..2", "nan(", "infx", "1.5e5.5", "0x1p"};
    for (const char* n : refused) EXPECT_EQ(parsed(n), "<null>") << n;
    EXPECT_EQ(parsed("[1e,2]"), "<null>");
    EXPECT_EQ(parsed(R"({"k":nan})"), R"({"k":nan})");
}

TEST(JsonParser, ANumberEndsAtTheLimitEvenWhenMoreDigitsFollow) {
    const char text[] = "[12345]6789";
    std::unique_ptr<JsonNode> node(JsonUtil::limited_parse(text, 7));
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->toString(), "[12345]");
    const char bare[] = "12345e7";
    node.reset(JsonUtil::limited_parse(bare, 3));
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->toString(), "123");
    node.reset(JsonUtil::limited_parse("0x1f", 3));
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->toString(), "0x1");
    unsigned int pos = 0;
    node.reset(JsonUtil::parseNumLiteral("nan(abc)", pos, 6));
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->toString(), "nan") << "an unclosed nan( is not taken";
    EXPECT_EQ(pos, 3u);
}

TEST(JsonParser, StringEscapesDecodeAndBadOnesFail) {
    struct Case {
        std::string text;
        const char* bytes;  // the decoded string, or kNull
    };
    const Case cases[] = {
        {R"("\u0041")", "A"},
        {R"("\u00e9")", "\xC3\xA9"},
        {R"("\u20ac")", "\xE2\x82\xAC"},
        {R"("\ud83d")", "\xED\xA0\xBD"},
        {R"("\ud83d\ude00")", "\xED\xA0\xBD\xED\xB8\x80"},
        {R"("\u12G4")", "\x12"},
        {R"("\u 41x")", "A"},
        {R"("\u0x41")", "A"},
        {R"("\"\/\\\b\f\n\r\t")", "\"/\\\b\f\n\r\t"},
        {R"("\u0000")", kNull},
        {R"("\uZZZZ")", kNull},
        {R"("\u12")", kNull},
        {R"("a\xb")", kNull},
        {R"("\a")", kNull},
        {R"("abc)", kNull},
        {R"("abc\")", kNull},
        {R"("\u-001")", ""},
        {"\"tab\there\x01\xff\"", "tab\there\x01\xff"},
    };
    for (const Case& c : cases) {
        std::unique_ptr<JsonNode> node(JsonUtil::parse(c.text));
        if (!c.bytes) {
            EXPECT_EQ(node, nullptr) << c.text;
            continue;
        }
        ASSERT_NE(node, nullptr) << c.text;
        ASSERT_EQ(node->getType(), JSON_STRING) << c.text;
        EXPECT_EQ(node->getValue(), c.bytes) << c.text;
    }
}

TEST(JsonParser, NulBytesInsideTheLimitAreText) {
    const std::string inString("\"a\0b\"", 5);
    std::unique_ptr<JsonNode> node(JsonUtil::parse(inString));
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->getValue(), std::string("a\0b", 3));
    EXPECT_EQ(JsonUtil::parse(std::string("[1,\0 2]", 7)), nullptr);
    EXPECT_EQ(JsonUtil::parse(std::string("1\0", 2)), nullptr);
}

TEST(JsonParser, LimitEndsTheText) {
    std::unique_ptr<JsonNode> node(JsonUtil::limited_parse("[1]]", 3));
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->toString(), "[1]");
    EXPECT_EQ(JsonUtil::limited_parse("[1]", 0), nullptr);
    EXPECT_EQ(JsonUtil::limited_parse("\"ab\"", 3), nullptr);
    EXPECT_EQ(JsonUtil::limited_parse("true", 3), nullptr);
    EXPECT_EQ(JsonUtil::limited_parse("\"\\u0041\"", 7), nullptr);
    JsonHash hash;
    EXPECT_FALSE(JsonUtil::limited_parse("{}", hash, 0));
    EXPECT_TRUE(JsonUtil::limited_parse("{\"a\":1}}", hash, 7));
    EXPECT_EQ(hash.getIntValue("a"), 1);
}

TEST(JsonParser, HashFormSkipsLeadingTextAndKeepsCompleteMembers) {
    JsonHash hash;
    EXPECT_TRUE(JsonUtil::parse("junk {\"a\":1}", hash));
    EXPECT_EQ(hash.toString(), R"({"a":1})");

    JsonHash merged;
    merged.add("old", 1L).add("a", 0L);
    EXPECT_TRUE(JsonUtil::parse(R"({"a":2,"b":3})", merged));
    EXPECT_EQ(merged.toString(), R"({"a":2,"b":3,"old":1})");

    JsonHash trailing;
    EXPECT_FALSE(JsonUtil::parse(R"({"a":1}x)", trailing));
    EXPECT_EQ(trailing.getIntValue("a"), 1);

    JsonHash inArray;
    EXPECT_FALSE(JsonUtil::parse(R"([{"a":1}])", inArray));
    EXPECT_EQ(inArray.getIntValue("a"), 1);

    JsonHash partial;
    EXPECT_FALSE(JsonUtil::parse(R"({"a":1,"b":[1,2,"c":3})", partial));
    EXPECT_EQ(partial.toString(), R"({"a":1})");

    JsonHash untouched;
    untouched.add("keep", 1L);
    EXPECT_FALSE(JsonUtil::parse("[1,2]", untouched));
    EXPECT_EQ(untouched.toString(), R"({"keep":1})");
    EXPECT_TRUE(JsonUtil::parse("{} \n", untouched));
}

TEST(JsonParser, ParseObjectAndParseArrayCheckTheType) {
    EXPECT_EQ(JsonUtil::parseObject("[1]"), nullptr);
    EXPECT_EQ(JsonUtil::parseArray("{}"), nullptr);
    EXPECT_EQ(JsonUtil::parseArray("1"), nullptr);
    std::unique_ptr<JsonHash> hash(JsonUtil::parseObject(R"({"a":[]})"));
    ASSERT_NE(hash, nullptr);
    EXPECT_EQ(hash->size(), 1u);
    std::unique_ptr<JsonArray> array(JsonUtil::parseArray("[{},[]]"));
    ASSERT_NE(array, nullptr);
    EXPECT_EQ(array->size(), 2u);
}

TEST(JsonParser, NestingDeeperThanTheLimitFailsCleanly) {
    const unsigned int limit = JsonUtil::MAX_DEPTH;
    std::string deepest = std::string(limit, '[') + std::string(limit, ']');
    std::unique_ptr<JsonNode> node(JsonUtil::parse(deepest));
    EXPECT_NE(node, nullptr) << "the limit itself is allowed";
    EXPECT_EQ(JsonUtil::parse("[" + deepest + "]"), nullptr);
    std::string objects;
    for (unsigned int i = 0; i <= limit; ++i) objects += "{\"k\":";
    objects += "1" + std::string(limit + 1, '}');
    EXPECT_EQ(JsonUtil::parse(objects), nullptr);
    JsonHash hash;
    EXPECT_FALSE(JsonUtil::parse(objects, hash));
    EXPECT_EQ(JsonUtil::parse(std::string(100000, '[')), nullptr);
    EXPECT_EQ(JsonUtil::parse(std::string(100000, '{')), nullptr);
}

TEST(JsonParser, FailuresLeaveNothingBehind) {
    // Under the sanitizer build a leak in any of these fails the run.
    const char* const texts[] = {
        R"([1,{"a":[1,2,{"b":"x"}],"c":)",
        R"({"a":[1,2,3],"b":{"c":[{"d":1}]},"e":[1,2,})",
        R"([[[[["deep",1,2,3]]]],)",
        R"({"a":"b","c":"\uZZZZ"})",
        R"(["a","b","c",tru])",
    };
    for (const char* text : texts) {
        EXPECT_EQ(JsonUtil::parse(text), nullptr) << text;
        JsonHash hash;
        JsonUtil::parse(text, hash);
    }
}

TEST(JsonParser, BuildingBlocksMoveThePositionAsDocumented) {
    const std::string text = "  {\"k\" x: 12 , \"z\":true}";
    const char* t = text.c_str();
    unsigned int limit = text.size(), pos = 0;
    JsonUtil::skipWhiteSpace(t, pos, limit);
    EXPECT_EQ(pos, 2u);
    unsigned int colon = pos;
    EXPECT_TRUE(JsonUtil::findToken(':', colon, t, limit));
    EXPECT_EQ(t[colon], ':');
    unsigned int none = pos;
    EXPECT_FALSE(JsonUtil::findToken('#', none, t, limit));
    EXPECT_EQ(none, pos);
    EXPECT_FALSE(JsonUtil::findToken('{', none, t, 0));
    JsonHash hash;
    ASSERT_TRUE(JsonUtil::parseValueList(t, pos, hash, limit));
    EXPECT_EQ(t[pos], '}');
    EXPECT_EQ(hash.toString(), R"({"k":12,"z":true})");

    pos = 1;
    JsonHash pair;
    ASSERT_TRUE(JsonUtil::parseNameValuePair("{\"a\":1,\"b\":2}", pos, pair, 13));
    EXPECT_EQ(pos, 6u);
    EXPECT_EQ(pair.toString(), R"({"a":1})");
    pos = 1;
    EXPECT_TRUE(JsonUtil::parseNameValuePair("{ }", pos, pair, 3));
    EXPECT_EQ(pos, 2u);

    pos = 0;
    std::ostringstream key;
    ASSERT_TRUE(JsonUtil::parseStringValue("\"a\\tb\"rest", key, pos, 10));
    EXPECT_EQ(key.str(), "a\tb");
    EXPECT_EQ(pos, 6u);
    pos = 0;
    std::unique_ptr<JsonNode> s(JsonUtil::parseStringValue("\"x\"", pos, 3));
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->getValue(), "x");
    pos = 0;
    std::unique_ptr<JsonNode> a(JsonUtil::parseArrayValue("[1, 2]x", pos, 7));
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(pos, 6u);
    pos = 0;
    std::unique_ptr<JsonNode> n(JsonUtil::parseNumLiteral("-1.5e3,", pos, 7));
    ASSERT_NE(n, nullptr);
    EXPECT_EQ(n->getValue(), "-1.5e3");
    EXPECT_EQ(pos, 6u);
    pos = 0;
    EXPECT_EQ(JsonUtil::parseNumLiteral("x", pos, 1), nullptr);
    EXPECT_EQ(pos, 0u);
    bool value = true;
    pos = 0;
    EXPECT_TRUE(JsonUtil::parseBoolLiteral("false", pos, value, 5));
    EXPECT_FALSE(value);
    EXPECT_EQ(pos, 5u);
    pos = 0;
    value = true;
    EXPECT_FALSE(JsonUtil::parseBoolLiteral("fals", pos, value, 4));
    EXPECT_TRUE(value);
    EXPECT_EQ(pos, 0u);
    pos = 0;
    EXPECT_TRUE(JsonUtil::parseNullLiteral("nullx", pos, 5));
    EXPECT_EQ(pos, 4u);
    pos = 0;
    EXPECT_FALSE(JsonUtil::parseNullLiteral("null", pos, 3));
}

TEST(JsonParser, UnicodeHelpersFollowStrtolAndUtf8) {
    EXPECT_EQ(JsonUtil::parseUnicode("0041"), 0x41u);
    EXPECT_EQ(JsonUtil::parseUnicode("FFFF"), 0xFFFFu);
    EXPECT_EQ(JsonUtil::parseUnicode("12G4"), 0x12u);
    EXPECT_EQ(JsonUtil::parseUnicode("ZZZZ"), 0u);
    EXPECT_EQ(JsonUtil::parseUnicode("+7f "), 0x7Fu);
    struct Case {
        unsigned int codepoint;
        const char* bytes;
    };
    const Case cases[] = {{0x41, "A"},
                          {0x7F, "\x7F"},
                          {0x80, "\xC2\x80"},
                          {0x7FF, "\xDF\xBF"},
                          {0x800, "\xE0\xA0\x80"},
                          {0xFFFF, "\xEF\xBF\xBF"},
                          {0x10000, "\xF0\x90\x80\x80"},
                          {0x10FFFF, "\xF4\x8F\xBF\xBF"},
                          {0x110000, ""},
                          {0xFFFFFFFF, ""}};
    for (const Case& c : cases) {
        std::ostringstream out;
        JsonUtil::writeUtf8(out, c.codepoint);
        EXPECT_EQ(out.str(), c.bytes) << std::hex << c.codepoint;
    }
}

TEST(JsonParser, WrittenTextParsesBackToAnEqualTree) {
    const char* const texts[] = {
        R"({"k":nan,"s":"\u0001\"\\/\n","n":[+1,007,1E+5,0x1p3,-inf],"e":{},"a":[]})",
        "\"\\u0022\\u005c\"",
        R"({"a" junk : [true,false,null,{"b":{"c":[[[]]]}}],})",
    };
    for (const char* text : texts) {
        std::unique_ptr<JsonNode> first(JsonUtil::parse(text));
        ASSERT_NE(first, nullptr) << text;
        std::unique_ptr<JsonNode> second(JsonUtil::parse(first->toString()));
        ASSERT_NE(second, nullptr) << first->toString();
        EXPECT_EQ(*first, *second);
        EXPECT_EQ(second->toString(), first->toString());
    }
}

}  // namespace
