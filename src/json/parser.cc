// JsonUtil: the recursive-descent parser over a byte buffer with a limit.
#include <langinfo.h>

#include <algorithm>
#include <cctype>
#include <clocale>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sstream>

#include "json/json_internal.h"
#include "json/scan.h"
#include "qorbasic/json.h"

const std::string JsonUtil::EMPTY_STRING;
const unsigned int JsonUtil::MAX_DEPTH;

namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

int hexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// Bytes that can stand in a number other than as the radix character: digits
// and letters (hex digits, exponents, inf, nan and its n-char-sequence), the
// underscore and parentheses of nan(...), and signs.
bool mayContinueNumber(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' ||
           c == '(' || c == ')' || c == '+' || c == '-';
}

// Whether the white space of the locale's table is exactly the C set, so
// that the fast scan may stand in for the table. Checked once per table.
bool spaceIsC(const unsigned short* table) {
    thread_local const unsigned short* checked = nullptr;
    thread_local bool same = false;
    if (table != checked) {
        same = true;
        for (int c = -128; c < 128; ++c) {
            bool space = (table[c] & _ISspace) != 0;
            if (space != qor::detail::isCSpace(static_cast<char>(c))) same = false;
        }
        checked = table;
    }
    return same;
}

// The stacks of pending elements and members stay with the thread between
// parses, so that a parse does not grow them anew each time. A stack that
// grew past kKeptPending entries is freed.
const size_t kKeptPending = 16 << 10;

template <class Stack>
Stack& keptStack() {
    thread_local Stack kept;
    return kept;
}

template <class Stack>
void keepStack(Stack& stack) {
    if (stack.capacity() <= kKeptPending) keptStack<Stack>().swap(stack);
}

}  // namespace

// ---- JsonParser

JsonParser::JsonParser(const char* text, unsigned int limit)
    : text_(text), limit_(limit), ctype_(*__ctype_b_loc()) {
    // The white space of isspace() and the radix character of strtold()
    // follow the calling thread's locale; both are read once per parse.
    const char* radix = nl_langinfo(RADIXCHAR);
    dotRadix_ = radix && radix[0] == '.' && radix[1] == '\0';
    cSpace_ = spaceIsC(ctype_);
    pending_.swap(keptStack<decltype(pending_)>());
    members_.swap(keptStack<decltype(members_)>());
    order_.swap(keptStack<decltype(order_)>());
}

// isspace() of the byte as a signed char, from the table that isspace reads.
bool JsonParser::isSpace(char c) const {
    // The C library's table is indexed from -128 on purpose.
    // NOLINTNEXTLINE(bugprone-signed-char-misuse)
    return (ctype_[static_cast<int>(static_cast<signed char>(c))] & _ISspace) != 0;
}

void JsonParser::skipTableSpace(unsigned int& pos) const {
    while (pos < limit_ && isSpace(text_[pos])) ++pos;
}

JsonNode* JsonParser::parseValue(unsigned int& pos, unsigned int depth) const {
    if (pos >= limit_) return nullptr;
    switch (text_[pos]) {
        case '[':
            if (depth >= JsonUtil::MAX_DEPTH) return nullptr;
            return parseArray(pos, depth + 1);
        case '{':
            if (depth >= JsonUtil::MAX_DEPTH) return nullptr;
            return parseObject(pos, depth + 1);
        case '"':
            return parseStringNode(pos);
        case 't':
        case 'f': {
            // No number starts with these letters, so the literal is tried at once.
            bool value = false;
            if (!parseBool(pos, value)) return nullptr;
            return new JsonBool(value);
        }
        case 'n':
            // "null" is never the start of a number ("nan" is), so it needs no
            // number attempt first.
            if (parseNull(pos)) return new JsonNull;
            break;
        default:
            break;
    }
    if (JsonNode* number = parseNumber(pos)) return number;
    bool value = false;
    if (parseBool(pos, value)) return new JsonBool(value);
    if (parseNull(pos)) return new JsonNull;
    return nullptr;
}

bool JsonParser::parseMembers(unsigned int& pos, JsonHash& hash, unsigned int depth) const {
    if (pos >= limit_ || text_[pos] != '{') return false;
    for (;;) {
        ++pos;  // the opening brace or the comma
        if (!parseMember(pos, hash, depth)) return false;
        if (text_[pos] == '}') return true;
    }
}

