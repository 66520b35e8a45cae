// Schema validation of flat JSON objects.
//
// A schema is a JsonArray of rules; each rule is a hash that names one key of
// the data and how to check it. All rules run, and every problem is
// collected, in plain words, under the key it concerns:
//
//   JsonHash* data = JsonUtil::parseObject(R"({"port":70000,"addr":"1.2.3"})");
//   JsonArray* schema = JsonUtil::parseArray(
//       R"([{"key":"port","type":"int","min":1,"max":65535},
//           {"key":"addr","type":"ip","required":true}])");
//   JsonHash errors;
//   bool ok = JsonValidator::validate(data, schema, &errors);   // false
//   errors.toString();
//   // {"addr":["must be a valid IP address"],"port":["can't be greater than 65535"]}
//
// Rule keys: "key" (exact top-level key, not a path), "type" ("int",
// "string", "array", "bool", "ip", "cidr"), "required" (true, or a hash of
// key/value conditions on the data, compared as text), "min" and "max"
// (value of an int, byte length of a string, element count of an array),
// "one_of" (allowed strings), "subtype" and "element_validation" (the type
// and rule for each element of an array).
//
// Surprising cases:
// - The result is whether the errors hash gained KEYS. Pass an empty hash
//   if the result is to mean "nothing found"; earlier entries stay.
// - An unknown type is reported under "base", not under the rule's key. A
//   rule without a key, or a schema element that is no hash, is skipped.
// - JSON null counts as absent. A string that is empty but not required
//   is still checked against "one_of", "min" and "max": with "one_of" it
//   gives "invalid option " (nothing behind the blank).
// - "int" wants the canonical decimal text of a value that fits an int: 5
//   passes, 5.0, +5, 007 and 3000000000 do not.
// - Bad array elements are reported as a hash from element index to
//   messages, which replaces the array's own length messages. A missing
//   "element_validation" is an empty rule; "required" in it reads the data,
//   not the element.
// - "cidr" wants a prefix: "10.0.0.0/8" passes, a bare "10.0.0.0" fails.
// - Nothing raises, whatever the data. Null arguments are logged at ERROR
//   and give false.
#ifndef QORBASIC_JSON_VALIDATOR_H
#define QORBASIC_JSON_VALIDATOR_H

#include <string>

#include "qorbasic/export.h"
#include "qorbasic/json.h"

class QOR_API JsonValidator {
  public:
    JsonValidator();
    virtual ~JsonValidator();

    // True when `errors` has as many keys afterwards as before.
    static bool validate(const JsonHash* data, const JsonArray* schema, JsonHash* errors);

    // The building blocks. Each checks data->get(key) against `rule`.
    static void validateItem(std::string type, std::string key, const JsonHash* data,
                             const JsonNode* rule, JsonHash* errors);
    static void validateInt(std::string key, const JsonHash* data, const JsonNode* rule,
                            JsonHash* errors);
    static void validateString(std::string key, const JsonHash* data, const JsonNode* rule,
                               JsonHash* errors);
    static void validateArray(std::string key, const JsonHash* data, const JsonNode* rule,
                              JsonHash* errors);
    static void validateBool(std::string key, const JsonHash* data, const JsonNode* rule,
                             JsonHash* errors);
    static void validateIp(std::string key, const JsonHash* data, const JsonNode* rule,
                           JsonHash* errors);
    static void validateCidr(std::string key, const JsonHash* data, const JsonNode* rule,
                             JsonHash* errors);
    static bool isRequired(const JsonHash* data, const JsonNode* rule);
    // Appends `message` to the array under `key`, making the array (and
    // replacing any other value there) when needed.
    static void addError(JsonHash* errors, const std::string& key, const std::string& message);
};

#endif  // QORBASIC_JSON_VALIDATOR_H
