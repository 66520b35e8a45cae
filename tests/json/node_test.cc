// The node classes: scalars, casts, numeric reads, the writer's escapes, and JsonHash and
// JsonArray with their order, ownership, typed getters, copies and equality.
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

// Subclasses a client may write, which inherit every operation.
struct ClientHash : JsonHash {};

TEST(JsonWriter, EscapesExactlyTheTableBytesAndNothingElse) {
    std::vector<std::pair<std::string, std::string>> cases = {
        {"\b", "\\b"}, {"\t", "\\t"},  {"\n", "\\n"},  {"\f", "\\f"},
        {"\r", "\\r"}, {"\"", "\\\""}, {"\\", "\\\\"}, {"a\tb\"c\\d/e", "a\\tb\\\"c\\\\d/e"}};
    // Every other byte is written as it is: other controls, NUL, UTF-8 or not.
    for (const std::string text : {"/", "\x01", "\x1f", "\x0b", "\xc3\xa9", "\xff"})
        cases.push_back({text, text});
    cases.push_back({std::string(1, '\0'), std::string(1, '\0')});
    for (const auto& c : cases) {
        std::ostringstream bare;
        JsonUtil::encodeString(c.first, bare, false);
        EXPECT_EQ(bare.str(), c.second);
        EXPECT_EQ(written(JsonString(c.first)), "\"" + c.second + "\"");
    }
}

TEST(JsonNodes, EachKindHasItsTypeTruthinessTextAndEqualClones) {
    // The node, getType, isTruthy, getValue, and toString which serialize writes too.
    using std::make_shared;
    const std::tuple<std::shared_ptr<JsonNode>, JsonType, bool, std::string, std::string> cases[] =
        {
            {make_shared<JsonString>(""), JSON_STRING, true, "", "\"\""},
            {make_shared<JsonString>(12), JSON_STRING, true, "12", "\"12\""},
            {make_shared<JsonNum>("0"), JSON_NUM, true, "0", "0"},
            {make_shared<JsonBool>(true), JSON_BOOL, true, "true", "true"},
            {make_shared<JsonBool>(false), JSON_BOOL, false, "false", "false"},
            {make_shared<JsonNull>(), JSON_NULL, false, "null", "null"},
            // A raw node reads like its value but is truthy whatever its text, which it keeps.
            {make_shared<RawJson>("null"), JSON_NULL, true, "null", "null"},
            {make_shared<RawJson>(" 5 "), JSON_NUM, true, "5", " 5 "},
            {make_shared<JsonArray>(), JSON_ARRAY, true, "", "[]"},
            {make_shared<ClientHash>(), JSON_HASH, true, "", "{}"},
        };
    for (const auto& [node, type, truthy, value, text] : cases) {
        EXPECT_EQ(node->getType(), type) << text;
        EXPECT_EQ(node->isTruthy(), truthy) << text;
        EXPECT_EQ(node->isNull(), type == JSON_NULL) << text;
        EXPECT_EQ(node->getValue(), value);
        EXPECT_EQ(node->toString(), text);
        EXPECT_EQ(written(*node), text);
        EXPECT_EQ(*std::unique_ptr<JsonNode>(node->clone()), *node) << text;
    }
}

TEST(JsonScalars, EqualityComparesTypeAndTextAndCastsLookThroughRawText) {
    EXPECT_NE(JsonNum("1"), JsonNum("1.0"));
    EXPECT_EQ(JsonNum("1"), JsonNum(1L));
    EXPECT_NE(JsonNum("1"), JsonString("1"));
    EXPECT_EQ(JsonNum("5"), RawJson("5")) << "a scalar compares through a raw value";
    EXPECT_NE(JsonString("x"), RawJson("x"));
    EXPECT_EQ(JsonNum("5").asObject(), nullptr);
    RawJson five("5");
    EXPECT_EQ(five.asNumValue(), five.parseNode());
    EXPECT_EQ(five.asInt(), 5);
    EXPECT_EQ(RawJson("x").asNumValue(), nullptr);
}

template <class T>
std::string assigned(T value) {
    JsonNum n("0");
    n = value;
    return n.getValue();
}

TEST(JsonNum, AssignmentsRenderIntegersAsDigitsAndDoublesWithSixSignificantDigits) {
    EXPECT_EQ(assigned(static_cast<signed char>(65)), "65");
    EXPECT_EQ(assigned(LONG_MIN), "-9223372036854775808");
    EXPECT_EQ(assigned(ULONG_MAX), "18446744073709551615");
    EXPECT_EQ(assigned(0.1), "0.1");
    EXPECT_EQ(assigned(1234567.0), "1.23457e+06");
}