bool JsonParser::parseMember(unsigned int& pos, JsonHash& hash, unsigned int depth) const {
    std::string key;
    std::unique_ptr<JsonNode> value;
    if (!parseKeyAndValue(pos, key, value, depth)) return false;
    if (!value) return true;
    JsonHash::Entries& entries = hash.entries_;
    auto it = entries.lower_bound(key);
    if (it != entries.end() && it->first == key) {
        delete it->second;  // a later equal key wins
        it->second = value.release();
    } else {
        entries.emplace_hint(it, std::move(key), value.get());
        static_cast<void>(value.release());  // the container owns it now
    }
    return atMemberEnd(pos);
}

bool JsonParser::parseKeyAndValue(unsigned int& pos, std::string& key,
                                  std::unique_ptr<JsonNode>& value, unsigned int depth) const {
    skipWhiteSpace(pos);
    if (pos >= limit_) return false;
    if (text_[pos] == '}') return true;  // {} and a comma before the brace
    if (text_[pos] != '"') return false;
    if (!parseString(pos, key)) return false;
    // Whatever stands between the key and the next colon is passed over;
    // mostly the colon follows at once.
    if (pos < limit_ && text_[pos] == ':') {
        ++pos;
    } else {
        const void* colon = pos < limit_ ? memchr(text_ + pos, ':', limit_ - pos) : nullptr;
        if (!colon) return false;
        pos = static_cast<unsigned int>(static_cast<const char*>(colon) - text_) + 1;
    }
    skipWhiteSpace(pos);
    if (pos >= limit_) return false;
    value.reset(parseValue(pos, depth));
    return value != nullptr;
}

bool JsonParser::atMemberEnd(unsigned int& pos) const {
    skipWhiteSpace(pos);
    return pos < limit_ && (text_[pos] == ',' || text_[pos] == '}');
}

// Members of a new object gather on the parser's stack of pending members and
// enter the map in key order at the closing brace, each behind the last, so
// that no insertion searches the map.
JsonHash* JsonParser::parseObject(unsigned int& pos, unsigned int depth) const {
    std::unique_ptr<JsonHash> hash(new JsonHash);
    const size_t mark = members_.size();
    for (;;) {
        ++pos;  // the opening brace or the comma
        std::string key;
        std::unique_ptr<JsonNode> value;
        if (!parseKeyAndValue(pos, key, value, depth)) break;
        if (value) {
            const uint64_t prefix = keyPrefix(key);
            members_.push_back(PendingMember{std::move(key), value.get(), prefix});
            static_cast<void>(value.release());  // the container owns it now
            if (!atMemberEnd(pos)) break;
        }
        if (text_[pos] == '}') {
            ++pos;
            settleMembers(mark, *hash);
            return hash.release();
        }
    }
    dropMembers(mark);
    return nullptr;
}

namespace {

// Byte order of two keys with equal prefixes (see keyPrefix), as a negative,
// zero or positive number: their first bytes, up to eight, are equal.
int keyCompareBehindPrefix(const std::string& a, const std::string& b) {
    const size_t common = std::min(a.size(), b.size());
    const size_t from = std::min<size_t>(common, 8);
    const int bytes = memcmp(a.data() + from, b.data() + from, common - from);
    if (bytes != 0) return bytes;
    return a.size() < b.size() ? -1 : a.size() > b.size() ? 1 : 0;
}

}  // namespace

// The first eight bytes of the key as a number that orders as the bytes do,
// zeros standing in for missing bytes: keys whose numbers differ compare as
// their numbers, and only keys with equal numbers need the full comparison.
uint64_t JsonParser::keyPrefix(const std::string& key) {
    uint64_t prefix = 0;
    for (size_t i = 0; i < 8; ++i)
        prefix = (prefix << 8) | (i < key.size() ? static_cast<unsigned char>(key[i]) : 0u);
    return prefix;
}

void JsonParser::settleMembers(size_t mark, JsonHash& hash) const {
    // Sorted by pointer, not moved: of equal keys the later member lies
    // further on in the stack.
    std::vector<PendingMember*>& order = order_;
    order.clear();
    for (size_t i = mark; i < members_.size(); ++i) order.push_back(&members_[i]);
    auto before = [](const PendingMember* a, const PendingMember* b) {
        if (a->prefix != b->prefix) return a->prefix < b->prefix;
        const int order = keyCompareBehindPrefix(a->key, b->key);
        return order != 0 ? order < 0 : a < b;
    };
    // Text that this library wrote has its keys in order already.
    if (!std::is_sorted(order.begin(), order.end(), before))
        std::sort(order.begin(), order.end(), before);
    JsonHash::Entries& entries = hash.entries_;
    for (size_t i = 0; i < order.size(); ++i) {
        PendingMember& member = *order[i];
        std::unique_ptr<JsonNode> value(member.value);
        member.value = nullptr;
        if (i + 1 < order.size() && order[i + 1]->prefix == member.prefix &&
            keyCompareBehindPrefix(order[i + 1]->key, member.key) == 0)
            continue;  // a later equal key wins
        entries.emplace_hint(entries.end(), std::move(member.key), value.get());
        static_cast<void>(value.release());  // the container owns it now
    }
    members_.erase(members_.begin() + static_cast<std::ptrdiff_t>(mark), members_.end());
}

