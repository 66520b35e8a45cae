// dig, digAll and digValue with a fuzzed path. The input is a path, a line
// feed and a document; without a document that parses, a fixed sample is
// queried. Property: dig gives the first node that digAll collects.
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "qorbasic/json.h"

namespace {

const char kSample[] =
    R"({"name":"root","list":[{"id":1,"tag":"x","v":10},{"id":2,"tag":"y","v":20}],)"
    R"("nums":[5,6,7],"nest":{"deep":{"leaf":true}},"grid":[[1,2],[3,4]]})";

void query(const JsonNode& root, const std::string& path) {
    const JsonNode* first = root.dig(path);
    std::vector<const JsonNode*> all;
    size_t count = root.digAll(path, all);
    if (count != all.size() || (count == 0) != (first == nullptr)) abort();
    if (count > 0 && all[0] != first) abort();
    if (root.digValue(path) != (first ? first->getValue() : std::string())) abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    size_t split = input.find('\n');
    const std::string path = input.substr(0, split);
    const std::string document = split == std::string::npos ? "" : input.substr(split + 1);
    std::unique_ptr<JsonNode> root(JsonUtil::parse(document));
    if (!root) root.reset(JsonUtil::parse(kSample));
    query(*root, path);
    RawJson raw(root->toString());
    query(raw, path);
    return 0;
}