TEST(JsonNum, IntAndLongReadsAcceptDifferentText) {
    // The text, intValue and longValue; a read that does not convert gives 0 and reports.
    // clang-format off
    const std::tuple<std::string, int, long> cases[] = {
        {"-7", -7, -7},      {"  42", 42, 42},      {"007", 7, 7},  {"1.5", 1, 0},
        {"12abc", 12, 0},    {"abc", 0, 0},         {"3000000000", -1294967296, 3000000000L},
        {"99999999999999999999", 0, LONG_MAX},
    };
    // clang-format on
    for (const auto& [text, intValue, longValue] : cases) {
        JsonNum n(text);
        testing::internal::CaptureStderr();
        EXPECT_EQ(n.intValue(), intValue) << text;
        std::string report = testing::internal::GetCapturedStderr();
        EXPECT_EQ(report.rfind("intValue failed: ", 0) == 0, intValue == 0) << text << report;
        EXPECT_EQ(report.find('\n'), std::string::npos) << "no line end";
        testing::internal::CaptureStderr();
        EXPECT_EQ(n.longValue(), longValue) << text;
        report = testing::internal::GetCapturedStderr();
        EXPECT_EQ(report, longValue ? "" : "Could not convert " + text + " to long value\n")
            << text;
    }
}

// A null node that counts how many of its kind are alive, to see deletions.
struct Counted : JsonNull {
    static int alive;
    Counted() { ++alive; }
    ~Counted() override { --alive; }
};
int Counted::alive = 0;

std::unique_ptr<JsonHash> sampleHash() {
    std::unique_ptr<JsonHash> hash(new JsonHash);
    hash->add("str", "text").add("num", 42L).add("bad", new JsonNum("nan"));
    hash->add("yes", new JsonBool(true)).add("nul", new JsonNull);
    hash->add("list", new JsonArray(std::set<std::string>{"x"})).add("obj", new JsonHash);
    return hash;
}

TEST(JsonHash, KeysStayInByteOrder) {
    JsonHash hash;
    hash.add("b", 1L).add("a", 2L).add("c", 3L).add("B", 4L).add("aa", 5L).add("", 6L);
    std::vector<std::string> keys{"x"};
    hash.getKeys(keys);
    EXPECT_EQ(keys, (std::vector<std::string>{"x", "", "B", "a", "aa", "b", "c"}));
    EXPECT_EQ(hash.toString(), R"({"":6,"B":4,"a":2,"aa":5,"b":1,"c":3})");
}

TEST(JsonHash, AddReplacesAndDeletesTheOldValueOnce) {
    JsonHash hash;
    hash.add("k", new Counted).add("k", new Counted);
    EXPECT_EQ(Counted::alive, 1);
    JsonNode* same = hash.get("k");
    hash.add("k", same);  // storing the node already there keeps it
    EXPECT_EQ(Counted::alive, 1);
    hash.add("k", "s");
    EXPECT_EQ(Counted::alive, 0);
}

TEST(JsonHash, TypedGettersGiveTheirDefaultsForAbsentOrOtherTypesAlsoThroughRawText) {
    // key, getStringValue, getIntValue and getLongValue (0 for a number that does not convert),
    // getBoolValue, which container, getValue
    const std::tuple<const char*, const char*, long, bool, JsonType, const char*> cases[] = {
        {"str", "text", -1, false, JSON_NULL, "text"}, {"num", "", 42, false, JSON_NULL, "42"},
        {"bad", "", 0, false, JSON_NULL, "nan"},       {"yes", "", -1, true, JSON_NULL, "true"},
        {"nul", "", -1, false, JSON_NULL, "null"},     {"list", "", -1, false, JSON_ARRAY, ""},
        {"obj", "", -1, false, JSON_HASH, ""},         {"missing", "", -1, false, JSON_NULL, ""},
    };
    auto hash = sampleHash();
    RawJson raw(hash->toString());
    const JsonNode* const nodes[] = {hash.get(), &raw};
    for (const JsonNode* node : nodes) {
        for (const auto& [key, str, number, yes, container, value] : cases) {
            const std::string name = std::string(key) + (node->isRaw() ? " raw" : "");
            EXPECT_EQ(node->getStringValue(key), str) << name;
            EXPECT_EQ(&node->getStringValue(key) == &JsonUtil::EMPTY_STRING, !*str) << name;
            testing::internal::CaptureStderr();
            EXPECT_EQ(node->getIntValue(key), number) << name;
            EXPECT_EQ(node->getLongValue(key), number) << name;
            EXPECT_EQ(testing::internal::GetCapturedStderr() != "", number == 0) << name;
            EXPECT_EQ(node->getBoolValue(key), yes) << name;
            EXPECT_EQ(node->getArrayValue(key) != nullptr, container == JSON_ARRAY) << name;
            EXPECT_EQ(node->getObjectValue(key) != nullptr, container == JSON_HASH) << name;
            EXPECT_EQ(node->getValue(key), value) << name;
        }
    }
}

