// JsonValidator: the messages of each rule type, conditions on "required", the result,
// and the building blocks.
#include <gtest/gtest.h>

#include <initializer_list>
#include <memory>
#include <string>
#include <tuple>

#include "qorbasic/json.h"
#include "qorbasic/json_validator.h"

namespace {

// The errors of validating the data text against the schema text, as text. A schema
// text that is no array is the body of a single rule for key "k". The result agrees
// with whether errors were found; the validator fuzz target checks that on every input.
std::string run(const std::string& data_text, std::string schema_text) {
    if (schema_text[0] != '[') schema_text = R"([{"key":"k",)" + schema_text + "}]";
    std::unique_ptr<JsonHash> data(JsonUtil::parseObject(data_text));
    std::unique_ptr<JsonArray> schema(JsonUtil::parseArray(schema_text));
    EXPECT_TRUE(data && schema) << data_text << " " << schema_text;
    if (!data || !schema) return "unparsed";
    JsonHash errors;
    JsonValidator::validate(data.get(), schema.get(), &errors);
    return errors.toString();
}

struct Case {
    const char* data;
    const char* schema;
    const char* errors;  // "{}" for none
};

// An expected text that is no hash lists the messages for key "k".
void expect_cases(std::initializer_list<Case> cases) {
    for (const Case& c : cases) {
        std::string errors = c.errors;
        if (errors[0] != '{') errors = R"({"k":[)" + errors + "]}";
        EXPECT_EQ(run(c.data, c.schema), errors) << c.data << " against " << c.schema;
    }
}

TEST(JsonValidatorTest, WholeRunCollectsEveryMessageUnderItsKey) {
    EXPECT_EQ(
        run(R"({"name":"","port":70000,"mode":"c"})",
            R"([{"key":"name","type":"string","required":true},)"
            R"({"key":"port","type":"int","min":1,"max":65535},)"
            R"({"key":"zone","type":"int","required":{"mode":"c"}},{"key":"x","type":"fancy"}])"),
        R"({"base":["Found invalid type: fancy"],"name":["can't be blank"],)"
        R"("port":["can't be greater than 65535"],"zone":["can't be blank"]})");
}

TEST(JsonValidatorTest, SchemaShapeAndUnknownTypes) {
    expect_cases({
        // Elements that are no hash, and rules without a usable key, are skipped.
        {R"({"a":1})",
         R"([1,"x",null,{"type":"int"},{"key":"","type":"fancy"},{"key":5,"type":"int"}])", "{}"},
        {R"({"a":1})", R"([{"key":"a","type":"fancy"}])",
         R"({"base":["Found invalid type: fancy"]})"},
        // Two rules for one key share one array, in schema order.
        {R"({"k":"abc"})", R"([{"key":"k","type":"string","max":1},{"key":"k","type":"ip"}])",
         R"("cannot be more than 1 characters","must be a valid IP address")"},
    });
}

TEST(JsonValidatorTest, RequiredIsTrueOrConditionsOnTheDataAndNullIsAbsent) {
    for (const std::string type : {"int", "string", "array", "bool", "ip", "cidr"}) {
        for (const char* data : {"{}", R"({"k":null})"}) {
            EXPECT_EQ(run(data, R"("type":")" + type + "\""), "{}") << type;
            EXPECT_EQ(run(data, R"("type":")" + type + R"(","required":true)"),
                      R"({"k":["can't be blank"]})")
                << data << " " << type;
        }
    }
    // Only true and a hash make a value required; the comparison is of texts, and an absent
    // key, a hash and an array all read as "".
    // clang-format off
    const std::tuple<const char*, const char*, bool> cases[] = {
        {"{}", "true", true},  {"{}", "{}", true},  {"{}", "false", false}, {"{}", "[true]", false},
        {R"({"mode":"dhcp"})", R"({"mode":"static"})", false},
        {R"({"a":1})", R"({"a":1,"b":"x"})", false},
        {R"({"a":1,"b":"x"})", R"({"a":1,"b":"x"})", true},
        {R"({"a":"1"})", R"({"a":1})", true},  {R"({"a":null})", R"({"a":"null"})", true},
        {"{}", R"({"a":""})", true},           {R"({"a":[1]})", R"({"a":{}})", true},
    };
    // clang-format on
    for (const auto& [data, required, is_required] : cases)
        EXPECT_EQ(run(data, R"("type":"int","required":)" + std::string(required)),
                  is_required ? R"({"k":["can't be blank"]})" : "{}")
            << data << " required " << required;
}

TEST(JsonValidatorTest, IntAndBoolRules) {
    expect_cases({
        {R"({"k":5})", R"("type":"int","min":5,"max":5)", "{}"},
        {R"({"k":5})", R"("type":"int","min":10,"max":1)",
         R"("can't be less than 10","can't be greater than 1")"},
        {R"({"k":true})", R"("type":"int")", R"("must be an integer")"},
        // Bounds that are no number are ignored.
        {R"({"k":5})", R"("type":"int","min":"10","max":null)", "{}"},
        {R"({"k":-2147483648})", R"("type":"int")", "{}"},
        {R"({"k":false})", R"("type":"bool")", "{}"},
        {R"({"k":1})", R"("type":"bool")", R"("must be a boolean")"},
    });
    // "int" wants the canonical decimal text of a value that fits an int, and reads no bounds
    // against anything else.
    for (const char* text : {"5.0", "+5", "007", "1e3", "0x10", "3000000000", "-0", "2147483648"})
        EXPECT_EQ(run(std::string(R"({"k":)") + text + "}", R"("type":"int","min":1,"max":2)"),
                  R"({"k":["must be an integer"]})")
            << text;
}

TEST(JsonValidatorTest, StringRules) {
    expect_cases({
        {R"({"k":""})", R"("type":"string","required":true,"min":3)", R"("can't be blank")"},
        {R"({"k":""})", R"("type":"string","min":1)", R"("cannot be less than 1 characters")"},
        {R"({"k":""})", R"("type":"string","one_of":["a"])", R"("invalid option ")"},
        {R"({"k":"abcd"})", R"("type":"string","max":3)", R"("cannot be more than 3 characters")"},
        // Lengths count bytes: two characters of two bytes each.
        {"{\"k\":\"\xc3\xa9\xc3\xa9\"}", R"("type":"string","max":3)",
         R"("cannot be more than 3 characters")"},
        {R"({"k":"z"})", R"("type":"string","one_of":["a","b"],"min":2,"max":0)",
         R"({"k":["invalid option z","cannot be less than 2 characters",)"
         R"("cannot be more than 0 characters"]})"},
        // Options that are no strings never match, and never crash.
        {R"({"k":"1"})", R"("type":"string","one_of":[1,null,["1"],{"1":1}])",
         R"("invalid option 1")"},
        {R"({"k":5})", R"("type":"string")", R"("must be a string")"},
    });
}

TEST(JsonValidatorTest, ArrayRules) {
    expect_cases({
        {R"({"k":[1,2,3]})", R"("type":"array","subtype":"int","max":2)",
         R"("must have less than 2 elements")"},
        {R"({"k":[]})", R"("type":"array","min":1)", R"("must have at least 1 elements")"},
        {R"({"k":{}})", R"("type":"array")", R"("must be an array")"},
        // Each element is the value under its index.
        {R"({"k":["1.2.3.4","x",5]})", R"("type":"array","subtype":"ip")",
         R"({"k":{"1":["must be a valid IP address"],"2":["must be a string"]}})"},
        {R"({"k":[1,20]})", R"("type":"array","subtype":"int","element_validation":{"max":10})",
         R"({"k":{"1":["can't be greater than 10"]}})"},
        // Element errors replace the length messages.
        {R"({"k":[1,"x"]})", R"("type":"array","subtype":"int","max":1)",
         R"({"k":{"1":["must be an integer"]}})"},
        // No subtype: one complaint per element, under "base" of the elements.
        {R"({"k":[1,2]})", R"("type":"array")",
         R"({"k":{"base":["Found invalid type: ","Found invalid type: "]}})"},
        // Nested arrays give nested hashes.
        {R"({"k":[[1],["x"]]})",
         R"("type":"array","subtype":"array","element_validation":{"subtype":"int"})",
         R"({"k":{"1":{"0":["must be an integer"]}}})"},
        // "required" of the elements reads the data of the call.
        {R"({"mode":"strict","k":["a","",null]})",
         R"("type":"array","subtype":"string","element_validation":{"required":{"mode":"strict"}})",
         R"({"k":{"1":["can't be blank"],"2":["can't be blank"]}})"},
    });
}

TEST(JsonValidatorTest, IpAndCidrRules) {
    expect_cases({
        {R"({"k":"::1"})", R"("type":"ip")", "{}"},
        {R"({"k":""})", R"("type":"ip","required":true)", R"("can't be blank")"},
        {R"({"k":"10.0.0.0/8"})", R"("type":"ip")", R"("must be a valid IP address")"},
        {R"({"k":"10.0.0.0/8"})", R"("type":"cidr")", "{}"},
        // The bare-address test compares texts: upper-case digits pass.
        {R"({"k":"FE80::1"})", R"("type":"cidr")", "{}"},
        {R"({"k":""})", R"("type":"cidr")", "{}"},
    });
    // Texts the prefix parser raises on are invalid like any other.
    for (const std::string text :
         {"10.0.0.0/33", "10.0.0.0", "10.0.0.0/x", "::/999999999999999999999"})
        EXPECT_EQ(run(R"({"k":")" + text + "\"}", R"("type":"cidr")"),
                  R"({"k":["must be a valid CIDR"]})")
            << text;
}

TEST(JsonValidatorTest, ResultCountsNewKeysOnlyAndNullArgumentsGiveFalse) {
    std::unique_ptr<JsonHash> data(JsonUtil::parseObject(R"({"k":"x"})"));
    std::unique_ptr<JsonArray> schema(JsonUtil::parseArray(R"([{"key":"k","type":"int"}])"));
    JsonHash errors;
    errors.add("earlier", "kept");
    EXPECT_FALSE(JsonValidator::validate(data.get(), schema.get(), &errors));
    EXPECT_TRUE(JsonValidator::validate(data.get(), schema.get(), &errors));
    const char* expected = R"({"earlier":"kept","k":["must be an integer","must be an integer"]})";
    EXPECT_EQ(errors.toString(), expected);

    testing::internal::CaptureStderr();
    EXPECT_FALSE(JsonValidator::validate(nullptr, schema.get(), &errors));
    EXPECT_FALSE(JsonValidator::validate(data.get(), nullptr, &errors));
    EXPECT_FALSE(JsonValidator::validate(data.get(), schema.get(), nullptr));
    std::string log = testing::internal::GetCapturedStderr();
    EXPECT_NE(log.find("JsonValidator received null argument and will abort."), std::string::npos)
        << log;
    EXPECT_EQ(errors.toString(), expected);
}

TEST(JsonValidatorTest, BuildingBlocksReadTheDataAndAddErrorReplacesWhatIsNoArray) {
    std::unique_ptr<JsonHash> data(JsonUtil::parseObject(R"({"b":0})"));
    JsonHash errors;
    errors.add("b", "no array");
    JsonValidator::validateItem("bool", "b", data.get(), &JsonHash::EMPTY_HASH, &errors);
    EXPECT_EQ(errors.toString(), R"({"b":["must be a boolean"]})");
}

TEST(JsonValidatorTest, ClientEntriesInTheSharedEmptyHashAreNoRules) {
    JsonHash::EMPTY_HASH.add("required", new JsonBool(true));
    JsonHash data, errors;
    JsonValidator::validateString("missing", &data, nullptr, &errors);
    JsonValidator::validateItem("string", "missing", nullptr, nullptr, &errors);
    delete JsonHash::EMPTY_HASH.take("required");
    EXPECT_EQ(errors.toString(), "{}");
}

}  // namespace