void JsonParser::dropMembers(size_t mark) const {
    for (size_t i = mark; i < members_.size(); ++i) delete members_[i].value;
    members_.erase(members_.begin() + static_cast<std::ptrdiff_t>(mark), members_.end());
}

// Elements gather on the parser's stack of pending nodes and move into the
// array in one allocation of the right size when its closing bracket is seen.
JsonArray* JsonParser::parseArray(unsigned int& pos, unsigned int depth) const {
    if (pos >= limit_ || text_[pos] != '[') return nullptr;
    std::unique_ptr<JsonArray> array(new JsonArray);
    ++pos;
    skipWhiteSpace(pos);
    if (pos < limit_ && text_[pos] == ']') {
        ++pos;
        return array.release();
    }
    const size_t mark = pending_.size();
    for (;;) {
        std::unique_ptr<JsonNode> value(parseValue(pos, depth));
        if (!value) break;
        pending_.push_back(value.get());
        static_cast<void>(value.release());  // the container owns it now
        skipWhiteSpace(pos);
        if (pos >= limit_) break;
        if (text_[pos] == ']') {
            ++pos;
            array->elements_.assign(pending_.begin() + static_cast<std::ptrdiff_t>(mark),
                                    pending_.end());
            pending_.resize(mark);
            return array.release();
        }
        if (text_[pos] != ',') break;
        ++pos;
        skipWhiteSpace(pos);
    }
    dropPending(mark);
    return nullptr;
}

void JsonParser::dropPending(size_t mark) const {
    for (size_t i = mark; i < pending_.size(); ++i) delete pending_[i];
    pending_.resize(mark);
}

JsonParser::~JsonParser() {
    dropMembers(0);
    dropPending(0);
    keepStack(pending_);
    keepStack(members_);
    keepStack(order_);
}

bool JsonParser::parseString(unsigned int& pos, std::string& out) const {
    if (pos >= limit_ || text_[pos] != '"') return false;
    unsigned int p = pos + 1;
    unsigned int run = p;  // start of the bytes not yet copied to `out`
    while (p < limit_) {
        p = static_cast<unsigned int>(
            qor::detail::findQuoteOrBackslashFast(text_ + p, text_ + limit_) - text_);
        if (p >= limit_) break;
        if (text_[p] == '"') {
            // A string without escapes is made at its exact size in one step.
            if (out.empty())
                out = std::string(text_ + run, p - run);
            else
                out.append(text_ + run, p - run);
            pos = p + 1;
            return true;
        }
        out.append(text_ + run, p - run);
        if (p + 1 >= limit_) return false;
        char escaped = 0;
        switch (text_[p + 1]) {
            case '"':
                escaped = '"';
                break;
            case '/':
                escaped = '/';
                break;
            case '\\':
                escaped = '\\';
                break;
            case 'b':
                escaped = '\b';
                break;
            case 'f':
                escaped = '\f';
                break;
            case 'n':
                escaped = '\n';
                break;
            case 'r':
                escaped = '\r';
                break;
            case 't':
                escaped = '\t';
                break;
            case 'u': {
                if (limit_ - p < 6) return false;
                unsigned int codepoint = JsonUtil::parseUnicode(text_ + p + 2);
                if (codepoint == 0) return false;
                appendUtf8(out, codepoint);
                p += 6;
                run = p;
                continue;
            }
            default:
                return false;
        }
        out.push_back(escaped);
        p += 2;
        run = p;
    }
    return false;
}

JsonString* JsonParser::parseStringNode(unsigned int& pos) const {
    std::unique_ptr<JsonString> node(new JsonString(std::string()));
    if (!parseString(pos, node->text_)) return nullptr;
    return node.release();
}

JsonNum* JsonParser::parseNumber(unsigned int& pos) const {
    unsigned int length = numberLength(pos);
    if (length == 0) return nullptr;
    std::unique_ptr<JsonNum> number(new JsonNum(std::string()));
    // Made at its exact size in one step; an assignment to the empty text
    // would first double its inline capacity.
    number->text_ = std::string(text_ + pos, length);
    pos += length;
    return number.release();
}