TEST(JsonHash, TakeTakesAnythingTakeHashOnlyHashesAndQueryDoesNotCopy) {
    auto hash = sampleHash();
    hash->add("raw", new RawJson(R"({"a":[1]})"));
    auto some = hash->query([](const std::string& k) { return k[0] == 'n'; });
    EXPECT_EQ(some.size(), 2u);
    EXPECT_EQ(some.begin()->second, hash->get("nul"));
    EXPECT_EQ(hash->takeHash("list"), nullptr);
    EXPECT_NE(std::unique_ptr<JsonNode>(hash->take("list")), nullptr);
    EXPECT_NE(std::unique_ptr<JsonHash>(hash->takeHash("obj")), nullptr);
    std::unique_ptr<JsonHash> taken(hash->takeHash("raw"));
    ASSERT_NE(taken, nullptr);
    EXPECT_FALSE(taken->isRaw()) << "the caller owns a plain hash";
    EXPECT_EQ(hash->toString(), R"({"bad":nan,"nul":null,"num":42,"str":"text","yes":true})");
}

TEST(JsonContainers, HashEqualityIgnoresInsertionOrderArrayEqualityDoesNot) {
    JsonHash a, b;
    a.add("x", 1L).add("y", "s");
    b.add("y", "s").add("x", 1L);
    EXPECT_EQ(a, b);
    b.add("y", "t");
    EXPECT_NE(a, b);
    EXPECT_NE(JsonHash(), JsonArray()) << "a hash and an array are never equal";
    JsonArray xy, yx;
    xy.push_back("x").push_back("y");
    yx.push_back("y").push_back("x");
    EXPECT_NE(xy, yx) << "arrays count order";
}

TEST(JsonContainers, CopiesAreDeepAndTurnRawChildrenIntoPlainTrees) {
    JsonHash hash;
    hash.add("r", new RawJson("[1]")).add("s", "x").add("bad", new RawJson("["));
    JsonHash copy(hash);
    EXPECT_FALSE(copy.get("r")->isRaw());
    EXPECT_NE(copy.get("s"), hash.get("s"));
    EXPECT_EQ(copy.toString(), R"({"bad":null,"r":[1],"s":"x"})") << "invalid raw copies as null";
    JsonArray array;
    array.push_back(new RawJson(R"({"a":1})"));
    EXPECT_FALSE(JsonArray(array)[0]->isRaw());
}

TEST(JsonContainers, AssignmentFromItselfOrItsOwnSubtreeChangesNothing) {
    auto hash = sampleHash();
    JsonHash* inner = new JsonHash;
    inner->add("deep", 1L);
    hash->add("middle", &(new JsonHash)->add("inner", inner));
    hash->add("raw", new RawJson(R"({"q":1})"));
    const std::string before = hash->toString();
    *hash = *hash;
    *hash = *inner;
    *hash = *hash->get("raw")->asObject();
    EXPECT_EQ(hash->toString(), before);
    JsonArray array;
    JsonArray* child = new JsonArray;
    array.push_back(&child->push_back("c")).push_back("a");
    array = array;
    array = *child;
    EXPECT_EQ(array.toString(), R"([["c"],"a"])");
}

TEST(JsonArray, IndexAssignEraseAndClearKeepOwnershipStraight) {
    JsonArray array;
    array.push_back(new Counted).push_back(new Counted).push_back(new Counted);
    EXPECT_EQ(array[3], nullptr);
    Counted outsider;
    array.assign(3, &outsider);  // out of range: nothing happens, the node stays ours
    EXPECT_EQ(array.size(), 3u);
    array.assign(1, new JsonString("s"));
    EXPECT_EQ(Counted::alive, 3);
    auto next = array.erase(array.begin(), true);
    EXPECT_EQ(*next, array[0]);
    EXPECT_EQ(Counted::alive, 2);
    std::unique_ptr<JsonNode> kept(array[1]);
    array.erase(array.begin() + 1, false);
    kept.reset();
    EXPECT_EQ(Counted::alive, 1);
    array.push_back(new Counted);
    std::vector<std::unique_ptr<JsonNode>> detached(array.begin(), array.end());
    array.clear(false);
    EXPECT_EQ(Counted::alive, 2);
    detached.clear();
    array.push_back(new Counted).push_back(new Counted);
    array.clear(true);
    EXPECT_EQ(Counted::alive, 1);  // the outsider
}

}  // namespace
