// JSON for libqorbasic: a tree of heap nodes, a parser, path queries and
// lazily parsed documents.
//
//   JsonNode* doc = JsonUtil::parse(R"({"list":[{"id":1,"v":"a"},{"id":2,"v":"b"}]})");
//   if (doc) {
//       std::string v = doc->digValue("/list[id=2]/v");   // "b"
//       doc->asObject()->add("n", 5L);
//       std::string text = doc->toString();  // {"list":[...],"n":5}
//       delete doc;                          // the caller owns what parse returns
//   }
//
// What trips people up:
// - Numbers stay text. JsonNum keeps the bytes it was parsed from (`007`, `+1`,
//   `1E+5`, `nan`) and writes them back unchanged; 1 and 1.0 are different
//   values. intValue() and longValue() convert at each call and accept
//   different text: a failed conversion prints a line on std::cerr and gives 0.
// - Every operation of every node type is on JsonNode with a harmless default:
//   asking a string for a key gives null or "", never an error. The typed
//   getters of JsonHash differ: an absent key gives -1 for the int and long
//   getters.
// - Containers own their children. What add/push_back/assign receive belongs
//   to the container; what get, operator[], casts and path queries return is
//   borrowed; what parse, clone, take and takeHash return belongs to the caller.
// - The parser is tolerant in a few places: an object may end in a comma
//   (`{"a":1,}`) but an array may not, stray text between a key and its colon
//   is skipped, and a number is whatever strtold() takes (`0x1F`, `inf`).
//   It refuses `\u0000`, and nests at most JsonUtil::MAX_DEPTH containers.
// - Keys are kept sorted (byte order), so text is written in key order, not in
//   the order the keys came in. Writing is compact: no white space at all.
// - Nodes come from the library's allocator in pieces of 64 KiB, which go back
//   to the system when all their nodes are deleted: freeing a whole tree frees
//   its memory, but a node kept from a freed tree keeps its whole piece. The
//   pages of a large tree go back with MADV_FREE, so the resident size of the
//   process falls when the kernel takes them, not at once.
// - A RawJson holds text and parses it on first need. Ask isValid() before
//   reading one; on text that does not parse, reads give null, "", 0 or false.
#ifndef QORBASIC_JSON_H
#define QORBASIC_JSON_H

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "qorbasic/export.h"

class JsonHash;
class JsonArray;
class JsonString;
class JsonNum;
class JsonBool;
class JsonNull;
class RawJson;
class JsonParser;  // library internal
class JsonWriter;  // library internal

// The type codes are stable; other code switches on their numbers.
enum JsonType {
    JSON_HASH = 0,
    JSON_STRING = 1,
    JSON_ARRAY = 2,
    JSON_BOOL = 3,
    JSON_NUM = 4,
    JSON_NULL = 5,
};

// Abstract base of every JSON value. The virtual operations carry the
// interface of all kinds of node, each with a harmless default, so that code
// can walk a tree without a cast at every step.
class QOR_API JsonNode {
  public:
    JsonNode() = default;
    JsonNode(const JsonNode&) = default;
    virtual ~JsonNode();

    // Nodes, also those of a client's subclass, come from the library's own
    // allocator (see the notes at the top of this file).
    static void* operator new(std::size_t size);
    static void operator delete(void* node, std::size_t size);
    static void* operator new(std::size_t, void* place) noexcept { return place; }
    static void operator delete(void*, void*) noexcept {}

    virtual bool operator==(const JsonNode& other) const = 0;
    virtual bool operator!=(const JsonNode& other) const;
    virtual JsonType getType() const = 0;
    virtual bool isNull() const;
    // Only a JsonBool false and a JsonNull are not truthy; 0 and "" are.
    virtual bool isTruthy() const;
    virtual bool isRaw() const;
    virtual const JsonNode* get(const std::string& key) const;
    virtual JsonNode* get(const std::string& key);

    // Path queries, e.g. "/list[tag=x,id=3]/v", "/grid[*][1]", "name".
    // dig gives the first match in document order, or null.
    virtual const JsonNode* dig(const std::string& path) const;
    // Clears `out`, then appends every match in document order; returns the count.
    virtual size_t digAll(const std::string& path, std::vector<const JsonNode*>& out) const;
    // getValue() of the first match, or "" when nothing matches.
    virtual std::string digValue(const std::string& path) const;

