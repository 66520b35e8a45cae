// Scalar nodes, casts, numeric reads and the writer's escapes.
#include <gtest/gtest.h>

#include <climits>
#include <memory>
#include <sstream>
#include <tuple>
#include <vector>

#include "qorbasic/json.h"

namespace {

std::string written(const JsonNode& node) {
    std::ostringstream out;
    node.serialize(out);
    return out.str();
}

TEST(JsonWriter, EscapesExactlyTheTableBytesAndNothingElse) {
    std::vector<std::pair<std::string, std::string>> cases = {
        {"\b", "\\b"}, {"\t", "\\t"},  {"\n", "\\n"},  {"\f", "\\f"},
        {"\r", "\\r"}, {"\"", "\\\""}, {"\\", "\\\\"}, {"a\tb\"c\\d/e", "a\\tb\\\"c\\\\d/e"}};
    // Every other byte is written as it is: other controls, NUL, UTF-8 or not.
    const std::string unchanged[] = {"/",        "\x01", "\x1f", "\x0b", std::string(1, '\0'),
                                     "\xc3\xa9", "\xff", "plain"};
    for (const std::string& text : unchanged) cases.push_back({text, text});
    for (const auto& c : cases) {
        std::ostringstream bare, quoted;
        JsonUtil::encodeString(c.first, bare, false);
        JsonUtil::encodeString(c.first, quoted, true);
        EXPECT_EQ(bare.str(), c.second);
        EXPECT_EQ(quoted.str(), "\"" + c.second + "\"");
        JsonString node(c.first);
        EXPECT_EQ(node.toString(), "\"" + c.second + "\"");
        EXPECT_EQ(written(node), node.toString());
        EXPECT_EQ(node.getValue(), c.first) << "getValue gives the plain text";
    }
}

TEST(JsonWriter, WritesNestedContainersCompactInKeyOrder) {
    JsonHash hash;
    JsonArray* list = new JsonArray;
    list->push_back(new JsonNum(1L)).push_back(new JsonBool(true)).push_back(new JsonNull);
    list->push_back(std::string("x\ny"));
    hash.add("b", list);
    hash.add("a", new JsonHash);
    const std::string expected = R"({"a":{},"b":[1,true,null,"x\ny"]})";
    EXPECT_EQ(hash.toString(), expected);
    EXPECT_EQ(written(hash), expected);
}

TEST(JsonScalars, EachKindHasItsTypeTruthinessTextAndEqualClones) {
    // The node, getType, isTruthy, getValue, and toString which serialize writes too.
    const std::tuple<std::shared_ptr<JsonNode>, JsonType, bool, std::string, std::string> cases[] =
        {
            {std::make_shared<JsonString>(""), JSON_STRING, true, "", "\"\""},
            {std::make_shared<JsonString>(12), JSON_STRING, true, "12", "\"12\""},
            {std::make_shared<JsonNum>("0"), JSON_NUM, true, "0", "0"},
            {std::make_shared<JsonNum>("1.50"), JSON_NUM, true, "1.50", "1.50"},
            {std::make_shared<JsonNum>("x y"), JSON_NUM, true, "x y", "x y"},
            {std::make_shared<JsonNum>(-12L), JSON_NUM, true, "-12", "-12"},
            {std::make_shared<JsonBool>(true), JSON_BOOL, true, "true", "true"},
            {std::make_shared<JsonBool>(false), JSON_BOOL, false, "false", "false"},
            {std::make_shared<JsonNull>(), JSON_NULL, false, "null", "null"},
        };
    for (const auto& [node, type, truthy, value, text] : cases) {
        EXPECT_EQ(node->getType(), type) << text;
        EXPECT_EQ(node->isTruthy(), truthy) << text;
        EXPECT_EQ(node->isNull(), type == JSON_NULL) << text;
        EXPECT_EQ(node->getValue(), value);
        EXPECT_EQ(node->toString(), text);
        EXPECT_EQ(written(*node), text);
        std::unique_ptr<JsonNode> copy(node->clone());
        EXPECT_NE(copy.get(), node.get());
        EXPECT_EQ(*copy, *node) << text;
    }
}

TEST(JsonScalars, EqualityComparesTypeAndText) {
    EXPECT_NE(JsonNum("1"), JsonNum("1.0"));
    EXPECT_NE(JsonNum("1"), JsonNum("+1"));
    EXPECT_EQ(JsonNum("1"), JsonNum(1L));
    EXPECT_NE(JsonNum("1"), JsonString("1"));
    EXPECT_EQ(JsonString("a"), JsonString("a"));
    EXPECT_NE(JsonString("a"), JsonString("b"));
    EXPECT_EQ(JsonBool(true), JsonBool(true));
    EXPECT_NE(JsonBool(true), JsonBool(false));
    EXPECT_EQ(JsonNull(), JsonNull());
    EXPECT_NE(JsonNull(), JsonBool(false));
    EXPECT_EQ(JsonNum("5"), RawJson("5")) << "a scalar compares through a raw value";
    EXPECT_EQ(JsonNull(), RawJson(" null "));
    EXPECT_NE(JsonString("x"), RawJson("x"));
}

template <class T>
std::string assigned(T value) {
    JsonNum n("0");
    n = value;
    return n.getValue();
}

TEST(JsonNum, AssignmentsRenderIntegersAsDigitsAndDoublesWithSixSignificantDigits) {
    EXPECT_EQ(assigned(static_cast<signed char>(65)), "65");
    EXPECT_EQ(assigned(static_cast<signed char>(-1)), "-1");
    EXPECT_EQ(assigned(static_cast<unsigned char>(200)), "200");
    EXPECT_EQ(assigned(static_cast<short>(-300)), "-300");
    EXPECT_EQ(assigned(static_cast<unsigned short>(65535)), "65535");
    EXPECT_EQ(assigned(-5), "-5");
    EXPECT_EQ(assigned(4000000000u), "4000000000");
    EXPECT_EQ(assigned(LONG_MIN), "-9223372036854775808");
    EXPECT_EQ(assigned(ULONG_MAX), "18446744073709551615");
    EXPECT_EQ(assigned(-7LL), "-7");
    EXPECT_EQ(assigned(7ULL), "7");
    EXPECT_EQ(assigned(JsonNum("42")), "42");
    EXPECT_EQ(assigned(0.1), "0.1");
    EXPECT_EQ(assigned(1234567.0), "1.23457e+06");
    JsonNum n("0");
    EXPECT_EQ(&(n = 3), static_cast<JsonNode*>(&n));
}

TEST(JsonNum, IntAndLongReadsAcceptDifferentText) {
    // The text, intValue and longValue; a read that does not convert gives 0 and reports.
    const std::tuple<std::string, int, long> cases[] = {
        {"42", 42, 42},
        {"-7", -7, -7},
        {"  42", 42, 42},
        {"007", 7, 7},
        {"1.5", 1, 0},
        {"1e5", 1, 0},
        {"1.23457e+06", 1, 0},
        {"12abc", 12, 0},
        {"abc", 0, 0},
        {"", 0, 0},
        {"3000000000", -1294967296, 3000000000L},
        {"99999999999999999999", 0, LONG_MAX},
    };
    for (const auto& [text, intValue, longValue] : cases) {
        JsonNum n(text);
        testing::internal::CaptureStderr();
        EXPECT_EQ(n.intValue(), intValue) << text;
        std::string report = testing::internal::GetCapturedStderr();
        if (intValue == 0) {
            EXPECT_EQ(report.rfind("intValue failed: ", 0), 0u) << text << ": " << report;
            EXPECT_EQ(report.find('\n'), std::string::npos) << "no line end";
        } else {
            EXPECT_EQ(report, "") << text;
        }
        testing::internal::CaptureStderr();
        EXPECT_EQ(n.longValue(), longValue) << text;
        report = testing::internal::GetCapturedStderr();
        EXPECT_EQ(report, longValue ? "" : "Could not convert " + text + " to long value\n")
            << text;
    }
}

TEST(JsonCasts, WrongTypeGivesNullAndRawIsLookedThrough) {
    JsonNum num("5");
    EXPECT_EQ(num.asObject(), nullptr);
    EXPECT_EQ(num.asStringValue(), nullptr);
    EXPECT_EQ(num.asNumValue(), &num);
    EXPECT_EQ(num.asLong(), 5);
    const JsonNode& constNode = num;
    EXPECT_EQ(constNode.asNumValue(), &num);
    RawJson five("5");
    ASSERT_NE(five.asNumValue(), nullptr);
    EXPECT_EQ(five.asNumValue(), five.parseNode());
    EXPECT_EQ(five.asInt(), 5);
    EXPECT_EQ(RawJson("x").asNumValue(), nullptr);
    EXPECT_TRUE(JsonBool(true).asBool());
    JsonString s("abc");
    EXPECT_EQ(s.asString(), "abc");
    EXPECT_EQ(s.cast(static_cast<const JsonString*>(nullptr)), &s);
}

}  // namespace
