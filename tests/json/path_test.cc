// Path queries and RawJson.
#include <gtest/gtest.h>

#include <memory>

#include "qorbasic/json.h"

namespace {

const char kDocument[] =
    R"({"name":"root","list":[{"id":1,"tag":"x","v":10},{"id":2,"tag":"y","v":20},)"
    R"({"id":3,"tag":"x","v":30}],"nums":[5,6,7],"nest":{"deep":{"leaf":true}},)"
    R"("grid":[[1,2],[3,4]]})";

const char kRoot[] = "<root>";
const char kNone[] = "<null>";
const char kH1[] = R"({"id":1,"tag":"x","v":10})";
const char kH2[] = R"({"id":2,"tag":"y","v":20})";
const char kH3[] = R"({"id":3,"tag":"x","v":30})";

std::string describe(const JsonNode* node, const JsonNode* root) {
    if (!node) return kNone;
    return node == root ? kRoot : node->toString();
}

TEST(JsonPath, ExampleTableOnTheSampleDocument) {
    struct Case {
        std::string path;
        std::string first;
        std::vector<std::string> all;
    };
    const std::string h1 = kH1, h2 = kH2, h3 = kH3;
    const Case cases[] = {
        {"", kRoot, {kRoot}},
        {"/", kRoot, {kRoot}},
        {"name", "\"root\"", {"\"root\""}},
        {"/name", "\"root\"", {"\"root\""}},
        {"/nest/deep/leaf", "true", {"true"}},
        {"nest/deep/leaf", "true", {"true"}},
        {"/nest/", R"({"deep":{"leaf":true}})", {R"({"deep":{"leaf":true}})"}},
        {"/missing", kNone, {}},
        {"/nest/missing/x", kNone, {}},
        {"/nest//deep", kNone, {}},
        {"/list[0]", h1, {h1}},
        {"/list[1]/v", "20", {"20"}},
        {"/list[5]", kNone, {}},
        {"/list[*]", h1, {h1, h2, h3}},
        {"/list[]", h1, {h1, h2, h3}},
        {"/list[*]/v", "10", {"10", "20", "30"}},
        {"/list[tag=x]", h1, {h1, h3}},
        {"/list[tag=x]/v", "10", {"10", "30"}},
        {"/list[tag=x,id=3]/v", "30", {"30"}},
        {"/list[tag=*]/id", "1", {"1", "2", "3"}},
        {"/list[tag=z]", kNone, {}},
        {"/list[0,tag=x]/id", "1", {"1"}},
        {"/list[1,tag=x]", kNone, {}},
        {"/list[0,1]", kNone, {}},
        {"/list[abc]", kNone, {}},
        {"/list[-1]", kNone, {}},
        {"/list[99999999999999999999]", kNone, {}},
        {"/list[0]v", "10", {"10"}},
        {"/list[1]/", h2, {h2}},
        {"/list[0,]", h1, {h1}},
        {"/nums[2]", "7", {"7"}},
        {"/nums[*]", "5", {"5", "6", "7"}},
        {"/nums[v=]", "5", {"5", "6", "7"}},
        {"/grid[1][0]", "3", {"3"}},
        {"/grid[*][1]", "2", {"2", "4"}},
        {"/grid[1]/[0]", kNone, {}},
        {"/list/0", kNone, {}},
        {"/nest[0]", kNone, {}},
        {"/name[0]", kNone, {}},
        {"/list[0", kNone, {}},
        {"/list[0/v]", kNone, {}},
        {"/list/[0]", kNone, {}},
        {"[0]", kNone, {}},
        {"/a/*", kNone, {}},
        {"/list[*]/missing", kNone, {}},
    };
    std::unique_ptr<JsonNode> root(JsonUtil::parse(kDocument));
    ASSERT_NE(root, nullptr);
    for (const Case& c : cases) {
        EXPECT_EQ(describe(root->dig(c.path), root.get()), c.first) << "dig " << c.path;
        std::vector<const JsonNode*> found{root.get()};  // cleared by digAll
        size_t count = root->digAll(c.path, found);
        EXPECT_EQ(count, found.size());
        std::vector<std::string> all;
        for (const JsonNode* node : found) all.push_back(describe(node, root.get()));
        EXPECT_EQ(all, c.all) << "digAll " << c.path;
    }
}

TEST(JsonPath, SelectorsWorkOnAnArrayRootAndLookupsOnNonHashesFail) {
    std::unique_ptr<JsonNode> root(JsonUtil::parse(R"([{"v":1},{"v":2}])"));
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(describe(root->dig("[1]"), root.get()), R"({"v":2})");
    EXPECT_EQ(describe(root->dig("[1]/v"), root.get()), "2");
    EXPECT_EQ(root->dig("/v"), nullptr);
    JsonString s("x");
    EXPECT_EQ(s.dig("/a"), nullptr);
    EXPECT_EQ(s.dig(""), &s);
}

TEST(JsonPath, ConditionsCompareTheTextOfAnyScalar) {
    std::unique_ptr<JsonNode> root(JsonUtil::parse(
        R"([{"k":1},{"k":"1"},{"k":true},{"k":"true"},{"k":null},{"k":"null"},{"k":[]},{}])"));
    ASSERT_NE(root, nullptr);
    std::vector<const JsonNode*> found;
    EXPECT_EQ(root->digAll("[k=1]", found), 2u);
    EXPECT_EQ(root->digAll("[k=true]", found), 2u);
    EXPECT_EQ(root->digAll("[k=null]", found), 2u);
    EXPECT_EQ(root->digAll("[k=]", found), 2u) << "an array value and an absent key";
    EXPECT_EQ(root->digAll("[k=*]", found), 8u);
}

TEST(JsonPath, DigValueGivesTheTextOfTheFirstMatch) {
    std::unique_ptr<JsonNode> root(JsonUtil::parse(kDocument));
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(root->digValue("/nums[1]"), "6");
    EXPECT_EQ(root->digValue("/name"), "root");
    EXPECT_EQ(root->digValue("/nest/deep/leaf"), "true");
    EXPECT_EQ(root->digValue("/nest"), "");
    EXPECT_EQ(root->digValue("/missing"), "");
}

TEST(JsonPath, PathsGoThroughRawChildren) {
    JsonHash hash;
    hash.add("raw", new RawJson(R"({"a":[{"b":1},{"b":2}]})"));
    EXPECT_EQ(hash.digValue("/raw/a[1]/b"), "2");
    std::vector<const JsonNode*> found;
    EXPECT_EQ(hash.digAll("/raw/a[*]/b", found), 2u);
    JsonArray array;
    array.push_back(new RawJson(R"({"t":"x"})")).push_back(new RawJson(R"({"t":"y"})"));
    EXPECT_EQ(array.digValue("[t=y]/t"), "y");
}

TEST(RawJson, KeepsItsTextUntilTakeRewritesIt) {
    RawJson raw(R"({"b":1, "a":2})");
    EXPECT_EQ(raw.toString(), R"({"b":1, "a":2})");
    EXPECT_EQ(raw.getIntValue("a"), 2);
    EXPECT_EQ(raw.toString(), R"({"b":1, "a":2})");
    std::ostringstream out;
    raw.serialize(out);
    EXPECT_EQ(out.str(), R"({"b":1, "a":2})");
    EXPECT_EQ(raw.take("missing"), nullptr);
    EXPECT_EQ(raw.toString(), R"({"b":1, "a":2})");
    std::unique_ptr<JsonNode> b(raw.take("b"));
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(raw.toString(), R"({"a":2})");

    RawJson nested(R"({"h": {"x": 1}, "s": 2})");
    std::unique_ptr<JsonHash> h(nested.takeHash("h"));
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(nested.toString(), R"({"s":2})");
    EXPECT_EQ(nested.takeHash("s"), nullptr);
}

TEST(RawJson, ParsesOnceAndCopiesStayUnparsed) {
    RawJson raw(R"({"a":{"b":1}})");
    const JsonNode* b = raw.dig("/a/b");
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(b->getValue(), "1");
    const JsonNode* tree = raw.parseNode();
    EXPECT_EQ(raw.parseNode(), tree);
    EXPECT_EQ(raw.dig("/a/b"), b) << "the same tree answers again";
    std::unique_ptr<JsonNode> clone(raw.clone());
    EXPECT_TRUE(clone->isRaw());
    EXPECT_NE(clone->parseNode(), tree);
    RawJson copy(raw);
    EXPECT_NE(copy.parseNode(), tree);
    EXPECT_EQ(copy, raw);
    RawJson assigned("[1]");
    assigned.parseNode();
    assigned = raw;
    EXPECT_EQ(assigned.toString(), raw.toString());
    EXPECT_EQ(assigned.getType(), JSON_HASH);
    assigned = assigned;
    EXPECT_EQ(assigned.getType(), JSON_HASH);
}

TEST(RawJson, ValidTextIsReadLikeItsValue) {
    RawJson null("null");
    EXPECT_TRUE(null.isValid());
    EXPECT_TRUE(null.isNull());
    EXPECT_TRUE(null.isTruthy());
    RawJson no("false");
    EXPECT_TRUE(no.isTruthy()) << "a raw node is truthy whatever its text";
    RawJson five("5");
    EXPECT_EQ(five.getType(), JSON_NUM);
    EXPECT_EQ(five.asInt(), 5);
    EXPECT_EQ(five.getValue(), "5");
    RawJson hash(R"({"s":"t","n":3,"b":true,"l":[1],"h":{}})");
    EXPECT_EQ(hash.getStringValue("s"), "t");
    EXPECT_EQ(hash.getIntValue("n"), 3);
    EXPECT_EQ(hash.getLongValue("n"), 3);
    EXPECT_TRUE(hash.getBoolValue("b"));
    EXPECT_NE(hash.getArrayValue("l"), nullptr);
    EXPECT_NE(hash.getObjectValue("h"), nullptr);
    EXPECT_EQ(hash.getValue("n"), "3");
    EXPECT_EQ(hash.get("n")->getValue(), "3");
    EXPECT_EQ(hash.query([](const std::string& k) { return k < "i"; }).size(), 2u);
    EXPECT_EQ(hash, *std::unique_ptr<JsonNode>(
                        JsonUtil::parse(R"({"b":true,"h":{},"l":[1],"n":3,"s":"t"})")));
}

TEST(RawJson, InvalidTextGivesDefaultsAndNeverCrashes) {
    RawJson empty;
    EXPECT_FALSE(empty.isValid());
    EXPECT_EQ(empty.toString(), "");
    RawJson bad("[");
    EXPECT_FALSE(bad.isValid());
    EXPECT_EQ(bad.asArray(), nullptr);
    EXPECT_EQ(bad.toString(), "[");
    EXPECT_TRUE(bad.isRaw());
    EXPECT_TRUE(bad.isTruthy());
    EXPECT_EQ(bad.getType(), JSON_NULL);
    EXPECT_FALSE(bad.isNull());
    EXPECT_EQ(bad.get("a"), nullptr);
    EXPECT_EQ(bad.dig("/a"), nullptr);
    std::vector<const JsonNode*> found{&bad};
    EXPECT_EQ(bad.digAll("/a", found), 0u);
    EXPECT_TRUE(found.empty());
    EXPECT_EQ(bad.digValue(""), "");
    EXPECT_EQ(bad.take("a"), nullptr);
    EXPECT_EQ(bad.takeHash("a"), nullptr);
    EXPECT_TRUE(bad.query([](const std::string&) { return true; }).empty());
    EXPECT_EQ(&bad.getStringValue("a"), &JsonUtil::EMPTY_STRING);
    EXPECT_FALSE(bad.getBoolValue("a"));
    EXPECT_EQ(bad.getIntValue("a"), 0);
    EXPECT_EQ(bad.getLongValue("a"), 0);
    EXPECT_EQ(bad.getArrayValue("a"), nullptr);
    EXPECT_EQ(bad.getObjectValue("a"), nullptr);
    EXPECT_EQ(bad.getValue(), "");
    EXPECT_EQ(bad.getValue("a"), "");
    EXPECT_EQ(bad, bad);
    EXPECT_NE(bad, RawJson("["));
    EXPECT_NE(bad, JsonNull());
    std::unique_ptr<JsonNode> clone(bad.clone());
    EXPECT_EQ(clone->toString(), "[");
}

}  // namespace
