// JsonUtil: the accepted grammar, the hash form, limits and ownership at failure, and every
// file of the shared JSON test suite through the parser.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <iterator>
#include <memory>
#include <sstream>
#include <thread>
#include <tuple>
#include <vector>

#include "qorbasic/json.h"

namespace {

std::string parsed(const std::string& text) {
    std::unique_ptr<JsonNode> node(JsonUtil::parse(text));
    return node ? node->toString() : "<null>";
}

TEST(JsonParser, AcceptsTheExampleTextsAndWrittenTextParsesBack) {
    const std::pair<std::string, std::string> cases[] = {
        {R"({"a":1,})", R"({"a":1})"},
        {R"({"a" , "b":1})", R"({"a":1})"},
        {R"({"b":1,"a":[2],"b":{},"a":4,"b":5,"":6})", R"({"":6,"a":4,"b":5})"},
        {" null ", "null"},
        {"{\"a\"\n:\n[\ttrue ,false,null ]\n}", R"({"a":[true,false,null]})"},
        {R"({"k":nan,"s":"\u0001\"\\/\n","n":[+1,007,1E+5,0x1p3,-inf],"e":{},"a":[]})",
         "{\"a\":[],\"e\":{},\"k\":nan,\"n\":[+1,007,1E+5,0x1p3,-inf],\"s\":\"\x01\\\"\\\\/\\n\"}"},
        {R"({"a" junk : [true,false,null,{"b":{"c":[[[]]]}}],})",
         R"({"a":[true,false,null,{"b":{"c":[[[]]]}}]})"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(parsed(c.first), c.second) << "text: " << c.first;
        EXPECT_EQ(parsed(c.second), c.second) << "written text parses back";
    }
}

TEST(JsonParser, RefusesTheExampleTextsWithoutLeaking) {
    const std::vector<std::string> refused[] = {
        // missing or extra separators
        {"[1,]", "[,1]", "{,}", "{\"a\":1,,\"b\":2}", "[1 2]", "{\"a\":1 \"b\":2}",
         "{\"a\":[1 2,\"b\":3}", "{\"a\" 1}", "{\"a\":}"},
        // unclosed containers and text after the value
        {"[[1]", "{\"a\":{\"b\":1}", "{\"a\":1}x", "12x", "truex", "[]]", "{}}", "12 x"},
        // no value, or something other than JSON
        {"", " \t\n\v\f\r", "{a:1}", "{'a':1}", "True", "NULL", "nul", "1.2.3", "--1", "- 1",
         "[1] // c", "/* c */ 1", "\xEF\xBB\xBF{}"},
        // failures deep inside built subtrees: under the sanitizer build a leak fails the run
        {R"([1,{"a":[1,2,{"b":"x"}],"c":)", R"({"a":[1,2,3],"b":{"c":[{"d":1}]},"e":[1,2,})",
         R"([[[[["deep",1,2,3]]]],)", R"({"a":"b","c":"\uZZZZ"})", R"(["a","b","c",tru])"}};
    for (const auto& group : refused) {
        for (const std::string& text : group) {
            EXPECT_EQ(parsed(text), "<null>") << "text: " << text;
            JsonHash hash;  // the hash form must not leak on failure either
            JsonUtil::parse(text, hash);
        }
    }
}

TEST(JsonParser, NumbersKeepExactlyTheBytesStrtoldTakes) {
    // clang-format off
    for (const std::string n : {"12", "-12", "+1", "007", "1.5", ".5", "5.", "-.5", "1e5", "1E+5",
                                "2.5e-3", "1.e5", "0x1F", "0X1f", "0x1p3", "-0x.8p1", "inf", "INF",
                                "Infinity", "-inf", "nan", "NaN", "nan(x)", "-nan(ab_1)",
                                "123456789012345678901234567890"}) {
        // clang-format on
        EXPECT_EQ(parsed(n), n);
        EXPECT_EQ(parsed("[" + n + "]"), "[" + n + "]");
        EXPECT_EQ(parsed("{\"k\":" + n + "}"), "{\"k\":" + n + "}");
    }
    // strtold stops early; the rest must then fail the value.
    for (const char* n : {"1e", "1e+", "0x", "0xg", ".", "-", "+", "+.", "1..2", "nan(", "infx",
                          "1.5e5.5", "0x1p", "[1e,2]"})
        EXPECT_EQ(parsed(n), "<null>") << n;
}

