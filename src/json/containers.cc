// JsonHash and JsonArray: the containers that own their children.
#include <memory>
#include <ostream>

#include "json/json_internal.h"
#include "qorbasic/json.h"

namespace {

// A plain deep copy of one child, made by the type that it reports, so that a
// RawJson child comes out as a copy of its parsed value.
JsonNode* copyChild(const JsonNode& child) {
    switch (child.getType()) {
        case JSON_HASH:
            if (const JsonHash* h = child.asObject()) return new JsonHash(*h);
            break;
        case JSON_STRING:
            if (const JsonString* s = child.asStringValue()) return new JsonString(*s);
            break;
        case JSON_ARRAY:
            if (const JsonArray* a = child.asArray()) return new JsonArray(*a);
            break;
        case JSON_BOOL:
            if (const JsonBool* b = child.asBoolValue()) return new JsonBool(*b);
            break;
        case JSON_NUM:
            if (const JsonNum* n = child.asNumValue()) return new JsonNum(*n);
            break;
        case JSON_NULL:
            break;
    }
    // JSON_NULL, and a RawJson whose text does not parse.
    return new JsonNull;
}

bool holdsChild(const JsonNode* child, const JsonNode* node) {
    return child == node || (child && JsonWriter::holds(*child, node));
}

}  // namespace

bool JsonWriter::holds(const JsonNode& root, const JsonNode* node) {
    const std::type_info* type = &typeid(root);
    if (type == &typeid(JsonHash)) {
        for (const auto& entry : static_cast<const JsonHash&>(root).entries_) {
            if (holdsChild(entry.second, node)) return true;
        }
    } else if (type == &typeid(JsonArray)) {
        for (const JsonNode* element : static_cast<const JsonArray&>(root).elements_) {
            if (holdsChild(element, node)) return true;
        }
    } else if (type == &typeid(RawJson)) {
        return holdsChild(static_cast<const RawJson&>(root).parsed_, node);
    }
    return false;
}

// ---- JsonHash

JsonHash JsonHash::EMPTY_HASH;

JsonHash::JsonHash() = default;
JsonHash::JsonHash(const JsonHash& other) : JsonNode(other) {
    *this = other;
}
JsonHash::~JsonHash() {
    for (auto& entry : entries_) delete entry.second;
}

JsonHash& JsonHash::operator=(const JsonHash& other) {
    // Copying from itself or from its own subtree would free the source
    // while it is read; such an assignment leaves the hash as it was.
    if (&other == this || JsonWriter::holds(*this, &other)) return *this;
    // The copies gather in a hash of their own, which frees them if a copy
    // throws, and frees the old children after the swap.
    JsonHash copy;
    for (const auto& entry : other.entries_) {
        std::unique_ptr<JsonNode> child(copyChild(*entry.second));
        copy.entries_.emplace_hint(copy.entries_.end(), entry.first, child.get());
        static_cast<void>(child.release());  // the container owns it now
    }
    entries_.swap(copy.entries_);
    return *this;
}

bool JsonHash::operator==(const JsonNode& other) const {
    if (&other == this) return true;
    if (other.getType() != JSON_HASH) return false;
    const JsonHash* hash = other.asObject();
    if (!hash || hash->entries_.size() != entries_.size()) return false;
    auto theirs = hash->entries_.begin();
    for (const auto& mine : entries_) {
        if (mine.first != theirs->first || !(*mine.second == *theirs->second)) return false;
        ++theirs;
    }
    return true;
}

JsonType JsonHash::getType() const {
    return JSON_HASH;
}

const JsonNode* JsonHash::get(const std::string& key) const {
    auto it = entries_.find(key);
    return it == entries_.end() ? nullptr : it->second;
}

JsonNode* JsonHash::get(const std::string& key) {
    auto it = entries_.find(key);
    return it == entries_.end() ? nullptr : it->second;
}

JsonNode* JsonHash::take(const std::string& key) {
    auto it = entries_.find(key);
    if (it == entries_.end()) return nullptr;
    JsonNode* value = it->second;
    entries_.erase(it);
    return value;
}

JsonHash* JsonHash::takeHash(const std::string& key) {
    auto it = entries_.find(key);
    if (it == entries_.end() || !it->second || it->second->getType() != JSON_HASH) return nullptr;
    JsonNode* value = it->second;
    JsonHash* hash = value->asObject();
    if (!hash) return nullptr;
    if (value->isRaw()) {
        // The hash belongs to the RawJson: hand out a copy the caller owns,
        // and free the raw node with its tree.
        hash = new JsonHash(*hash);
        delete value;
    }
    entries_.erase(it);
    return hash;
}

std::map<std::string, const JsonNode*> JsonHash::query(
    const std::function<bool(const std::string&)>& predicate) const {
    std::map<std::string, const JsonNode*> found;
    for (const auto& entry : entries_) {
        if (predicate(entry.first)) found.emplace_hint(found.end(), entry.first, entry.second);
    }
    return found;
}

std::map<std::string, JsonNode*> JsonHash::query(
    const std::function<bool(const std::string&)>& predicate) {
    std::map<std::string, JsonNode*> found;
    for (const auto& entry : entries_) {
        if (predicate(entry.first)) found.emplace_hint(found.end(), entry.first, entry.second);
    }
    return found;
}

const std::string& JsonHash::getStringValue(const std::string& key) const {
    const JsonNode* node = get(key);
    const JsonString* s = node ? node->asStringValue() : nullptr;
    return s ? s->getStr() : JsonUtil::EMPTY_STRING;
}

