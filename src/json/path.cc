// Path queries on every node, and RawJson, the lazily parsed node.
#include <ostream>
#include <stdexcept>

#include "json/json_internal.h"
#include "qorbasic/json.h"
#include "qorbasic/strings.h"

namespace {

const char kDelimiters[] = "/[]";

// One condition of a selector such as [tag=x,0,*] against the element at `index`.
bool selectorMatches(const JsonNode& element, size_t index, const std::string& condition) {
    if (condition.empty() || condition == "*") return true;
    if (condition.find('=') != std::string::npos) {
        std::string name, wanted;
        split_string(condition, name, wanted, "=");
        return wanted == "*" || element.getValue(name) == wanted;
    }
    try {
        return std::stoi(condition, nullptr, 10) == static_cast<long>(index);
    } catch (const std::exception&) {
        return false;  // not a number, or out of range
    }
}

void collect(std::vector<const JsonNode*>* out, const JsonNode* node) {
    if (out) out->push_back(node);
}

}  // namespace

const JsonNode* JsonNode::find(const std::string& path, std::vector<const JsonNode*>* out) const {
    const JsonNode* current = this;
    if (path.empty()) {
        collect(out, current);
        return current;
    }
    char delimiter = '/';
    size_t scan = 0;
    if (path[0] == '/' || path[0] == '[') {
        delimiter = path[0];
        scan = 1;
    }
    const size_t last = path.size() - 1;
    for (;;) {
        if (scan >= path.size()) {
            collect(out, current);
            return current;
        }
        size_t next = path.find_first_of(kDelimiters, scan);
        if (delimiter == '/') {
            size_t end = next == std::string::npos ? path.size() : next;
            current = current->get(path.substr(scan, end - scan));
            if (!current) return nullptr;
            if (next == std::string::npos || next == last) {
                collect(out, current);
                return current;
            }
            delimiter = path[next];
            scan = next + 1;
            continue;
        }
        // A selector: [conditions] on an array.
        if (next == std::string::npos || path[next] != ']') return nullptr;
        if (current->getType() != JSON_ARRAY) return nullptr;
        const JsonArray* array = current->asArray();
        if (!array) return nullptr;
        std::vector<std::string> conditions;
        split_string(path.substr(scan, next - scan), ',', conditions);
        const std::string rest = next == last ? std::string() : path.substr(next + 1);
        const JsonNode* remembered = nullptr;
        size_t index = 0;
        for (const JsonNode* element : *array) {
            bool matches = true;
            for (const std::string& condition : conditions) {
                if (!selectorMatches(*element, index, condition)) {
                    matches = false;
                    break;
                }
            }
            ++index;
            if (!matches) continue;
            const JsonNode* found = element;
            if (next == last) {
                collect(out, element);
            } else {
                found = element->find(rest, out);
            }
            if (found) {
                if (!out) return found;
                remembered = found;
            }
        }
        return remembered;
    }
}

const JsonNode* JsonNode::dig(const std::string& path) const {
    return find(path, nullptr);
}

size_t JsonNode::digAll(const std::string& path, std::vector<const JsonNode*>& out) const {
    out.clear();
    find(path, &out);
    return out.size();
}

std::string JsonNode::digValue(const std::string& path) const {
    const JsonNode* found = dig(path);
    return found ? found->getValue() : std::string();
}

// ---- RawJson
//
// Every read parses first and forwards to the tree. On text that does not
// parse the reads give the defaults of JsonNode, and getType gives
// JSON_NULL, so that a container copying such a child makes a JsonNull
// instead of failing.

RawJson::RawJson() = default;
RawJson::RawJson(const std::string& text) : text_(text) {}
RawJson::RawJson(const RawJson& other) : JsonNode(other), text_(other.text_) {}
RawJson::~RawJson() {
    delete parsed_;
}

RawJson& RawJson::operator=(const RawJson& other) {
    if (&other == this) return *this;
    delete parsed_;
    parsed_ = nullptr;
    text_ = other.text_;
    return *this;
}

JsonNode* RawJson::parseNode() const {
    if (!parsed_) parsed_ = JsonUtil::parse(text_);
    return parsed_;
}

bool RawJson::isValid() const {
    return parseNode() != nullptr;
}