    virtual JsonNode* take(const std::string& key);
    virtual JsonHash* takeHash(const std::string& key);
    virtual std::map<std::string, const JsonNode*> query(
        const std::function<bool(const std::string&)>& predicate) const;
    virtual std::map<std::string, JsonNode*> query(
        const std::function<bool(const std::string&)>& predicate);
    virtual const std::string& getStringValue(const std::string& key) const;
    virtual bool getBoolValue(const std::string& key) const;
    virtual int getIntValue(const std::string& key) const;
    virtual long getLongValue(const std::string& key) const;
    virtual const JsonArray* getArrayValue(const std::string& key) const;
    virtual JsonArray* getArrayValue(const std::string& key);
    virtual const JsonHash* getObjectValue(const std::string& key) const;
    virtual JsonHash* getObjectValue(const std::string& key);
    // The scalar as text ("true", "null", the number's text, the plain
    // string); "" for containers.
    virtual std::string getValue() const;
    virtual std::string getValue(const std::string& key) const;
    // Compact JSON text; see JsonUtil::encodeString for the escapes.
    virtual void serialize(std::ostream& out) const = 0;
    virtual std::string toString() const;
    virtual JsonNode* clone() const = 0;
    // The parsed tree of a RawJson; null for every other node.
    virtual JsonNode* parseNode() const;

    // The first match of a path; collects every match into `out` when it is
    // not null. dig and digAll are built on it.
    const JsonNode* find(const std::string& path, std::vector<const JsonNode*>* out) const;

    // dynamic_cast that looks through a RawJson to its parsed value. Call as
    // node->cast((const JsonNum*)nullptr); a wrong type gives null.
    template <class T>
    T cast(T) {
        if (isRaw()) {
            JsonNode* parsed = parseNode();
            return parsed ? dynamic_cast<T>(parsed) : nullptr;
        }
        return dynamic_cast<T>(this);
    }
    template <class T>
    T cast(T) const {
        if (isRaw()) {
            const JsonNode* parsed = parseNode();
            return parsed ? dynamic_cast<T>(parsed) : nullptr;
        }
        return dynamic_cast<T>(this);
    }

    const JsonNum* asNumValue() const;
    JsonNum* asNumValue();
    const JsonString* asStringValue() const;
    JsonString* asStringValue();
    const JsonBool* asBoolValue() const;
    JsonBool* asBoolValue();
    const JsonHash* asObject() const;
    JsonHash* asObject();
    const JsonArray* asArray() const;
    JsonArray* asArray();

    // Unchecked reads: the node must be of the right type (check getType or
    // a cast first).
    bool asBool() const;
    int asInt() const;
    long asLong() const;
    std::string asString() const;
};

class QOR_API JsonString : public JsonNode {
  public:
    JsonString(const std::string& text);  // NOLINT: converting by design
    // Stores the decimal digits: the node is a string, not a number.
    JsonString(int value);  // NOLINT
    JsonString(const JsonString& other);
    ~JsonString() override;

    bool operator==(const JsonNode& other) const override;
    JsonType getType() const override;
    using JsonNode::getValue;
    std::string getValue() const override;
    void serialize(std::ostream& out) const override;
    JsonNode* clone() const override;
    virtual JsonString& operator=(const JsonString& other);

    const std::string& getStr() const { return text_; }

  private:
    friend class JsonParser;
    friend class JsonWriter;
    std::string text_;
};

class QOR_API JsonNum : public JsonNode {
  public:
    // The text is stored as given, without any check that it is a number.
    JsonNum(const std::string& text);  // NOLINT: converting by design
    JsonNum(long value);               // NOLINT
    JsonNum(const JsonNum& other);
    ~JsonNum() override;

    bool operator==(const JsonNode& other) const override;
    JsonType getType() const override;
    using JsonNode::getValue;
    std::string getValue() const override;
    void serialize(std::ostream& out) const override;
    JsonNode* clone() const override;
    virtual JsonNum& operator=(const JsonNum& other);
    virtual JsonNode& operator=(signed char value);
    virtual JsonNode& operator=(unsigned char value);
    virtual JsonNode& operator=(short value);
    virtual JsonNode& operator=(unsigned short value);
    virtual JsonNode& operator=(int value);
    virtual JsonNode& operator=(unsigned int value);
    virtual JsonNode& operator=(long value);
    virtual JsonNode& operator=(unsigned long value);
    virtual JsonNode& operator=(long long value);
    virtual JsonNode& operator=(unsigned long long value);
    // Renders as an output stream does by default: 1234567.0 becomes 1.23457e+06.
    virtual JsonNode& operator=(double value);

