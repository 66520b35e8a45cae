// JsonUtil::limited_parse in both forms, over the whole input and over a limit
// cut short. Properties: a limit shorter than the buffer gives the same result
// as a buffer that ends there (so nothing behind the limit is read), and an
// accepted document written with toString parses back to an equal tree.
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "qorbasic/json.h"

namespace {

void roundTrip(const JsonNode& tree) {
    const std::string written = tree.toString();
    std::unique_ptr<JsonNode> again(JsonUtil::parse(written));
    if (!again || !(*again == tree) || again->toString() != written) abort();
}

std::string parseBoth(const char* text, size_t limit) {
    std::string outcome;
    std::unique_ptr<JsonNode> tree(JsonUtil::limited_parse(text, limit));
    if (tree) {
        roundTrip(*tree);
        outcome = tree->toString();
    }
    JsonHash hash;
    bool accepted = JsonUtil::limited_parse(text, hash, limit);
    if (accepted) roundTrip(hash);
    return outcome + (accepted ? "|hash:" : "|nohash:") + hash.toString();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const char* text = reinterpret_cast<const char*>(data);
    parseBoth(text, size);
    if (size < 2) return 0;
    size_t limit = data[0] % size;
    std::unique_ptr<char[]> exact(new char[limit ? limit : 1]);
    std::copy(text, text + limit, exact.get());
    if (parseBoth(text, limit) != parseBoth(exact.get(), limit)) abort();
    return 0;
}