// The common decimal form, -?D*(.D*)?([eE][+-]?D+)?, is measured here
// directly: for it, with "." as the radix character, strtold takes exactly
// these bytes. Every other form (white space in front, inf, nan, hex, another
// radix character) goes to strtold itself.
unsigned int JsonParser::numberLength(unsigned int pos) const {
    if (!dotRadix_ || pos >= limit_) return slowNumberLength(pos);
    unsigned int p = pos;
    char c = text_[p];
    if (c == '+' || c == '-') {
        if (++p >= limit_) return 0;
        c = text_[p];
    }
    if (!isDigit(c) && c != '.') return slowNumberLength(pos);
    unsigned int digits = p;
    p = skipDigits(p);
    unsigned int integerDigits = p - digits;
    if (p < limit_ && integerDigits == 1 && text_[digits] == '0' &&
        (text_[p] == 'x' || text_[p] == 'X')) {
        return slowNumberLength(pos);
    }
    unsigned int fractionDigits = 0;
    if (p < limit_ && text_[p] == '.') {
        unsigned int q = skipDigits(p + 1);
        fractionDigits = q - p - 1;
        if (integerDigits + fractionDigits > 0) p = q;
    }
    if (integerDigits + fractionDigits == 0) return 0;
    if (p < limit_ && (text_[p] == 'e' || text_[p] == 'E')) {
        unsigned int q = p + 1;
        if (q < limit_ && (text_[q] == '+' || text_[q] == '-')) ++q;
        if (q < limit_ && isDigit(text_[q])) p = skipDigits(q);
    }
    return p - pos;
}

// strtold over a terminated copy of the bytes that it could possibly take:
// the white space in front and the run of bytes that may continue a number,
// with at most one radix character in it, as a number holds no second one.
// So it never reads at or behind the limit, and the copy never runs past the
// number into the elements behind it: a comma ends it, and in a locale whose
// radix character is the comma, the second comma does.
unsigned int JsonParser::slowNumberLength(unsigned int pos) const {
    unsigned int start = pos;
    while (start < limit_ && isSpace(text_[start])) ++start;
    if (start >= limit_) return 0;
    const char* radix = nl_langinfo(RADIXCHAR);
    size_t radixBytesLeft = strlen(radix);
    unsigned int end = start;
    for (; end < limit_; ++end) {
        char c = text_[end];
        if (mayContinueNumber(c)) continue;
        if (c == '\0' || radixBytesLeft == 0 || strchr(radix, c) == nullptr) break;
        --radixBytesLeft;
    }
    if (end == start) return 0;
    unsigned int length = end - pos;
    char small[128];
    std::string large;
    char* copy = small;
    if (length >= sizeof(small)) {
        large.assign(text_ + pos, length);
        copy = &large[0];
    } else {
        memcpy(small, text_ + pos, length);
        small[length] = '\0';
    }
    char* stop = copy;
    strtold(copy, &stop);
    return static_cast<unsigned int>(stop - copy);
}

bool JsonParser::parseBool(unsigned int& pos, bool& value) const {
    if (pos < limit_ && limit_ - pos >= 4 && memcmp(text_ + pos, "true", 4) == 0) {
        value = true;
        pos += 4;
        return true;
    }
    if (pos < limit_ && limit_ - pos >= 5 && memcmp(text_ + pos, "false", 5) == 0) {
        value = false;
        pos += 5;
        return true;
    }
    return false;
}

bool JsonParser::parseNull(unsigned int& pos) const {
    if (pos < limit_ && limit_ - pos >= 4 && memcmp(text_ + pos, "null", 4) == 0) {
        pos += 4;
        return true;
    }
    return false;
}