bool RawJson::operator==(const JsonNode& other) const {
    if (&other == this) return true;
    const JsonNode* tree = parseNode();
    return tree && *tree == other;
}

JsonType RawJson::getType() const {
    const JsonNode* tree = parseNode();
    return tree ? tree->getType() : JSON_NULL;
}

bool RawJson::isNull() const {
    const JsonNode* tree = parseNode();
    return tree ? tree->isNull() : JsonNode::isNull();
}

bool RawJson::isRaw() const {
    return true;
}

const JsonNode* RawJson::get(const std::string& key) const {
    const JsonNode* tree = parseNode();
    return tree ? tree->get(key) : nullptr;
}

JsonNode* RawJson::get(const std::string& key) {
    JsonNode* tree = parseNode();
    return tree ? tree->get(key) : nullptr;
}

const JsonNode* RawJson::dig(const std::string& path) const {
    const JsonNode* tree = parseNode();
    return tree ? tree->dig(path) : nullptr;
}

size_t RawJson::digAll(const std::string& path, std::vector<const JsonNode*>& out) const {
    const JsonNode* tree = parseNode();
    if (tree) return tree->digAll(path, out);
    out.clear();
    return 0;
}

std::string RawJson::digValue(const std::string& path) const {
    const JsonNode* tree = parseNode();
    return tree ? tree->digValue(path) : std::string();
}

JsonNode* RawJson::take(const std::string& key) {
    JsonNode* tree = parseNode();
    JsonNode* taken = tree ? tree->take(key) : nullptr;
    if (taken) text_ = tree->toString();
    return taken;
}

JsonHash* RawJson::takeHash(const std::string& key) {
    JsonNode* tree = parseNode();
    JsonHash* taken = tree ? tree->takeHash(key) : nullptr;
    if (taken) text_ = tree->toString();
    return taken;
}

std::map<std::string, const JsonNode*> RawJson::query(
    const std::function<bool(const std::string&)>& predicate) const {
    const JsonNode* tree = parseNode();
    return tree ? tree->query(predicate) : std::map<std::string, const JsonNode*>();
}

std::map<std::string, JsonNode*> RawJson::query(
    const std::function<bool(const std::string&)>& predicate) {
    JsonNode* tree = parseNode();
    return tree ? tree->query(predicate) : std::map<std::string, JsonNode*>();
}

const std::string& RawJson::getStringValue(const std::string& key) const {
    const JsonNode* tree = parseNode();
    return tree ? tree->getStringValue(key) : JsonUtil::EMPTY_STRING;
}

bool RawJson::getBoolValue(const std::string& key) const {
    const JsonNode* tree = parseNode();
    return tree ? tree->getBoolValue(key) : false;
}

int RawJson::getIntValue(const std::string& key) const {
    const JsonNode* tree = parseNode();
    return tree ? tree->getIntValue(key) : 0;
}

long RawJson::getLongValue(const std::string& key) const {
    const JsonNode* tree = parseNode();
    return tree ? tree->getLongValue(key) : 0;
}

const JsonArray* RawJson::getArrayValue(const std::string& key) const {
    const JsonNode* tree = parseNode();
    return tree ? tree->getArrayValue(key) : nullptr;
}

JsonArray* RawJson::getArrayValue(const std::string& key) {
    JsonNode* tree = parseNode();
    return tree ? tree->getArrayValue(key) : nullptr;
}

const JsonHash* RawJson::getObjectValue(const std::string& key) const {
    const JsonNode* tree = parseNode();
    return tree ? tree->getObjectValue(key) : nullptr;
}

JsonHash* RawJson::getObjectValue(const std::string& key) {
    JsonNode* tree = parseNode();
    return tree ? tree->getObjectValue(key) : nullptr;
}

std::string RawJson::getValue() const {
    const JsonNode* tree = parseNode();
    return tree ? tree->getValue() : std::string();
}

std::string RawJson::getValue(const std::string& key) const {
    const JsonNode* tree = parseNode();
    return tree ? tree->getValue(key) : std::string();
}

void RawJson::serialize(std::ostream& out) const {
    JsonWriter::serialize(out, *this);
}
std::string RawJson::toString() const {
    return text_;
}
JsonNode* RawJson::clone() const {
    return new RawJson(text_);
}
