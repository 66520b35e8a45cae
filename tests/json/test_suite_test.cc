// Every file of the shared JSON test suite through the parser. The file
// prefixes y_/n_/i_ are verdicts of the JSON standard, not of this grammar,
// so only safety (no crash, no leak under the sanitizer build) and the round
// trip of every accepted document are checked.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>

#include "qorbasic/json.h"

namespace {

namespace fs = std::filesystem;

TEST(JsonTestSuite, EveryFileParsesSafelyAndAcceptedOnesRoundTrip) {
    const fs::path dir = fs::path(QOR_SHARED_DATA_DIR) / "json-test-suite" / "test_parsing";
    std::error_code error;
    std::vector<fs::path> files;
    for (const auto& entry : fs::directory_iterator(dir, error)) {
        if (entry.path().extension() == ".json") files.push_back(entry.path());
    }
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
        if (JsonUtil::parse(text, hash)) {
            std::unique_ptr<JsonNode> again(JsonUtil::parse(hash.toString()));
            ASSERT_NE(again, nullptr) << name;
            EXPECT_EQ(*again, hash) << name;
        }
        std::unique_ptr<JsonNode> tree(JsonUtil::parse(text));
        if (!tree) continue;
        ++accepted;
        const std::string written = tree->toString();
        std::unique_ptr<JsonNode> again(JsonUtil::parse(written));
        ASSERT_NE(again, nullptr) << name << " written as " << written;
        EXPECT_EQ(*again, *tree) << name;
        EXPECT_EQ(again->toString(), written) << name;
    }
    EXPECT_GT(accepted, 0u);
    std::cout << files.size() << " files, " << accepted << " accepted\n";
}

}  // namespace
