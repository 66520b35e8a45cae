// Every file of the shared JSON test suite through the parser. The file
// prefixes y_/n_/i_ are verdicts of the JSON standard, not of this grammar,
// so only safety (no crash, no leak under the sanitizer build) and the round
// trip of every accepted document are checked.
#include <dirent.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>

#include "qorbasic/json.h"

namespace {

const std::string kSuiteDir = std::string(QOR_SHARED_DATA_DIR) + "/json-test-suite/test_parsing";

std::vector<std::string> suiteFiles() {
    std::vector<std::string> names;
    DIR* dir = opendir(kSuiteDir.c_str());
    if (!dir) return names;
    while (dirent* entry = readdir(dir)) {
        std::string name = entry->d_name;
        if (name.size() > 5 && name.compare(name.size() - 5, 5, ".json") == 0) {
            names.push_back(name);
        }
    }
    closedir(dir);
    std::sort(names.begin(), names.end());
    return names;
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

TEST(JsonTestSuite, EveryFileParsesSafelyAndAcceptedOnesRoundTrip) {
    std::vector<std::string> files = suiteFiles();
    if (files.empty()) GTEST_SKIP() << "JSON test suite not found at " << kSuiteDir;
    size_t accepted = 0;
    for (const std::string& name : files) {
        const std::string text = readFile(kSuiteDir + "/" + name);
        std::unique_ptr<JsonNode> tree(JsonUtil::parse(text));
        JsonHash hash;
        bool hashAccepted = JsonUtil::parse(text, hash);
        if (text.size() > 1) {
            // The same bytes in a buffer cut short must be just as safe.
            std::unique_ptr<JsonNode> cut(JsonUtil::limited_parse(text.data(), text.size() / 2));
        }
        if (hashAccepted) {
            std::unique_ptr<JsonNode> again(JsonUtil::parse(hash.toString()));
            ASSERT_NE(again, nullptr) << name;
            EXPECT_EQ(*again, hash) << name;
        }
        if (!tree) continue;
        ++accepted;
        const std::string written = tree->toString();
        std::unique_ptr<JsonNode> again(JsonUtil::parse(written));
        ASSERT_NE(again, nullptr) << name << " written as " << written;
        EXPECT_EQ(*again, *tree) << name;
        EXPECT_EQ(again->toString(), written) << name;
    }
    EXPECT_GT(accepted, 0u);
    RecordProperty("files", static_cast<int>(files.size()));
    RecordProperty("accepted", static_cast<int>(accepted));
    std::cout << files.size() << " files, " << accepted << " accepted\n";
}

}  // namespace
