// Text values of libqorbasic: QRSTR, the argument type for text, the
// comparison and copy functions on it, and StringVector, a list of owned
// strings with checked int indexes.
//
// Functions that take text declare a `QRSTR const&` parameter, and callers
// hand them a C string, a std::string, an int, a bool, a double or a char;
// the conversion happens in a temporary on the caller's stack and never
// allocates:
//
//   std::string name = "basiclib";
//   bool same = cased_equals(name, "basiclib");   // true
//   char digits[8];
//   string_copy(digits, sizeof digits, 8080);     // "8080"
//
// A QRSTR is a view: it is valid only while its source lives unchanged, it
// is never stored, copied or returned. A null `const char*` is an empty text.
// Scalars render as printf does: QRSTR(1.5) is "1.500000", QRSTR(true) is
// "true", QRSTR('\0') has length 1 and reads as an empty C string.
//
// StringVector treats a bad index as no error: fetch() gives an empty string,
// store() and remove() do nothing.
#ifndef QORBASIC_TEXT_H
#define QORBASIC_TEXT_H

#include <string>
#include <vector>

#include "qorbasic/export.h"

class QOR_API QRSTR {
  public:
    QRSTR(const char* text) { finish(text); }  // NOLINT: converting by design
    QRSTR(const std::string& text)             // NOLINT
    : length_(static_cast<int>(text.length())), text_(text.c_str()) {}
    QRSTR(int value);     // NOLINT
    QRSTR(bool value);    // NOLINT
    QRSTR(double value);  // NOLINT
    QRSTR(char value);    // NOLINT

    QRSTR(const QRSTR&) = delete;
    QRSTR& operator=(const QRSTR&) = delete;

    // One shared empty text, made on first use and alive to the process end.
    static const QRSTR& empty();

    int length() const { return length_; }
    const char* ptr() const { return text_; }
    bool is_empty() const { return length_ == 0; }
    bool has_text() const { return length_ > 0; }

  private:
    void finish(const char* text);

    char buffer_[100];
    int length_;
    const char* text_;
};

QOR_API bool string_isempty(QRSTR const& text);
QOR_API bool string_hastext(QRSTR const& text);
QOR_API int string_length(QRSTR const& text);

// Comparisons. Only cased_equals looks at the lengths; the others see the
// text up to its first NUL. The compare forms return the sign of the C
// library function they call.
QOR_API bool cased_equals(QRSTR const& a, QRSTR const& b);
QOR_API int cased_compare(QRSTR const& a, QRSTR const& b);
QOR_API bool limited_cased_equals(QRSTR const& a, QRSTR const& b, int n);
QOR_API int limited_cased_compare(QRSTR const& a, QRSTR const& b, int n);
QOR_API bool equals_nocase(QRSTR const& a, QRSTR const& b);
QOR_API int compare_nocase(QRSTR const& a, QRSTR const& b);
QOR_API bool limited_equals_nocase(QRSTR const& a, QRSTR const& b, int n);
QOR_API int limited_compare_nocase(QRSTR const& a, QRSTR const& b, int n);

// Copies into a caller's buffer of `size` bytes, always terminated when
// size >= 1. Return the number of characters copied, without the NUL.
QOR_API int string_copy(char* dest, int size, QRSTR const& text);
QOR_API int limited_string_copy(char* dest, int size, QRSTR const& text, int limit);

// memset to zero, only for a non-null pointer and a count of at least 1.
QOR_API void memzero(void* data, int count);

class QOR_API StringVector {
  public:
    StringVector();
    ~StringVector();

    StringVector(const StringVector&) = delete;
    StringVector& operator=(const StringVector&) = delete;

    int size() const;
    bool bounds(int index) const;
    bool verify(int index) const;
    // The element, or one shared empty string for an index out of range.
    const std::string& fetch(int index) const;

    // append and store keep the text up to its first NUL.
    void append(QRSTR const& text);
    void store(int index, QRSTR const& text);
    void remove(int index);
    void clear();

    // Index of the first match, or -1; an empty key never matches.
    int cased_find(QRSTR const& key) const;
    int find_nocase(QRSTR const& key) const;

    // Stable insertion sort in ascending strcmp order; only pointers move.
    void sort_strings();
    // Sorts keys and applies every swap to companions at the same indexes.
    static void sort_strings(StringVector& keys, StringVector& companions);

  private:
    std::vector<std::string*> elements_;
    std::string none_;
};

#endif  // QORBASIC_TEXT_H