// Runs `work` on a thread of its own. A thread can't be stopped, so if it is
// still running at the deadline the test program fails at once.
void finishesWithin(std::chrono::seconds deadline, const std::function<void()>& work) {
    std::packaged_task<void()> task(work);
    std::future<void> done = task.get_future();
    std::thread worker(std::move(task));
    if (done.wait_for(deadline) != std::future_status::ready) {
        std::fprintf(stderr, "still running after %llds\n",
                     static_cast<long long>(deadline.count()));
        std::_Exit(EXIT_FAILURE);
    }
    worker.join();
}

// A flat array with no blanks once made every element's number scan copy the
// rest of the array: hours for 4 MB.
TEST(JsonParser, FlatArraysOfEveryNumberFormParseInLinearTime) {
    for (const std::string form :
         {"-12", "+1", "007", ".5", "1E+5", "0x1F", "0x1p3", "Infinity", "nan", "nan(x)"}) {
        std::string text = "[" + form;
        size_t count = 1;
        for (; text.size() < (4u << 20); ++count) text += "," + form;
        text += "]";
        finishesWithin(std::chrono::seconds(120), [&] {
            std::unique_ptr<JsonNode> node(JsonUtil::parse(text));
            const JsonArray* array = node ? node->asArray() : nullptr;
            ASSERT_NE(array, nullptr) << form;
            EXPECT_EQ(array->size(), count) << form;
            EXPECT_EQ((*array)[count - 1]->toString(), form);
        });
    }
}

TEST(JsonParser, StringEscapesDecodeAndBadOnesFail) {
    // clang-format off
    const std::pair<std::string, std::string> decoded[] = {
        {R"("\u20ac")", "\xE2\x82\xAC"},      {R"("\ud83d")", "\xED\xA0\xBD"},
        {R"("\ud83d\ude00")", "\xED\xA0\xBD\xED\xB8\x80"},
        {R"("\u12G4")", "\x12"},  {R"("\u 41x")", "A"},  {R"("\u0x41")", "A"},  {R"("\u-001")", ""},
        {R"("\"\/\\\b\f\n\r\t")", "\"/\\\b\f\n\r\t"},
        {"\"tab\there\x01\xff\"", "tab\there\x01\xff"}};
    // clang-format on
    for (const auto& c : decoded) {
        std::unique_ptr<JsonNode> node(JsonUtil::parse(c.first));
        ASSERT_NE(node, nullptr) << c.first;
        EXPECT_EQ(node->getValue(), c.second) << c.first;
    }
    for (const char* text : {R"("\u0000")", R"("\uZZZZ")", R"("\u12")", R"("a\xb")", R"("\a")",
                             R"("abc)", R"("abc\")"})
        EXPECT_EQ(parsed(text), "<null>") << text;
}

TEST(JsonParser, LimitEndsTheTextAndNulBytesBeforeItAreText) {
    // The text, the limit, and toString of the tree or "<null>".
    // clang-format off
    const std::tuple<std::string, unsigned long, std::string> cases[] = {
        {"[12345]6789", 7, "[12345]"},  {"12345e7", 3, "123"},  {"0x1f", 3, "0x1"},
        {"[1]", 0, "<null>"},  {"\"ab\"", 3, "<null>"},  {"\"\\u0041\"", 7, "<null>"},
        {std::string("\"a\0b\"", 5), 5, std::string("\"a\0b\"", 5)},
        {std::string("[1,\0 2]", 7), 7, "<null>"},  {std::string("1\0", 2), 2, "<null>"}};
    // clang-format on
    for (const auto& [text, limit, result] : cases) {
        std::unique_ptr<JsonNode> node(JsonUtil::limited_parse(text.data(), limit));
        EXPECT_EQ(node ? node->toString() : "<null>", result) << text;
        EXPECT_EQ(parsed(text.substr(0, limit)), result) << "the same bytes as a string";
    }
    JsonHash hash;
    EXPECT_FALSE(JsonUtil::limited_parse("{}", hash, 0));
    EXPECT_TRUE(JsonUtil::limited_parse("{\"a\":1}}", hash, 7));
}

