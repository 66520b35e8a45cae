// JsonValidator: checks a document against a schema, messages collected per key.
#include <stdexcept>
#include <string>

#include "logging/library_log.h"
#include "qorbasic/cidr.h"
#include "qorbasic/ipaddress.h"
#include "qorbasic/json_validator.h"

namespace {

// One value under check. The public validators read the value from the data
// by its key; the elements of an array are checked with the element itself
// as the value and its index as the key, while "required" conditions still
// read the data of the call.
struct Check {
    const std::string& key;
    const JsonNode* value;
    const JsonHash* data;
    const JsonNode* rule;
    JsonHash* errors;

    void fail(const std::string& message) const { JsonValidator::addError(errors, key, message); }
};

// The stand-in for absent data and rules. Not JsonHash::EMPTY_HASH: clients
// may write to that one, and a key added there would become a rule here.
const JsonHash* empty_hash() {
    static const JsonHash empty;
    return &empty;
}

const JsonHash* or_empty(const JsonNode* node) {
    const JsonHash* hash = node ? node->asObject() : nullptr;
    return hash ? hash : empty_hash();
}

Check make_check(const std::string& key, const JsonHash* data, const JsonNode* rule,
                 JsonHash* errors) {
    data = or_empty(data);
    return Check{key, data->get(key), data, rule ? rule : empty_hash(), errors};
}

// Absent and JSON null are blank; blank is an error only when required.
// True when the validator has nothing more to do.
bool handled_blank(const Check& c) {
    if (c.value != nullptr && c.value->getType() != JSON_NULL) return false;
    if (JsonValidator::isRequired(c.data, c.rule)) c.fail("can't be blank");
    return true;
}

// A numeric bound of the rule; false when absent or not a number, or, if
// `counts` (lengths and sizes), negative.
bool bound(const Check& c, const char* name, bool counts, int& out) {
    const JsonNode* node = c.rule->get(name);
    if (node == nullptr || node->getType() != JSON_NUM) return false;
    out = node->asInt();
    return !counts || out >= 0;
}

// The text of a string value, after the checks that "string", "ip" and
// "cidr" share up to the emptiness of the text. False when the validator is
// done.
bool string_value(const Check& c, std::string& text) {
    if (handled_blank(c)) return false;
    if (c.value->getType() != JSON_STRING) {
        c.fail("must be a string");
        return false;
    }
    text = c.value->asString();
    return true;
}

bool handled_empty(const Check& c, const std::string& text) {
    if (!text.empty()) return false;
    if (JsonValidator::isRequired(c.data, c.rule)) c.fail("can't be blank");
    return true;
}

void check_item(const std::string& type, const Check& c);

void check_int(const Check& c) {
    if (handled_blank(c)) return;
    // The integer test is textual: only the canonical decimal form of a value
    // that fits an int passes. Bounds are not checked on a value that failed
    // it, since its int reading (cut, rounded or wrapped) is not the value.
    if (c.value->getType() != JSON_NUM) {
        c.fail("must be an integer");
        return;
    }
    int n = c.value->asInt();
    if (c.value->getValue() != std::to_string(n)) {
        c.fail("must be an integer");
        return;
    }
    int limit = 0;
    if (bound(c, "min", false, limit) && n < limit) {
        c.fail("can't be less than " + std::to_string(limit));
    }
    if (bound(c, "max", false, limit) && n > limit) {
        c.fail("can't be greater than " + std::to_string(limit));
    }
}

bool is_option(const JsonArray& options, const std::string& text) {
    for (const JsonNode* option : options) {
        // An option that is not a string never matches.
        const JsonString* s = option ? option->asStringValue() : nullptr;
        if (s != nullptr && s->getStr() == text) return true;
    }
    return false;
}

void check_string(const Check& c) {
    std::string text;
    if (!string_value(c, text)) return;
    if (text.empty() && JsonValidator::isRequired(c.data, c.rule)) {
        c.fail("can't be blank");
        return;
    }
    const JsonArray* options = c.rule->getArrayValue("one_of");
    if (options != nullptr && !is_option(*options, text)) c.fail("invalid option " + text);
    int limit = 0;
    if (bound(c, "min", true, limit) && text.size() < static_cast<size_t>(limit)) {
        c.fail("cannot be less than " + std::to_string(limit) + " characters");
    }
    if (bound(c, "max", true, limit) && text.size() > static_cast<size_t>(limit)) {
        c.fail("cannot be more than " + std::to_string(limit) + " characters");
    }
}

void check_array(const Check& c) {
    if (handled_blank(c)) return;
    const JsonArray* elements = c.value->asArray();
    if (c.value->getType() != JSON_ARRAY || elements == nullptr) {
        c.fail("must be an array");
        return;
    }
    int limit = 0;
    if (bound(c, "min", true, limit) && elements->size() < static_cast<size_t>(limit)) {
        c.fail("must have at least " + std::to_string(limit) + " elements");
    }
    if (bound(c, "max", true, limit) && elements->size() > static_cast<size_t>(limit)) {
        c.fail("must have less than " + std::to_string(limit) + " elements");
    }
    const std::string& subtype = c.rule->getStringValue("subtype");
    // No "element_validation" is an empty rule: the subtype alone applies.
    const JsonNode* element_rule = c.rule->getObjectValue("element_validation");
    if (element_rule == nullptr) element_rule = empty_hash();
    JsonHash element_errors;
    size_t index = 0;
    for (const JsonNode* element : *elements) {
        std::string element_key = std::to_string(index++);
        check_item(subtype, Check{element_key, element, c.data, element_rule, &element_errors});
    }
    // Element errors replace the length messages under the key.
    if (element_errors.size() > 0) c.errors->add(c.key, element_errors.clone());
}

void check_bool(const Check& c) {
    if (handled_blank(c)) return;
    if (c.value->getType() != JSON_BOOL) c.fail("must be a boolean");
}

void check_ip(const Check& c) {
    std::string text;
    if (!string_value(c, text) || handled_empty(c, text)) return;
    if (!IPAddress(text).isValid()) c.fail("must be a valid IP address");
}

bool is_cidr_with_prefix(const std::string& text) {
    try {
        IPCidr prefix(text);
        // A bare address would pass with the full length; a prefix is wanted.
        return prefix.isValid() && prefix.plain() != text;
    } catch (const std::invalid_argument&) {
    } catch (const std::out_of_range&) {
    }
    return false;  // the prefix number could not be read
}

void check_cidr(const Check& c) {
    std::string text;
    if (!string_value(c, text) || handled_empty(c, text)) return;
    if (!is_cidr_with_prefix(text)) c.fail("must be a valid CIDR");
}

void check_item(const std::string& type, const Check& c) {
    static const struct {
        const char* type;
        void (*check)(const Check&);
    } checks[] = {
        {"int", check_int},   {"string", check_string}, {"array", check_array},
        {"bool", check_bool}, {"ip", check_ip},         {"cidr", check_cidr},
    };
    for (const auto& entry : checks) {
        if (type == entry.type) {
            entry.check(c);
            return;
        }
    }
    JsonValidator::addError(c.errors, "base", "Found invalid type: " + type);
}

void log_null_argument() {
    QOR_LOG_SITE(QOR_LOGLEVEL_ERROR, "JsonValidator received null argument and will abort.",
                 "JsonValidator", "validate");
}

}  // namespace

