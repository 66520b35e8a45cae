// JsonValidator::validate with any data document against a fixed schema that
// uses every rule type: nothing raises, and the errors name only known keys.
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "qorbasic/json.h"
#include "qorbasic/json_validator.h"

namespace {

const char SCHEMA[] = R"([
  {"key":"name","type":"string","required":true,"min":1,"max":8,"one_of":["a","bb",1,null]},
  {"key":"port","type":"int","min":1,"max":65535,"required":{"mode":"static"}},
  {"key":"mode","type":"string","one_of":["static","dhcp"]},
  {"key":"on","type":"bool"},
  {"key":"addr","type":"ip","required":{"on":true}},
  {"key":"net","type":"cidr"},
  {"key":"list","type":"array","min":1,"max":3,"subtype":"cidr"},
  {"key":"grid","type":"array","subtype":"array","element_validation":{"subtype":"int","max":9}},
  {"key":"any","type":"array"},
  {"key":"odd","type":"fancy"},
  7
])";

const char KNOWN_KEYS[] = "|name|port|mode|on|addr|net|list|grid|any|base|";

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::unique_ptr<JsonArray> schema(JsonUtil::parseArray(SCHEMA));
    if (!schema) std::abort();
    std::unique_ptr<JsonNode> parsed(
        JsonUtil::limited_parse(reinterpret_cast<const char*>(data), size));
    const JsonHash* document = parsed ? parsed->asObject() : nullptr;
    if (document == nullptr) return 0;
    JsonHash errors;
    bool valid = JsonValidator::validate(document, schema.get(), &errors);
    if (valid != (errors.size() == 0)) std::abort();
    for (const auto& entry : errors) {
        if (std::string(KNOWN_KEYS).find("|" + entry.first + "|") == std::string::npos)
            std::abort();
    }
    return 0;
}
