// JsonNode with its defaults, the scalar node classes, the casts and the
// writer.
#include <cstring>
#include <iostream>
#include <sstream>
#include <type_traits>
#include <typeinfo>

#include "json/json_internal.h"
#include "qorbasic/json.h"
#include "qorbasic/numbers.h"

// ---- JsonNode defaults

namespace {
const size_t kKeptWriteBuffer = 4 << 20;
}

JsonNode::~JsonNode() = default;

bool JsonNode::operator!=(const JsonNode& other) const {
    return !(*this == other);
}
bool JsonNode::isNull() const {
    return false;
}
bool JsonNode::isTruthy() const {
    return true;
}
bool JsonNode::isRaw() const {
    return false;
}
const JsonNode* JsonNode::get(const std::string&) const {
    return nullptr;
}
JsonNode* JsonNode::get(const std::string&) {
    return nullptr;
}
JsonNode* JsonNode::take(const std::string&) {
    return nullptr;
}
JsonHash* JsonNode::takeHash(const std::string&) {
    return nullptr;
}
std::map<std::string, const JsonNode*> JsonNode::query(
    const std::function<bool(const std::string&)>&) const {
    return {};
}
std::map<std::string, JsonNode*> JsonNode::query(const std::function<bool(const std::string&)>&) {
    return {};
}
const std::string& JsonNode::getStringValue(const std::string&) const {
    return JsonUtil::EMPTY_STRING;
}
bool JsonNode::getBoolValue(const std::string&) const {
    return false;
}
int JsonNode::getIntValue(const std::string&) const {
    return 0;
}
long JsonNode::getLongValue(const std::string&) const {
    return 0;
}
const JsonArray* JsonNode::getArrayValue(const std::string&) const {
    return nullptr;
}
JsonArray* JsonNode::getArrayValue(const std::string&) {
    return nullptr;
}
const JsonHash* JsonNode::getObjectValue(const std::string&) const {
    return nullptr;
}
JsonHash* JsonNode::getObjectValue(const std::string&) {
    return nullptr;
}
std::string JsonNode::getValue() const {
    return std::string();
}
std::string JsonNode::getValue(const std::string&) const {
    return std::string();
}
JsonNode* JsonNode::parseNode() const {
    return nullptr;
}

std::string JsonNode::toString() const {
    // Text is written into a buffer that the thread keeps, so that a large
    // document is not copied at every doubling of a fresh string, nor are its
    // pages faulted in anew at each call; the result is one copy of exactly
    // the right size. A buffer past kKeptWriteBuffer is given back. A node of
    // a client's class may call toString from its serialize, so a nested call
    // writes into a string of its own.
    thread_local std::string scratch;
    thread_local bool busy = false;
    if (busy) {
        std::string out;
        JsonWriter::append(out, *this);
        return out;
    }
    struct Busy {
        Busy() { busy = true; }
        ~Busy() { busy = false; }
    };
    std::string out;
    {
        Busy marked;
        scratch.clear();
        JsonWriter::append(scratch, *this);
        out = scratch;
    }
    if (scratch.capacity() > kKeptWriteBuffer) std::string().swap(scratch);
    return out;
}

const JsonNum* JsonNode::asNumValue() const {
    return cast(static_cast<const JsonNum*>(nullptr));
}
JsonNum* JsonNode::asNumValue() {
    return cast(static_cast<JsonNum*>(nullptr));
}
const JsonString* JsonNode::asStringValue() const {
    return cast(static_cast<const JsonString*>(nullptr));
}
JsonString* JsonNode::asStringValue() {
    return cast(static_cast<JsonString*>(nullptr));
}
const JsonBool* JsonNode::asBoolValue() const {
    return cast(static_cast<const JsonBool*>(nullptr));
}
JsonBool* JsonNode::asBoolValue() {
    return cast(static_cast<JsonBool*>(nullptr));
}
const JsonHash* JsonNode::asObject() const {
    return cast(static_cast<const JsonHash*>(nullptr));
}
JsonHash* JsonNode::asObject() {
    return cast(static_cast<JsonHash*>(nullptr));
}
const JsonArray* JsonNode::asArray() const {
    return cast(static_cast<const JsonArray*>(nullptr));
}
JsonArray* JsonNode::asArray() {
    return cast(static_cast<JsonArray*>(nullptr));
}

bool JsonNode::asBool() const {
    return asBoolValue()->value();
}
int JsonNode::asInt() const {
    return asNumValue()->intValue();
}
long JsonNode::asLong() const {
    return asNumValue()->longValue();
}
std::string JsonNode::asString() const {
    return asStringValue()->getStr();
}

// ---- JsonString

JsonString::JsonString(const std::string& text) : text_(text) {}
JsonString::JsonString(int value) : text_(std::to_string(value)) {}
JsonString::JsonString(const JsonString& other) : JsonNode(other), text_(other.text_) {}
JsonString::~JsonString() = default;