    // Replaces the text by the rendered value. Instances exist for
    // std::string (stored unchanged), every integer type from signed char to
    // unsigned long long (decimal digits; char types as numbers) and double.
    template <class T>
    JsonNode& set(T value);

    // Low 32 bits of std::stol(text): "1.5" gives 1, "12abc" 12. On failure
    // prints "intValue failed: ..." on std::cerr and gives 0.
    int intValue() const;
    // Whole text as a decimal 64-bit number, saturating; "1.5" fails. On
    // failure prints "Could not convert <text> to long value" on std::cerr
    // and gives 0.
    long longValue() const;

  private:
    friend class JsonParser;
    friend class JsonWriter;
    std::string text_;
};

class QOR_API JsonBool : public JsonNode {
  public:
    JsonBool(bool value);  // NOLINT: converting by design
    JsonBool(const JsonBool& other);
    ~JsonBool() override;

    bool operator==(const JsonNode& other) const override;
    JsonType getType() const override;
    bool isTruthy() const override;
    using JsonNode::getValue;
    std::string getValue() const override;
    void serialize(std::ostream& out) const override;
    JsonNode* clone() const override;
    virtual JsonBool& operator=(const JsonBool& other);

    bool value() const { return value_; }

  private:
    friend class JsonWriter;
    bool value_;
};

class QOR_API JsonNull : public JsonNode {
  public:
    JsonNull();
    JsonNull(const JsonNull& other);
    ~JsonNull() override;

    bool operator==(const JsonNode& other) const override;
    JsonType getType() const override;
    bool isNull() const override;
    bool isTruthy() const override;
    using JsonNode::getValue;
    std::string getValue() const override;
    void serialize(std::ostream& out) const override;
    JsonNode* clone() const override;
    virtual JsonNull& operator=(const JsonNull& other);
};

// A JSON object: one entry per key, kept in byte order of the keys. Owns its
// values and deletes them when they are replaced, erased or the hash dies.
class QOR_API JsonHash : public JsonNode {
  public:
    using Entries = std::map<std::string, JsonNode*>;

    JsonHash();
    // A deep copy; a RawJson value comes out as a plain copy of its parsed tree.
    JsonHash(const JsonHash& other);
    ~JsonHash() override;

    bool operator==(const JsonNode& other) const override;
    JsonType getType() const override;
    const JsonNode* get(const std::string& key) const override;
    JsonNode* get(const std::string& key) override;
    // Removes the entry; the caller owns the value. Null if the key is absent.
    JsonNode* take(const std::string& key) override;
    // As take, but only for a hash value; any other value stays in place.
    // For a RawJson value the caller gets a plain copy of its parsed hash,
    // and the raw node is freed.
    JsonHash* takeHash(const std::string& key) override;
    // The entries whose key satisfies `predicate`, in key order; the nodes stay
    // owned by the hash.
    std::map<std::string, const JsonNode*> query(
        const std::function<bool(const std::string&)>& predicate) const override;
    std::map<std::string, JsonNode*> query(
        const std::function<bool(const std::string&)>& predicate) override;
    // The typed getters give "" / false / -1 / -1 / null / null when the key
    // is absent or holds another type.
    const std::string& getStringValue(const std::string& key) const override;
    bool getBoolValue(const std::string& key) const override;
    int getIntValue(const std::string& key) const override;
    long getLongValue(const std::string& key) const override;
    const JsonArray* getArrayValue(const std::string& key) const override;
    JsonArray* getArrayValue(const std::string& key) override;
    const JsonHash* getObjectValue(const std::string& key) const override;
    JsonHash* getObjectValue(const std::string& key) override;
    using JsonNode::getValue;
    // A scalar value as text; "" when absent or a container.
    std::string getValue(const std::string& key) const override;
    void serialize(std::ostream& out) const override;
    std::string toString() const override;
    JsonNode* clone() const override;

    // Deep copy of `other`. Assigning a hash to itself, or from a node that
    // lies inside it, leaves it unchanged.
    JsonHash& operator=(const JsonHash& other);