TEST(JsonParser, HashFormSkipsLeadingTextAndKeepsCompleteMembersAndTypedFormsCheckTheType) {
    // The hash before, the text, the result of parse, and the hash after.
    // clang-format off
    const std::tuple<const char*, const char*, bool, const char*> cases[] = {
        {"{}", "junk {\"a\":1}", true, R"({"a":1})"},  {"{}", R"({"a":1}x)", false, R"({"a":1})"},
        {R"({"old":1,"a":0})", R"({"a":2,"b":3})", true, R"({"a":2,"b":3,"old":1})"},
        {"{}", R"([{"a":1}])", false, R"({"a":1})"},
        {"{}", R"({"a":1,"b":[1,2,"c":3})", false, R"({"a":1})"},
        {R"({"keep":1})", "[1,2]", false, R"({"keep":1})"},
        {R"({"keep":1})", "{} \n", true, R"({"keep":1})"}};
    // clang-format on
    EXPECT_EQ(JsonUtil::parseObject("[1]"), nullptr);
    EXPECT_EQ(JsonUtil::parseArray("{}"), nullptr);
    for (const auto& [before, text, ok, after] : cases) {
        std::unique_ptr<JsonHash> hash(JsonUtil::parseObject(before));
        ASSERT_NE(hash, nullptr);
        EXPECT_EQ(JsonUtil::parse(text, *hash), ok) << text;
        EXPECT_EQ(hash->toString(), after) << text;
    }
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
    for (char open : {'[', '{'}) EXPECT_EQ(JsonUtil::parse(std::string(100000, open)), nullptr);
}

TEST(JsonParser, BuildingBlocksMoveThePositionOnlyOnSuccess) {
    unsigned int pos = 0;
    EXPECT_FALSE(JsonUtil::findToken('#', pos, "  {}", 4));
    std::unique_ptr<JsonNode> n(JsonUtil::parseNumLiteral("nan(abc)", pos, 6));
    EXPECT_EQ(n ? n->toString() : "<null>", "nan") << "an unclosed nan( is not taken";
    EXPECT_EQ(pos, 3u);
    pos = 0;
    bool value = true;
    EXPECT_FALSE(JsonUtil::parseBoolLiteral("fals", pos, value, 4));
    EXPECT_FALSE(JsonUtil::parseNullLiteral("null", pos, 3));
    EXPECT_TRUE(value);
    EXPECT_EQ(pos, 0u);
}

TEST(JsonParser, UnicodeHelpersFollowStrtolAndUtf8) {
    // Further parseUnicode cases run through the string escapes.
    EXPECT_EQ(JsonUtil::parseUnicode("+7f "), 0x7Fu);
    // The first code point of each length, and one past the last there is.
    const std::pair<unsigned int, std::string> cases[] = {
        {0x80, "\xC2\x80"}, {0x800, "\xE0\xA0\x80"}, {0x10000, "\xF0\x90\x80\x80"}, {0x110000, ""}};
    for (const auto& c : cases) {
        std::ostringstream out;
        JsonUtil::writeUtf8(out, c.first);
        EXPECT_EQ(out.str(), c.second) << std::hex << c.first;
    }
}

// The file prefixes y_/n_/i_ are verdicts of the JSON standard, not of this grammar, so only
// safety (no crash, no leak under the sanitizer build) and the round trip of every accepted
// document are checked.
TEST(JsonTestSuite, EveryFileParsesSafelyAndAcceptedOnesRoundTrip) {
    namespace fs = std::filesystem;
    const fs::path dir = fs::path(QOR_SHARED_DATA_DIR) / "json-test-suite" / "test_parsing";
    std::error_code error;
    std::vector<fs::path> files;
    for (const auto& entry : fs::directory_iterator(dir, error))
        if (entry.path().extension() == ".json") files.push_back(entry.path());
    if (files.empty()) GTEST_SKIP() << "JSON test suite not found at " << dir;
    std::sort(files.begin(), files.end());
    size_t accepted = 0;
    for (const fs::path& file : files) {
        std::ifstream in(file, std::ios::binary);
        const std::string text{std::istreambuf_iterator<char>(in), {}};
        const std::string name = file.filename();
        // The same bytes in a buffer cut short must be just as safe.
        std::unique_ptr<JsonNode> cut(JsonUtil::limited_parse(text.data(), text.size() / 2));
        JsonHash hash;
        JsonUtil::parse(text, hash);
        std::unique_ptr<JsonNode> tree(JsonUtil::parse(text));
        if (!tree) continue;
        ++accepted;
        const std::string written = tree->toString();
        std::unique_ptr<JsonNode> again(JsonUtil::parse(written));
        ASSERT_NE(again, nullptr) << name << " written as " << written;
        EXPECT_EQ(*again, *tree) << name;
    }
    EXPECT_GT(accepted, 0u);
    std::cout << files.size() << " files, " << accepted << " accepted\n";
}

}  // namespace
