// Scalar nodes, casts, numeric reads and the writer's escapes.
#include <gtest/gtest.h>

#include <climits>
#include <memory>
#include <sstream>

#include "qorbasic/json.h"

namespace {

std::string written(const JsonNode& node) {
    std::ostringstream out;
    node.serialize(out);
    return out.str();
}

TEST(JsonWriter, EscapesExactlyTheTableBytesAndNothingElse) {
    struct Case {
        std::string in;
        std::string out;
    };
    const Case cases[] = {
        {"\b", "\\b"},
        {"\t", "\\t"},
        {"\n", "\\n"},
        {"\f", "\\f"},
        {"\r", "\\r"},
        {"\"", "\\\""},
        {"\\", "\\\\"},
        {"/", "/"},
        {"\x01", "\x01"},
        {"\x1f", "\x1f"},
        {"\x0b", "\x0b"},
        {std::string(1, '\0'), std::string(1, '\0')},
        {"\xc3\xa9", "\xc3\xa9"},
        {"\xff", "\xff"},
        {"plain", "plain"},
        {"a\tb\"c\\d/e", "a\\tb\\\"c\\\\d/e"},
    };
    for (const Case& c : cases) {
        std::ostringstream bare, quoted;
        JsonUtil::encodeString(c.in, bare, false);
        JsonUtil::encodeString(c.in, quoted, true);
        EXPECT_EQ(bare.str(), c.out);
        EXPECT_EQ(quoted.str(), "\"" + c.out + "\"");
        JsonString node(c.in);
        EXPECT_EQ(node.toString(), "\"" + c.out + "\"");
        EXPECT_EQ(written(node), node.toString());
        EXPECT_EQ(node.getValue(), c.in) << "getValue gives the plain text";
    }
}

TEST(JsonWriter, WritesScalarsAsTheirText) {
    EXPECT_EQ(JsonNum("007").toString(), "007");
    EXPECT_EQ(JsonNum("abc").toString(), "abc");
    EXPECT_EQ(JsonNum(-12L).toString(), "-12");
    EXPECT_EQ(JsonBool(true).toString(), "true");
    EXPECT_EQ(JsonBool(false).toString(), "false");
    EXPECT_EQ(JsonNull().toString(), "null");
    EXPECT_EQ(JsonString(12).toString(), "\"12\"");
    EXPECT_EQ(written(JsonNum("1E+5")), "1E+5");
    EXPECT_EQ(written(JsonNull()), "null");
    EXPECT_EQ(written(JsonBool(false)), "false");
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
    EXPECT_EQ(written(*list), R"([1,true,null,"x\ny"])");
}

TEST(JsonScalars, TypesTruthinessAndValues) {
    JsonString s("");
    JsonString digits(12);
    JsonNum zero("0");
    JsonBool no(false), yes(true);
    JsonNull null;
    EXPECT_EQ(s.getType(), JSON_STRING);
    EXPECT_EQ(digits.getType(), JSON_STRING);
    EXPECT_EQ(digits.getStr(), "12");
    EXPECT_EQ(zero.getType(), JSON_NUM);
    EXPECT_EQ(no.getType(), JSON_BOOL);
    EXPECT_EQ(null.getType(), JSON_NULL);
    EXPECT_TRUE(s.isTruthy());
    EXPECT_TRUE(zero.isTruthy());
    EXPECT_TRUE(yes.isTruthy());
    EXPECT_FALSE(no.isTruthy());
    EXPECT_FALSE(null.isTruthy());
    EXPECT_TRUE(null.isNull());
    EXPECT_FALSE(zero.isNull());
    EXPECT_EQ(no.getValue(), "false");
    EXPECT_EQ(yes.getValue(), "true");
    EXPECT_EQ(null.getValue(), "null");
    EXPECT_EQ(zero.getValue(), "0");
}

TEST(JsonScalars, BaseDefaultsAnswerForEveryKindOfNode) {
    JsonString s("text");
    const JsonNode& node = s;
    EXPECT_EQ(node.get("x"), nullptr);
    EXPECT_EQ(s.take("x"), nullptr);
    EXPECT_EQ(s.takeHash("x"), nullptr);
    EXPECT_EQ(&node.getStringValue("x"), &JsonUtil::EMPTY_STRING);
    EXPECT_FALSE(node.getBoolValue("x"));
    EXPECT_EQ(node.getIntValue("x"), 0) << "-1 belongs to JsonHash only";
    EXPECT_EQ(node.getLongValue("x"), 0);
    EXPECT_EQ(node.getArrayValue("x"), nullptr);
    EXPECT_EQ(node.getObjectValue("x"), nullptr);
    EXPECT_EQ(node.getValue("x"), "");
    EXPECT_TRUE(node.query([](const std::string&) { return true; }).empty());
    EXPECT_EQ(node.parseNode(), nullptr);
    EXPECT_FALSE(node.isRaw());
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

TEST(JsonNum, AssignmentsRenderEachIntegerTypeAsDigits) {
    JsonNum n("0");
    n = static_cast<signed char>(65);
    EXPECT_EQ(n.getValue(), "65");
    n = static_cast<signed char>(-1);
    EXPECT_EQ(n.getValue(), "-1");
    n = static_cast<unsigned char>(200);
    EXPECT_EQ(n.getValue(), "200");
    n = static_cast<short>(-300);
    EXPECT_EQ(n.getValue(), "-300");
    n = static_cast<unsigned short>(65535);
    EXPECT_EQ(n.getValue(), "65535");
    n = -5;
    EXPECT_EQ(n.getValue(), "-5");
    n = 4000000000u;
    EXPECT_EQ(n.getValue(), "4000000000");
    n = LONG_MIN;
    EXPECT_EQ(n.getValue(), "-9223372036854775808");
    n = ULONG_MAX;
    EXPECT_EQ(n.getValue(), "18446744073709551615");
    n = -7LL;
    EXPECT_EQ(n.getValue(), "-7");
    n = 7ULL;
    EXPECT_EQ(n.getValue(), "7");
    n.set(std::string("x y"));
    EXPECT_EQ(n.toString(), "x y");
    JsonNum other("42");
    n = other;
    EXPECT_EQ(n.getValue(), "42");
    EXPECT_EQ(&(n = 3), static_cast<JsonNode*>(&n));
}

TEST(JsonNum, DoubleAssignmentKeepsSixSignificantDigits) {
    JsonNum n("0");
    n = 0.1;
    EXPECT_EQ(n.getValue(), "0.1");
    n = 1234567.0;
    EXPECT_EQ(n.getValue(), "1.23457e+06");
    EXPECT_EQ(n.intValue(), 1);
    testing::internal::CaptureStderr();
    EXPECT_EQ(n.longValue(), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Could not convert 1.23457e+06 to long value\n");
}

TEST(JsonNum, IntAndLongReadsAcceptDifferentText) {
    struct Case {
        std::string text;
        int intValue;
        bool intReports;
        long longValue;
        bool longReports;
    };
    const Case cases[] = {
        {"42", 42, false, 42, false},
        {"-7", -7, false, -7, false},
        {"  42", 42, false, 42, false},
        {"007", 7, false, 7, false},
        {"1.5", 1, false, 0, true},
        {"1e5", 1, false, 0, true},
        {"12abc", 12, false, 0, true},
        {"abc", 0, true, 0, true},
        {"", 0, true, 0, true},
        {"3000000000", -1294967296, false, 3000000000L, false},
        {"99999999999999999999", 0, true, LONG_MAX, false},
    };
    for (const Case& c : cases) {
        JsonNum n(c.text);
        testing::internal::CaptureStderr();
        EXPECT_EQ(n.intValue(), c.intValue) << c.text;
        std::string report = testing::internal::GetCapturedStderr();
        if (c.intReports) {
            EXPECT_EQ(report.rfind("intValue failed: ", 0), 0u) << c.text << ": " << report;
            EXPECT_EQ(report.find('\n'), std::string::npos) << "no line end";
        } else {
            EXPECT_EQ(report, "") << c.text;
        }
        testing::internal::CaptureStderr();
        EXPECT_EQ(n.longValue(), c.longValue) << c.text;
        report = testing::internal::GetCapturedStderr();
        EXPECT_EQ(report, c.longReports ? "Could not convert " + c.text + " to long value\n" : "")
            << c.text;
    }
}

TEST(JsonCasts, WrongTypeGivesNullAndRawIsLookedThrough) {
    JsonNum num("5");
    EXPECT_EQ(num.asObject(), nullptr);
    EXPECT_EQ(num.asStringValue(), nullptr);
    EXPECT_EQ(num.asNumValue(), &num);
    EXPECT_EQ(num.asInt(), 5);
    EXPECT_EQ(num.asLong(), 5);
    const JsonNode& constNode = num;
    EXPECT_EQ(constNode.asNumValue(), &num);
    EXPECT_EQ(constNode.asArray(), nullptr);

    RawJson five("5");
    ASSERT_NE(five.asNumValue(), nullptr);
    EXPECT_EQ(five.asNumValue(), five.parseNode());
    EXPECT_EQ(five.asInt(), 5);
    RawJson bad("x");
    EXPECT_EQ(bad.asNumValue(), nullptr);
    EXPECT_EQ(bad.asObject(), nullptr);

    JsonBool yes(true);
    EXPECT_TRUE(yes.asBool());
    JsonString s("abc");
    EXPECT_EQ(s.asString(), "abc");
    EXPECT_EQ(s.cast(static_cast<const JsonString*>(nullptr)), &s);
}

TEST(JsonScalars, CloneAndCopyGiveEqualIndependentNodes) {
    const JsonNode* originals[] = {new JsonString("s"), new JsonNum("1.50"), new JsonBool(false),
                                   new JsonNull};
    for (const JsonNode* original : originals) {
        std::unique_ptr<JsonNode> copy(original->clone());
        EXPECT_NE(copy.get(), original);
        EXPECT_EQ(*copy, *original);
        EXPECT_EQ(copy->toString(), original->toString());
        delete original;
    }
    JsonString a("a"), b("b");
    a = b;
    EXPECT_EQ(a.getStr(), "b");
    JsonBool t(true), f(false);
    t = f;
    EXPECT_FALSE(t.value());
}

}  // namespace