    unsigned int size() const { return static_cast<unsigned int>(entries_.size()); }
    // Stores the value under `key`, taking ownership; a value already there
    // is deleted. There is no add for int (it goes to long), bool or double.
    JsonHash& add(const std::string& key, JsonNode* value);
    JsonHash& add(const std::string& key, const char* value);
    JsonHash& add(const std::string& key, const std::string& value);
    JsonHash& add(const std::string& key, long value);
    // Appends the keys in key order; `keys` is not cleared first.
    void getKeys(std::vector<std::string>& keys) const;

    Entries::const_iterator begin() const { return entries_.begin(); }
    Entries::const_iterator end() const { return entries_.end(); }

    static JsonHash EMPTY_HASH;

  private:
    friend class JsonParser;
    friend class JsonWriter;
    Entries entries_;
};

// A JSON array. Owns its elements.
class QOR_API JsonArray : public JsonNode {
  public:
    using Elements = std::vector<JsonNode*>;
    using iterator = Elements::iterator;
    using const_iterator = Elements::const_iterator;

    // Takes ownership of the nodes.
    explicit JsonArray(const std::vector<JsonNode*>& elements = std::vector<JsonNode*>());
    // One JsonString per member, in the set's order.
    explicit JsonArray(const std::set<std::string>& strings);
    // A deep copy; a RawJson element comes out as a plain copy of its parsed tree.
    JsonArray(const JsonArray& other);
    ~JsonArray() override;

    bool operator==(const JsonNode& other) const override;
    JsonType getType() const override;
    void serialize(std::ostream& out) const override;
    std::string toString() const override;
    JsonNode* clone() const override;
    // Deep copy of `other`. Assigning an array to itself, or from a node that
    // lies inside it, leaves it unchanged.
    virtual JsonArray& operator=(const JsonArray& other);

    size_t size() const { return elements_.size(); }
    const_iterator begin() const { return elements_.begin(); }
    const_iterator end() const { return elements_.end(); }
    // The non-const pair is what erase takes.
    iterator begin() { return elements_.begin(); }
    iterator end() { return elements_.end(); }
    // The element, or null when the index is not below size().
    const JsonNode* operator[](unsigned int index) const;
    JsonNode* operator[](unsigned int index);
    JsonArray& push_back(JsonNode* node);
    JsonArray& push_back(const std::string& text);
    // Replaces (and deletes) the element at `index`. An index at or beyond
    // size() changes nothing, and `node` stays the caller's.
    void assign(unsigned int index, JsonNode* node);
    // Removes one element; deletes it if `destroy`, else the caller keeps it.
    // Returns the iterator behind the removed element.
    iterator erase(iterator position, bool destroy);
    // Removes all elements; deletes them if `destroy`.
    void clear(bool destroy);

  private:
    friend class JsonParser;
    friend class JsonWriter;
    Elements elements_;
};

// JSON text that is parsed only when its content is needed. Storing, copying
// and writing it never parse, and it writes its text byte for byte.
//
// Safe on any text: isValid, parseNode, isRaw, isTruthy, serialize,
// toString, clone, operator= and the casts (null). Everything else needs
// valid text; on invalid text it gives the defaults of JsonNode (null, "",
// 0, false), getType gives JSON_NULL, and == is true only for the same object.
// Not thread-safe until parsed: parseNode writes from const operations.
class QOR_API RawJson : public JsonNode {
  public:
    RawJson();
    explicit RawJson(const std::string& text);
    // Copies the text only; the copy parses for itself.
    RawJson(const RawJson& other);
    ~RawJson() override;

    bool operator==(const JsonNode& other) const override;
    JsonType getType() const override;
    bool isNull() const override;
    bool isRaw() const override;
    const JsonNode* get(const std::string& key) const override;
    JsonNode* get(const std::string& key) override;
    const JsonNode* dig(const std::string& path) const override;
    size_t digAll(const std::string& path, std::vector<const JsonNode*>& out) const override;
    std::string digValue(const std::string& path) const override;
    // take and takeHash rewrite the text from the parsed tree (compact, sorted)
    // when they remove something.
    JsonNode* take(const std::string& key) override;
    JsonHash* takeHash(const std::string& key) override;
    std::map<std::string, const JsonNode*> query(
        const std::function<bool(const std::string&)>& predicate) const override;
    std::map<std::string, JsonNode*> query(
        const std::function<bool(const std::string&)>& predicate) override;
    const std::string& getStringValue(const std::string& key) const override;
    bool getBoolValue(const std::string& key) const override;
    int getIntValue(const std::string& key) const override;
    long getLongValue(const std::string& key) const override;
    const JsonArray* getArrayValue(const std::string& key) const override;
    JsonArray* getArrayValue(const std::string& key) override;
    const JsonHash* getObjectValue(const std::string& key) const override;
    JsonHash* getObjectValue(const std::string& key) override;
    std::string getValue() const override;
    std::string getValue(const std::string& key) const override;
    void serialize(std::ostream& out) const override;
    std::string toString() const override;
    JsonNode* clone() const override;
    // Parses on first call; a failed parse is retried at each call.
    JsonNode* parseNode() const override;