void JsonParser::appendUtf8(std::string& out, unsigned int codepoint) {
    if (codepoint < 0x80) {
        out.push_back(static_cast<char>(codepoint));
    } else if (codepoint < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (codepoint >> 6)));
        out.push_back(static_cast<char>(0x80 | (codepoint & 0x3F)));
    } else if (codepoint < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | (codepoint >> 12)));
        out.push_back(static_cast<char>(0x80 | ((codepoint >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (codepoint & 0x3F)));
    } else if (codepoint < 0x110000) {
        out.push_back(static_cast<char>(0xF0 | (codepoint >> 18)));
        out.push_back(static_cast<char>(0x80 | ((codepoint >> 12) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | ((codepoint >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (codepoint & 0x3F)));
    }
}

// ---- JsonUtil

JsonUtil::JsonUtil() = default;
JsonUtil::~JsonUtil() = default;

JsonNode* JsonUtil::parse(const std::string& text) {
    return limited_parse(text.data(), text.size());
}

bool JsonUtil::parse(const std::string& text, JsonHash& hash) {
    return limited_parse(text.data(), hash, text.size());
}

JsonNode* JsonUtil::limited_parse(const char* text, unsigned long limit) {
    unsigned int end = static_cast<unsigned int>(limit);
    JsonParser parser(text, end);
    unsigned int pos = 0;
    parser.skipWhiteSpace(pos);
    if (pos >= end) return nullptr;
    std::unique_ptr<JsonNode> value(parser.parseValue(pos, 0));
    if (!value) return nullptr;
    parser.skipWhiteSpace(pos);
    if (pos != end) return nullptr;
    return value.release();
}

bool JsonUtil::limited_parse(const char* text, JsonHash& hash, unsigned long limit) {
    unsigned int end = static_cast<unsigned int>(limit);
    unsigned int pos = 0;
    if (!findToken('{', pos, text, end)) return false;
    JsonParser parser(text, end);
    if (!parser.parseMembers(pos, hash, 1)) return false;
    ++pos;  // the closing brace
    parser.skipWhiteSpace(pos);
    return pos == end;
}

JsonHash* JsonUtil::parseObject(const std::string& text) {
    JsonNode* node = parse(text);
    if (node && node->getType() == JSON_HASH) return static_cast<JsonHash*>(node);
    delete node;
    return nullptr;
}

JsonArray* JsonUtil::parseArray(const std::string& text) {
    JsonNode* node = parse(text);
    if (node && node->getType() == JSON_ARRAY) return static_cast<JsonArray*>(node);
    delete node;
    return nullptr;
}

void JsonUtil::skipWhiteSpace(const char* text, unsigned int& pos, unsigned int limit) {
    JsonParser(text, limit).skipWhiteSpace(pos);
}

bool JsonUtil::findToken(char token, unsigned int& pos, const char* text, unsigned int limit) {
    if (limit == 0 || pos >= limit) return false;
    const void* found = memchr(text + pos, token, limit - pos);
    if (!found) return false;
    pos = static_cast<unsigned int>(static_cast<const char*>(found) - text);
    return true;
}

bool JsonUtil::parseValueList(const char* text, unsigned int& pos, JsonHash& hash,
                              unsigned int limit) {
    return JsonParser(text, limit).parseMembers(pos, hash, 1);
}

bool JsonUtil::parseNameValuePair(const char* text, unsigned int& pos, JsonHash& hash,
                                  unsigned int limit) {
    return JsonParser(text, limit).parseMember(pos, hash, 1);
}

JsonNode* JsonUtil::parseStringValue(const char* text, unsigned int& pos, unsigned int limit) {
    return JsonParser(text, limit).parseStringNode(pos);
}

bool JsonUtil::parseStringValue(const char* text, std::ostringstream& out, unsigned int& pos,
                                unsigned int limit) {
    std::string decoded;
    if (!JsonParser(text, limit).parseString(pos, decoded)) return false;
    out.write(decoded.data(), static_cast<std::streamsize>(decoded.size()));
    return true;
}

JsonNode* JsonUtil::parseArrayValue(const char* text, unsigned int& pos, unsigned int limit) {
    return JsonParser(text, limit).parseArray(pos, 1);
}

JsonNode* JsonUtil::parseNumLiteral(const char* text, unsigned int& pos, unsigned int limit) {
    return JsonParser(text, limit).parseNumber(pos);
}

bool JsonUtil::parseBoolLiteral(const char* text, unsigned int& pos, bool& value,
                                unsigned int limit) {
    return JsonParser(text, limit).parseBool(pos, value);
}

bool JsonUtil::parseNullLiteral(const char* text, unsigned int& pos, unsigned int limit) {
    return JsonParser(text, limit).parseNull(pos);
}

unsigned int JsonUtil::parseUnicode(const char* text) {
    int d0 = hexDigit(text[0]), d1 = hexDigit(text[1]), d2 = hexDigit(text[2]),
        d3 = hexDigit(text[3]);
    if ((d0 | d1 | d2 | d3) >= 0) return (d0 << 12) | (d1 << 8) | (d2 << 4) | d3;
    // Anything but four hex digits goes to strtol, with its blanks, signs,
    // 0x prefix and early stop.
    char buffer[5];
    memcpy(buffer, text, 4);
    buffer[4] = '\0';
    return static_cast<unsigned int>(strtol(buffer, nullptr, 16));
}

void JsonUtil::writeUtf8(std::ostream& out, unsigned int codepoint) {
    std::string bytes;
    JsonParser::appendUtf8(bytes, codepoint);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}