bool JsonString::operator==(const JsonNode& other) const {
    if (other.getType() != JSON_STRING) return false;
    const JsonString* s = other.asStringValue();
    return s && s->text_ == text_;
}
JsonType JsonString::getType() const {
    return JSON_STRING;
}
std::string JsonString::getValue() const {
    return text_;
}
void JsonString::serialize(std::ostream& out) const {
    JsonWriter::serialize(out, *this);
}
JsonNode* JsonString::clone() const {
    return new JsonString(text_);
}
JsonString& JsonString::operator=(const JsonString& other) {
    text_ = other.text_;
    return *this;
}

// ---- JsonNum

template <>
QOR_API JsonNode& JsonNum::set<std::string>(std::string value) {
    text_ = std::move(value);
    return *this;
}

// The same as set(text), without its copy of the argument.
JsonNum::JsonNum(const std::string& text) : text_(text) {}
JsonNum::JsonNum(long value) {
    set(value);
}
JsonNum::JsonNum(const JsonNum& other) : JsonNode(other), text_(other.text_) {}
JsonNum::~JsonNum() = default;

bool JsonNum::operator==(const JsonNode& other) const {
    if (other.getType() != JSON_NUM) return false;
    const JsonNum* n = other.asNumValue();
    return n && n->text_ == text_;
}
JsonType JsonNum::getType() const {
    return JSON_NUM;
}
std::string JsonNum::getValue() const {
    return text_;
}
void JsonNum::serialize(std::ostream& out) const {
    JsonWriter::serialize(out, *this);
}
JsonNode* JsonNum::clone() const {
    return new JsonNum(text_);
}
JsonNum& JsonNum::operator=(const JsonNum& other) {
    text_ = other.text_;
    return *this;
}
JsonNode& JsonNum::operator=(signed char value) {
    return set(value);
}
JsonNode& JsonNum::operator=(unsigned char value) {
    return set(value);
}
JsonNode& JsonNum::operator=(short value) {
    return set(value);
}
JsonNode& JsonNum::operator=(unsigned short value) {
    return set(value);
}
JsonNode& JsonNum::operator=(int value) {
    return set(value);
}
JsonNode& JsonNum::operator=(unsigned int value) {
    return set(value);
}
JsonNode& JsonNum::operator=(long value) {
    return set(value);
}
JsonNode& JsonNum::operator=(unsigned long value) {
    return set(value);
}
JsonNode& JsonNum::operator=(long long value) {
    return set(value);
}
JsonNode& JsonNum::operator=(unsigned long long value) {
    return set(value);
}
JsonNode& JsonNum::operator=(double value) {
    return set(value);
}

namespace {
// Character types would print as characters; widen them so they print as numbers.
template <class T>
auto streamable(T value) {
    if constexpr (std::is_same<T, signed char>::value || std::is_same<T, unsigned char>::value) {
        return static_cast<int>(value);
    } else {
        return value;
    }
}
}  // namespace

template <class T>
JsonNode& JsonNum::set(T value) {
    std::ostringstream out;
    out << streamable(value);
    text_ = out.str();
    return *this;
}

template QOR_API JsonNode& JsonNum::set<signed char>(signed char);
template QOR_API JsonNode& JsonNum::set<unsigned char>(unsigned char);
template QOR_API JsonNode& JsonNum::set<short>(short);
template QOR_API JsonNode& JsonNum::set<unsigned short>(unsigned short);
template QOR_API JsonNode& JsonNum::set<int>(int);
template QOR_API JsonNode& JsonNum::set<unsigned int>(unsigned int);
template QOR_API JsonNode& JsonNum::set<long>(long);
template QOR_API JsonNode& JsonNum::set<unsigned long>(unsigned long);
template QOR_API JsonNode& JsonNum::set<long long>(long long);
template QOR_API JsonNode& JsonNum::set<unsigned long long>(unsigned long long);
template QOR_API JsonNode& JsonNum::set<double>(double);

int JsonNum::intValue() const {
    try {
        return static_cast<int>(std::stol(text_, nullptr, 10));
    } catch (const std::exception& e) {
        std::cerr << "intValue"
                  << " failed: " << e.what();
        return 0;
    }
}

long JsonNum::longValue() const {
    long value = 0;
    if (!parse_decimal64(value, text_)) {
        std::cerr << "Could not convert " << text_ << " to long value" << std::endl;
        return 0;
    }
    return value;
}

// ---- JsonBool

JsonBool::JsonBool(bool value) : value_(value) {}
JsonBool::JsonBool(const JsonBool& other) : JsonNode(other), value_(other.value_) {}
JsonBool::~JsonBool() = default;

bool JsonBool::operator==(const JsonNode& other) const {
    if (other.getType() != JSON_BOOL) return false;
    const JsonBool* b = other.asBoolValue();
    return b && b->value_ == value_;
}
JsonType JsonBool::getType() const {
    return JSON_BOOL;
}
bool JsonBool::isTruthy() const {
    return value_;
}
std::string JsonBool::getValue() const {
    return value_ ? "true" : "false";
}
void JsonBool::serialize(std::ostream& out) const {
    JsonWriter::serialize(out, *this);
}
JsonNode* JsonBool::clone() const {
    return new JsonBool(value_);
}
JsonBool& JsonBool::operator=(const JsonBool& other) {
    value_ = other.value_;
    return *this;
}