    // Drops the parsed tree and takes the other's text.
    RawJson& operator=(const RawJson& other);
    bool isValid() const;

  private:
    friend class JsonWriter;
    std::string text_;
    mutable JsonNode* parsed_ = nullptr;
};

// The parser and the writer's string escaping. All operations are static.
//
// A failed parse gives null (or false in the hash form), with no message. The
// grammar in short: white space is what isspace() takes; a number is exactly
// the bytes strtold() takes; strings may hold any raw byte and the escapes
// \" \/ \\ \b \f \n \r \t \uXXXX (each \u is one code point written as UTF-8,
// \u0000 is refused, surrogates are not paired); an object may end with a
// comma, and anything between a key and its colon is skipped; true, false,
// null in lower case. Containers nested deeper than MAX_DEPTH fail the parse.
class QOR_API JsonUtil {
  public:
    JsonUtil();
    virtual ~JsonUtil();

    static const unsigned int MAX_DEPTH = 1000;
    static const std::string EMPTY_STRING;

    // Any JSON value; the caller owns the result.
    static JsonNode* parse(const std::string& text);
    // An object whose members go into `hash`, which is not emptied first.
    // Everything before the first '{' is skipped. On false the hash may
    // hold some of the members.
    static bool parse(const std::string& text, JsonHash& hash);
    // As parse, over the first `limit` bytes of a buffer that need not be
    // terminated. NUL bytes inside the limit are text like any other.
    static JsonNode* limited_parse(const char* text, unsigned long limit);
    static bool limited_parse(const char* text, JsonHash& hash, unsigned long limit);
    // parse, then null unless the value is an object (an array).
    static JsonHash* parseObject(const std::string& text);
    static JsonArray* parseArray(const std::string& text);

    // Writes `text` with \b \t \n \f \r \" \\ escaped and every other byte as
    // it is (no \u, no escaped slash), between double quotes if `quote`.
    static void encodeString(const std::string& text, std::ostream& out, bool quote);

    // Building blocks of the parser. `pos` is the index of the next byte and
    // moves on success; no byte at or behind `limit` is read.
    static void skipWhiteSpace(const char* text, unsigned int& pos, unsigned int limit);
    static bool findToken(char token, unsigned int& pos, const char* text, unsigned int limit);
    // From the '{' to the '}', and stays on the '}'.
    static bool parseValueList(const char* text, unsigned int& pos, JsonHash& hash,
                               unsigned int limit);
    // From behind the '{' or ',' to the ',' or '}' that follows the member.
    static bool parseNameValuePair(const char* text, unsigned int& pos, JsonHash& hash,
                                   unsigned int limit);
    static JsonNode* parseStringValue(const char* text, unsigned int& pos, unsigned int limit);
    static bool parseStringValue(const char* text, std::ostringstream& out, unsigned int& pos,
                                 unsigned int limit);
    static JsonNode* parseArrayValue(const char* text, unsigned int& pos, unsigned int limit);
    static JsonNode* parseNumLiteral(const char* text, unsigned int& pos, unsigned int limit);
    static bool parseBoolLiteral(const char* text, unsigned int& pos, bool& value,
                                 unsigned int limit);
    static bool parseNullLiteral(const char* text, unsigned int& pos, unsigned int limit);
    // strtol of the four bytes at `text`, base 16.
    static unsigned int parseUnicode(const char* text);
    // One code point as UTF-8; nothing for 0x110000 and above.
    static void writeUtf8(std::ostream& out, unsigned int codepoint);
};

#endif  // QORBASIC_JSON_H
