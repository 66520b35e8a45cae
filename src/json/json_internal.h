// Internal machinery shared by the JSON sources: the string-building writer
// behind serialize/toString, and the parser behind JsonUtil.
#ifndef QORBASIC_SRC_JSON_JSON_INTERNAL_H
#define QORBASIC_SRC_JSON_JSON_INTERNAL_H

#include <string>

#include "qorbasic/json.h"

// Writes nodes by appending to one std::string. Nodes of the library's own
// classes are written directly; any other subclass through its serialize().
class JsonWriter {
  public:
    static void append(std::string& out, const JsonNode& node);
    static void appendString(std::string& out, const char* data, size_t size);
    // Whether `node` lies anywhere below `root`, also inside the parsed tree
    // of a RawJson (never parsing one for it).
    static bool holds(const JsonNode& root, const JsonNode* node);
};

// Recursive descent over [text, text + limit). Every building block of
// JsonUtil is one of these members with a depth of zero.
class JsonParser {
  public:
    JsonParser(const char* text, unsigned int limit);

    void skipWhiteSpace(unsigned int& pos) const;
    // A value by the first byte: array, object, string, else number, literal.
    JsonNode* parseValue(unsigned int& pos, unsigned int depth) const;
    bool parseMembers(unsigned int& pos, JsonHash& hash, unsigned int depth) const;
    bool parseMember(unsigned int& pos, JsonHash& hash, unsigned int depth) const;
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
    bool isSpace(char c) const;

    const char* text_;
    unsigned int limit_;
    const unsigned short* ctype_;  // the locale's table that isspace() reads
    bool dotRadix_;                // the locale's radix character is "."
};

#endif  // QORBASIC_SRC_JSON_JSON_INTERNAL_H