// ---- JsonNull

JsonNull::JsonNull() = default;
JsonNull::JsonNull(const JsonNull& other) = default;
JsonNull::~JsonNull() = default;

bool JsonNull::operator==(const JsonNode& other) const {
    return other.getType() == JSON_NULL;
}
JsonType JsonNull::getType() const {
    return JSON_NULL;
}
bool JsonNull::isNull() const {
    return true;
}
bool JsonNull::isTruthy() const {
    return false;
}
std::string JsonNull::getValue() const {
    return "null";
}
void JsonNull::serialize(std::ostream& out) const {
    JsonWriter::serialize(out, *this);
}
JsonNode* JsonNull::clone() const {
    return new JsonNull;
}
JsonNull& JsonNull::operator=(const JsonNull&) {
    return *this;
}

// ---- Writer

namespace {

// For each byte, the letter behind the backslash of its escape, or 0 for a
// byte that is written as it is.
struct EscapeTable {
    char letter[256];
    EscapeTable() : letter() {
        letter[0x08] = 'b';
        letter[0x09] = 't';
        letter[0x0A] = 'n';
        letter[0x0C] = 'f';
        letter[0x0D] = 'r';
        letter[0x22] = '"';
        letter[0x5C] = '\\';
    }
};
const EscapeTable kEscapes;

}  // namespace

void JsonWriter::appendString(std::string& out, const char* data, size_t size) {
    out.push_back('"');
    size_t run = 0;  // start of the bytes not yet copied
    for (size_t i = 0; i < size; ++i) {
        char letter = kEscapes.letter[static_cast<unsigned char>(data[i])];
        if (letter == 0) continue;
        out.append(data + run, i - run);
        out.push_back('\\');
        out.push_back(letter);
        run = i + 1;
    }
    out.append(data + run, size - run);
    out.push_back('"');
}

void JsonWriter::appendOwn(std::string& out, const JsonHash& hash) {
    out.push_back('{');
    bool first = true;
    for (const auto& entry : hash.entries_) {
        if (!first) out.push_back(',');
        first = false;
        appendString(out, entry.first.data(), entry.first.size());
        out.push_back(':');
        append(out, *entry.second);
    }
    out.push_back('}');
}

void JsonWriter::appendOwn(std::string& out, const JsonArray& array) {
    out.push_back('[');
    bool first = true;
    for (const JsonNode* element : array.elements_) {
        if (!first) out.push_back(',');
        first = false;
        append(out, *element);
    }
    out.push_back(']');
}

void JsonWriter::appendOwn(std::string& out, const JsonString& string) {
    appendString(out, string.text_.data(), string.text_.size());
}

void JsonWriter::appendOwn(std::string& out, const JsonNum& number) {
    out += number.text_;
}

void JsonWriter::appendOwn(std::string& out, const JsonBool& value) {
    out += value.value_ ? "true" : "false";
}

void JsonWriter::appendOwn(std::string& out, const JsonNull&) {
    out += "null";
}

void JsonWriter::appendOwn(std::string& out, const RawJson& raw) {
    out += raw.text_;
}

void JsonWriter::append(std::string& out, const JsonNode& node) {
    // Exact class by the address of its type_info: the library's classes
    // have one each. A client's subclass is written by its serialize().
    const std::type_info* type = &typeid(node);
    if (type == &typeid(JsonString)) {
        appendOwn(out, static_cast<const JsonString&>(node));
    } else if (type == &typeid(JsonNum)) {
        appendOwn(out, static_cast<const JsonNum&>(node));
    } else if (type == &typeid(JsonHash)) {
        appendOwn(out, static_cast<const JsonHash&>(node));
    } else if (type == &typeid(JsonArray)) {
        appendOwn(out, static_cast<const JsonArray&>(node));
    } else if (type == &typeid(JsonBool)) {
        appendOwn(out, static_cast<const JsonBool&>(node));
    } else if (type == &typeid(JsonNull)) {
        appendOwn(out, static_cast<const JsonNull&>(node));
    } else if (type == &typeid(RawJson)) {
        appendOwn(out, static_cast<const RawJson&>(node));
    } else {
        std::ostringstream stream;
        node.serialize(stream);
        out += stream.str();
    }
}

void JsonUtil::encodeString(const std::string& text, std::ostream& out, bool quote) {
    std::string encoded;
    encoded.reserve(text.size() + 2);
    JsonWriter::appendString(encoded, text.data(), text.size());
    if (quote) {
        out.write(encoded.data(), static_cast<std::streamsize>(encoded.size()));
    } else {
        out.write(encoded.data() + 1, static_cast<std::streamsize>(encoded.size() - 2));
    }
}
