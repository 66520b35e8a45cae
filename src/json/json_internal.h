// Internal machinery shared by the JSON sources: the string-building writer
// behind serialize/toString, and the parser behind JsonUtil.
#ifndef QORBASIC_SRC_JSON_JSON_INTERNAL_H
#define QORBASIC_SRC_JSON_JSON_INTERNAL_H

#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "json/scan.h"
#include "qorbasic/json.h"

// The one place that knows the text of each kind of node. It appends to one
// std::string; the serialize() of the library's classes and toString() both
// come here. A node of a client's class is written through its serialize().
class JsonWriter {
  public:
    // Any node, by its exact class.
    static void append(std::string& out, const JsonNode& node);
    // The text of one class; children go through append().
    static void appendOwn(std::string& out, const JsonHash& hash);
    static void appendOwn(std::string& out, const JsonArray& array);
    static void appendOwn(std::string& out, const JsonString& string);
    static void appendOwn(std::string& out, const JsonNum& number);
    static void appendOwn(std::string& out, const JsonBool& value);
    static void appendOwn(std::string& out, const JsonNull& null);
    static void appendOwn(std::string& out, const RawJson& raw);
    // A JSON string with its quotes.
    static void appendString(std::string& out, const char* data, size_t size);

    // serialize() of the library's classes: the text of the node's own class,
    // also when a client's subclass inherits it.
    template <class Node>
    static void serialize(std::ostream& out, const Node& node) {
        std::string text;
        appendOwn(text, node);
        out.write(text.data(), static_cast<std::streamsize>(text.size()));
    }

    // Whether `node` lies anywhere below `root`, also inside the parsed tree
    // of a RawJson (never parsing one for it).
    static bool holds(const JsonNode& root, const JsonNode* node);
};

// Recursive descent over [text, text + limit). Every building block of
// JsonUtil is one of these members with a depth of zero.
class JsonParser {
  public:
    JsonParser(const char* text, unsigned int limit);
    // Frees the nodes still pending when a parse failed or threw.
    ~JsonParser();
    JsonParser(const JsonParser&) = delete;
    JsonParser& operator=(const JsonParser&) = delete;

    void skipWhiteSpace(unsigned int& pos) const {
        if (!cSpace_) return skipTableSpace(pos);
        pos = static_cast<unsigned int>(qor::detail::skipCSpaceFast(text_ + pos, text_ + limit_) -
                                        text_);
    }
    // A value by the first byte: array, object, string, else number, literal.
    JsonNode* parseValue(unsigned int& pos, unsigned int depth) const;
    bool parseMembers(unsigned int& pos, JsonHash& hash, unsigned int depth) const;
    bool parseMember(unsigned int& pos, JsonHash& hash, unsigned int depth) const;
    // A new object, from its opening brace to behind its closing brace.
    JsonHash* parseObject(unsigned int& pos, unsigned int depth) const;
    JsonArray* parseArray(unsigned int& pos, unsigned int depth) const;
    // Decodes the string at pos (on its opening quote) into `out`.
    bool parseString(unsigned int& pos, std::string& out) const;
    JsonString* parseStringNode(unsigned int& pos) const;
    JsonNum* parseNumber(unsigned int& pos) const;
    bool parseBool(unsigned int& pos, bool& value) const;
    bool parseNull(unsigned int& pos) const;
    // Extent of the number at pos (0 if none), exactly as strtold would take
    // it from the bytes before the limit.
    unsigned int numberLength(unsigned int pos) const;

    static void appendUtf8(std::string& out, unsigned int codepoint);

  private:
    unsigned int slowNumberLength(unsigned int pos) const;
    unsigned int skipDigits(unsigned int pos) const {
        return static_cast<unsigned int>(qor::detail::skipDigitsFast(text_ + pos, text_ + limit_) -
                                         text_);
    }
    // White space by the locale's table, when it is not the C set.
    void skipTableSpace(unsigned int& pos) const;
    bool isSpace(char c) const;
    void dropPending(size_t mark) const;
    // From behind the '{' or ',': the key and the value of one member, or
    // no value when the '}' stands there.
    bool parseKeyAndValue(unsigned int& pos, std::string& key, std::unique_ptr<JsonNode>& value,
                          unsigned int depth) const;
    // Behind a member: white space, then the ',' or '}' that must follow.
    bool atMemberEnd(unsigned int& pos) const;
    // Moves the members pending from `mark` on into the (empty) hash.
    void settleMembers(size_t mark, JsonHash& hash) const;
    void dropMembers(size_t mark) const;

    struct PendingMember {
        std::string key;
        JsonNode* value;  // owned while pending
        uint64_t prefix;  // keyPrefix(key), the first step of the sort
    };
    static uint64_t keyPrefix(const std::string& key);

    const char* text_;
    unsigned int limit_;
    const unsigned short* ctype_;  // the locale's table that isspace() reads
    bool dotRadix_;                // the locale's radix character is "."
    bool cSpace_;                  // the locale's white space is the C set
    // Elements of the arrays being parsed, innermost last, owned until
    // their array is complete.
    mutable std::vector<JsonNode*> pending_;
    // Members of the objects being parsed, innermost last.
    mutable std::vector<PendingMember> members_;
    // The members of one object in key order, while they move into its map.
    mutable std::vector<PendingMember*> order_;
};

#endif  // QORBASIC_SRC_JSON_JSON_INTERNAL_H