JsonValidator::JsonValidator() = default;

JsonValidator::~JsonValidator() = default;

bool JsonValidator::validate(const JsonHash* data, const JsonArray* schema, JsonHash* errors) {
    if (data == nullptr || schema == nullptr || errors == nullptr) {
        // The process goes on in spite of the wording, which clients match.
        log_null_argument();
        return false;
    }
    unsigned int keys_before = errors->size();
    for (const JsonNode* rule : *schema) {
        if (rule == nullptr || rule->getType() != JSON_HASH) continue;
        const std::string& key = rule->getStringValue("key");
        if (!key.empty()) validateItem(rule->getStringValue("type"), key, data, rule, errors);
    }
    return errors->size() == keys_before;
}

// The validate entry points take their texts by value, as the public class
// declares them.
// NOLINTBEGIN(performance-unnecessary-value-param)
void JsonValidator::validateItem(std::string type, std::string key, const JsonHash* data,
                                 const JsonNode* rule, JsonHash* errors) {
    if (errors != nullptr) check_item(type, make_check(key, data, rule, errors));
}

#define QOR_VALIDATOR_ENTRY(name, check)                                                  \
    void JsonValidator::name(std::string key, const JsonHash* data, const JsonNode* rule, \
                             JsonHash* errors) {                                          \
        if (errors != nullptr) check(make_check(key, data, rule, errors));                \
    }

QOR_VALIDATOR_ENTRY(validateInt, check_int)
QOR_VALIDATOR_ENTRY(validateString, check_string)
QOR_VALIDATOR_ENTRY(validateArray, check_array)
QOR_VALIDATOR_ENTRY(validateBool, check_bool)
QOR_VALIDATOR_ENTRY(validateIp, check_ip)
QOR_VALIDATOR_ENTRY(validateCidr, check_cidr)
// NOLINTEND(performance-unnecessary-value-param)

#undef QOR_VALIDATOR_ENTRY

bool JsonValidator::isRequired(const JsonHash* data, const JsonNode* rule) {
    const JsonNode* required = rule ? rule->get("required") : nullptr;
    if (required == nullptr) return false;
    if (required->getType() == JSON_BOOL) return required->asBool();
    if (required->getType() != JSON_HASH) return false;
    // Conditions compare texts: an absent key, a hash and an array all read
    // as "", so a condition with an empty value holds for an absent key.
    const JsonHash* conditions = required->asObject();
    if (conditions == nullptr) return false;
    data = or_empty(data);
    for (const auto& condition : *conditions) {
        if (conditions->getValue(condition.first) != data->getValue(condition.first)) return false;
    }
    return true;
}

void JsonValidator::addError(JsonHash* errors, const std::string& key, const std::string& message) {
    if (errors == nullptr) return;
    JsonArray* messages = errors->getArrayValue(key);
    if (messages == nullptr) {
        messages = new JsonArray();
        errors->add(key, messages);
    }
    messages->push_back(message);
}