bool JsonHash::getBoolValue(const std::string& key) const {
    const JsonNode* node = get(key);
    const JsonBool* b = node ? node->asBoolValue() : nullptr;
    return b ? b->value() : false;
}

int JsonHash::getIntValue(const std::string& key) const {
    const JsonNode* node = get(key);
    const JsonNum* n = node ? node->asNumValue() : nullptr;
    return n ? n->intValue() : -1;
}

long JsonHash::getLongValue(const std::string& key) const {
    const JsonNode* node = get(key);
    const JsonNum* n = node ? node->asNumValue() : nullptr;
    return n ? n->longValue() : -1;
}

const JsonArray* JsonHash::getArrayValue(const std::string& key) const {
    const JsonNode* node = get(key);
    return node ? node->asArray() : nullptr;
}

JsonArray* JsonHash::getArrayValue(const std::string& key) {
    JsonNode* node = get(key);
    return node ? node->asArray() : nullptr;
}

const JsonHash* JsonHash::getObjectValue(const std::string& key) const {
    const JsonNode* node = get(key);
    return node ? node->asObject() : nullptr;
}

JsonHash* JsonHash::getObjectValue(const std::string& key) {
    JsonNode* node = get(key);
    return node ? node->asObject() : nullptr;
}

std::string JsonHash::getValue(const std::string& key) const {
    const JsonNode* node = get(key);
    return node ? node->getValue() : std::string();
}

void JsonHash::serialize(std::ostream& out) const {
    JsonWriter::serialize(out, *this);
}

std::string JsonHash::toString() const {
    return JsonNode::toString();
}
JsonNode* JsonHash::clone() const {
    return new JsonHash(*this);
}

JsonHash& JsonHash::add(const std::string& key, JsonNode* value) {
    auto it = entries_.lower_bound(key);
    if (it != entries_.end() && it->first == key) {
        // Storing the node that is already there must not free it.
        if (it->second != value) {
            delete it->second;
            it->second = value;
        }
    } else {
        entries_.emplace_hint(it, key, value);
    }
    return *this;
}

JsonHash& JsonHash::add(const std::string& key, const char* value) {
    return add(key, new JsonString(value));
}
JsonHash& JsonHash::add(const std::string& key, const std::string& value) {
    return add(key, new JsonString(value));
}
JsonHash& JsonHash::add(const std::string& key, long value) {
    return add(key, new JsonNum(value));
}

void JsonHash::getKeys(std::vector<std::string>& keys) const {
    keys.reserve(keys.size() + entries_.size());
    for (const auto& entry : entries_) keys.push_back(entry.first);
}

// ---- JsonArray

JsonArray::JsonArray(const std::vector<JsonNode*>& elements) : elements_(elements) {}

JsonArray::JsonArray(const std::set<std::string>& strings) {
    elements_.reserve(strings.size());
    for (const std::string& s : strings) push_back(s);
}

JsonArray::JsonArray(const JsonArray& other) : JsonNode(other) {
    *this = other;
}
JsonArray::~JsonArray() {
    clear(true);
}

JsonArray& JsonArray::operator=(const JsonArray& other) {
    if (&other == this || JsonWriter::holds(*this, &other)) return *this;
    // As for the hash: an array of its own owns the copies until the swap.
    JsonArray copy;
    copy.elements_.reserve(other.elements_.size());
    for (const JsonNode* element : other.elements_) copy.elements_.push_back(copyChild(*element));
    elements_.swap(copy.elements_);
    return *this;
}

bool JsonArray::operator==(const JsonNode& other) const {
    if (&other == this) return true;
    if (other.getType() != JSON_ARRAY) return false;
    const JsonArray* array = other.asArray();
    if (!array || array->elements_.size() != elements_.size()) return false;
    for (size_t i = 0; i < elements_.size(); ++i) {
        if (!(*elements_[i] == *array->elements_[i])) return false;
    }
    return true;
}

JsonType JsonArray::getType() const {
    return JSON_ARRAY;
}

void JsonArray::serialize(std::ostream& out) const {
    JsonWriter::serialize(out, *this);
}

std::string JsonArray::toString() const {
    return JsonNode::toString();
}
JsonNode* JsonArray::clone() const {
    return new JsonArray(*this);
}

const JsonNode* JsonArray::operator[](unsigned int index) const {
    return index < elements_.size() ? elements_[index] : nullptr;
}

JsonNode* JsonArray::operator[](unsigned int index) {
    return index < elements_.size() ? elements_[index] : nullptr;
}

JsonArray& JsonArray::push_back(JsonNode* node) {
    elements_.push_back(node);
    return *this;
}

JsonArray& JsonArray::push_back(const std::string& text) {
    std::unique_ptr<JsonString> node(new JsonString(text));
    elements_.push_back(node.get());
    static_cast<void>(node.release());  // the container owns it now
    return *this;
}

void JsonArray::assign(unsigned int index, JsonNode* node) {
    if (index >= elements_.size()) return;
    if (elements_[index] != node) {
        delete elements_[index];
        elements_[index] = node;
    }
}

JsonArray::iterator JsonArray::erase(iterator position, bool destroy) {
    if (destroy) delete *position;
    return elements_.erase(position);
}

void JsonArray::clear(bool destroy) {
    if (destroy) {
        for (JsonNode* element : elements_) delete element;
    }
    elements_.clear();
}
