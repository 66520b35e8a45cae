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

std::string describe(const JsonNode* node, const JsonNode* root) {
    if (!node) return kNone;
    return node == root ? kRoot : node->toString();
}

TEST(JsonPath, ExampleTableOnTheSampleDocument) {
    const std::string h1 = R"({"id":1,"tag":"x","v":10})", h2 = R"({"id":2,"tag":"y","v":20})",
                      h3 = R"({"id":3,"tag":"x","v":30})";
    // clang-format off
    std::vector<std::pair<std::string, std::vector<std::string>>> cases = {
        {"", {kRoot}},                 {"/", {kRoot}},                {"name", {"\"root\""}},
        {"nest/deep/leaf", {"true"}},  {"/nest/", {R"({"deep":{"leaf":true}})"}},
        {"/list[0]", {h1}},            {"/list[1]/v", {"20"}},        {"/list[*]", {h1, h2, h3}},
        {"/list[]", {h1, h2, h3}},     {"/list[*]/v", {"10", "20", "30"}},
        {"/list[tag=x]", {h1, h3}},    {"/list[tag=x,id=3]/v", {"30"}},
        {"/list[tag=*]/id", {"1", "2", "3"}},                         {"/list[0,tag=x]/id", {"1"}},
        {"/list[0]v", {"10"}},         {"/list[0,]", {h1}},          {"/nums[v=]", {"5", "6", "7"}},
        {"/grid[1][0]", {"3"}},        {"/grid[*][1]", {"2", "4"}},
        // Paths go through raw children.
        {"/raw/a[1]/b", {"2"}},        {"/raw/a[*]/b", {"1", "2"}},   {"/raws[t=y]/t", {"\"y\""}},
    };
    // clang-format on
    const std::vector<std::string> unmatched[] = {
        // absent keys and empty segments
        {"/missing", "/nest/missing/x", "/nest//deep", "/list[*]/missing", "/a/*"},
        // indexes and conditions that select nothing
        {"/list[5]", "/list[-1]", "/list[99999999999999999999]", "/list[abc]", "/list[tag=z]",
         "/list[1,tag=x]", "/list[0,1]"},
        // selectors on the wrong kind of node, or malformed
        {"/list/0", "/nest[0]", "/name[0]", "/list[0", "/list[0/v]", "/list/[0]", "[0]",
         "/grid[1]/[0]"}};
    for (const auto& group : unmatched) {
        for (const std::string& path : group) cases.push_back({path, {}});
    }
    std::unique_ptr<JsonHash> root(JsonUtil::parseObject(kDocument));
    ASSERT_NE(root, nullptr);
    root->add("raw", new RawJson(R"({"a":[{"b":1},{"b":2}]})"));
    root->add("raws", &(new JsonArray)
                           ->push_back(new RawJson(R"({"t":"x"})"))
                           .push_back(new RawJson(R"({"t":"y"})")));
    for (const auto& c : cases) {
        const JsonNode* first = root->dig(c.first);
        EXPECT_EQ(describe(first, root.get()), c.second.empty() ? kNone : c.second[0])
            << "dig " << c.first;
        std::vector<const JsonNode*> found{root.get()};  // cleared by digAll
        root->digAll(c.first, found);
        std::vector<std::string> described;
        for (const JsonNode* node : found) described.push_back(describe(node, root.get()));
        EXPECT_EQ(described, c.second) << "digAll " << c.first;
    }
}

TEST(JsonPath, ConditionsOnAnArrayRootCompareTheTextOfAnyScalar) {
    std::unique_ptr<JsonNode> root(JsonUtil::parse(
        R"([{"k":1},{"k":"1"},{"k":true},{"k":"true"},{"k":null},{"k":"null"},{"k":[]},{}])"));
    ASSERT_NE(root, nullptr);
    std::vector<const JsonNode*> found;
    // [k=] matches an array value and an absent key.
    for (const char* path : {"[k=1]", "[k=true]", "[k=null]", "[k=]"})
        EXPECT_EQ(root->digAll(path, found), 2u) << path;
    EXPECT_EQ(root->digAll("[k=*]", found), 8u);
    EXPECT_EQ(root->digValue("[3]/k"), "true");
    EXPECT_EQ(root->dig("/k"), nullptr);
}

TEST(RawJson, KeepsItsTextUntilTakeRewritesIt) {
    RawJson raw(R"({"b":1, "a":2})");
    EXPECT_EQ(raw.take("missing"), nullptr);
    EXPECT_EQ(raw.toString(), R"({"b":1, "a":2})");
    std::unique_ptr<JsonNode> b(raw.take("b"));
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(raw.toString(), R"({"a":2})");

    RawJson nested(R"({"h": {"x": 1}, "s": 2})");
    std::unique_ptr<JsonHash> h(nested.takeHash("h"));
    EXPECT_EQ(nested.toString(), R"({"s":2})");
    EXPECT_EQ(nested.takeHash("s"), nullptr);
}

TEST(RawJson, ParsesOnceAndCopiesStayUnparsed) {
    RawJson raw(R"({"a":{"b":1}})");
    const JsonNode* b = raw.dig("/a/b");
    const JsonNode* tree = raw.parseNode();
    EXPECT_EQ(raw.dig("/a/b"), b) << "the same tree answers again";
    std::unique_ptr<JsonNode> clone(raw.clone());
    EXPECT_TRUE(clone->isRaw());
    EXPECT_NE(clone->parseNode(), tree);
    RawJson assigned("[1]");
    assigned.parseNode();
    assigned = raw;
    assigned = assigned;
    EXPECT_NE(assigned.parseNode(), tree);
    EXPECT_EQ(assigned, raw);
}

TEST(JsonNode, NonHashNodesAndInvalidRawTextAnswerLookupsWithDefaults) {
    JsonString s("text");
    RawJson empty, bad("["), array("[1]");
    JsonNode* const nodes[] = {&s, &empty, &bad, &array};
    for (JsonNode* node : nodes) {
        const std::string name = node->toString();
        EXPECT_FALSE(node->get("a") || node->take("a") || node->takeHash("a") || node->dig("/a"))
            << name;
        EXPECT_TRUE(node->query([](const std::string&) { return true; }).empty()) << name;
        EXPECT_EQ(&node->getStringValue("a"), &JsonUtil::EMPTY_STRING) << name;
        EXPECT_FALSE(node->getBoolValue("a")) << name;
        EXPECT_EQ(node->getIntValue("a") + node->getLongValue("a"), 0)
            << name << ": -1 is JsonHash's";
        EXPECT_FALSE(node->getArrayValue("a") || node->getObjectValue("a")) << name;
        EXPECT_EQ(node->getValue("a"), "") << name;
    }
    // Invalid raw text keeps its text, is truthy and reads as an unequal null.
    EXPECT_FALSE(empty.isValid() || bad.isValid());
    EXPECT_TRUE(bad.isTruthy());
    EXPECT_EQ(bad.getType(), JSON_NULL);
    EXPECT_FALSE(bad.isNull());
    std::vector<const JsonNode*> found{&bad};
    EXPECT_EQ(bad.digAll("/a", found), 0u);
    EXPECT_TRUE(found.empty());
    EXPECT_NE(bad, RawJson("["));
    EXPECT_NE(bad, JsonNull());
    EXPECT_EQ(std::unique_ptr<JsonNode>(bad.clone())->toString(), "[");
}

}  // namespace
