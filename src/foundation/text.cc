// Text values: QRSTR, StringVector, comparisons and bounded copies.
#include "qorbasic/text.h"

#include <strings.h>

#include <cstdio>
#include <cstring>
#include <utility>

QRSTR::QRSTR(int value) {
    snprintf(buffer_, sizeof buffer_, "%d", value);
    finish(buffer_);
}

QRSTR::QRSTR(bool value) {
    finish(value ? "true" : "false");
}

QRSTR::QRSTR(double value) {
    // snprintf cuts a longer rendering to 99 characters and the terminator.
    snprintf(buffer_, sizeof buffer_, "%lf", value);
    finish(buffer_);
}

QRSTR::QRSTR(char value) : length_(1), text_(buffer_) {
    buffer_[0] = value;
    buffer_[1] = '\0';
}

void QRSTR::finish(const char* text) {
    if (text != nullptr) {
        text_ = text;
        length_ = static_cast<int>(strlen(text));
    } else {
        buffer_[0] = '\0';
        length_ = 0;
        text_ = buffer_;
    }
}

const QRSTR& QRSTR::empty() {
    static const QRSTR shared("");
    return shared;
}

bool string_isempty(QRSTR const& text) {
    return text.is_empty();
}
bool string_hastext(QRSTR const& text) {
    return text.has_text();
}
int string_length(QRSTR const& text) {
    return text.length();
}

bool cased_equals(QRSTR const& a, QRSTR const& b) {
    return a.length() == b.length() && strcmp(a.ptr(), b.ptr()) == 0;
}
int cased_compare(QRSTR const& a, QRSTR const& b) {
    return strcmp(a.ptr(), b.ptr());
}

// A negative count reads as "compare nothing", so that no caller can make
// strncmp walk an unbounded size_t range.
static size_t count_of(int n) {
    return n > 0 ? static_cast<size_t>(n) : 0;
}

bool limited_cased_equals(QRSTR const& a, QRSTR const& b, int n) {
    return strncmp(a.ptr(), b.ptr(), count_of(n)) == 0;
}
int limited_cased_compare(QRSTR const& a, QRSTR const& b, int n) {
    return strncmp(a.ptr(), b.ptr(), count_of(n));
}
bool equals_nocase(QRSTR const& a, QRSTR const& b) {
    return strcasecmp(a.ptr(), b.ptr()) == 0;
}
int compare_nocase(QRSTR const& a, QRSTR const& b) {
    return strcasecmp(a.ptr(), b.ptr());
}
bool limited_equals_nocase(QRSTR const& a, QRSTR const& b, int n) {
    return strncasecmp(a.ptr(), b.ptr(), count_of(n)) == 0;
}
int limited_compare_nocase(QRSTR const& a, QRSTR const& b, int n) {
    return strncasecmp(a.ptr(), b.ptr(), count_of(n));
}

int string_copy(char* dest, int size, QRSTR const& text) {
    return limited_string_copy(dest, size, text, text.length());
}

int limited_string_copy(char* dest, int size, QRSTR const& text, int limit) {
    if (size < 1 || dest == nullptr) return 0;
    int count = text.length();
    if (count > size - 1) count = size - 1;
    if (count > limit) count = limit;
    if (count < 0) count = 0;
    memcpy(dest, text.ptr(), static_cast<size_t>(count));
    dest[count] = '\0';
    return count;
}

void memzero(void* data, int count) {
    if (data != nullptr && count >= 1) memset(data, 0, static_cast<size_t>(count));
}

StringVector::StringVector() = default;
StringVector::~StringVector() {
    clear();
}

int StringVector::size() const {
    return static_cast<int>(elements_.size());
}
bool StringVector::bounds(int index) const {
    return index >= 0 && index < size();
}
bool StringVector::verify(int index) const {
    return bounds(index);
}

const std::string& StringVector::fetch(int index) const {
    if (!bounds(index) || elements_[index] == nullptr) return none_;
    return *elements_[index];
}

void StringVector::append(QRSTR const& text) {
    elements_.push_back(new std::string(text.ptr()));
}

void StringVector::store(int index, QRSTR const& text) {
    if (!bounds(index)) return;
    std::string* replacement = new std::string(text.ptr());
    delete elements_[index];
    elements_[index] = replacement;
}

void StringVector::remove(int index) {
    if (!bounds(index)) return;
    delete elements_[index];
    elements_.erase(elements_.begin() + index);
}

void StringVector::clear() {
    for (std::string* element : elements_) delete element;
    elements_.clear();
}

int StringVector::cased_find(QRSTR const& key) const {
    if (key.is_empty()) return -1;
    for (int i = 0; i < size(); ++i) {
        if (cased_equals(fetch(i), key)) return i;
    }
    return -1;
}

int StringVector::find_nocase(QRSTR const& key) const {
    if (key.is_empty()) return -1;
    for (int i = 0; i < size(); ++i) {
        if (equals_nocase(fetch(i), key)) return i;
    }
    return -1;
}

void StringVector::sort_strings() {
    for (int i = 1; i < size(); ++i) {
        for (int j = i - 1; j >= 0 && cased_compare(fetch(j), fetch(j + 1)) > 0; --j) {
            std::swap(elements_[j], elements_[j + 1]);
        }
    }
}

void StringVector::sort_strings(StringVector& keys, StringVector& companions) {
    for (int i = 1; i < keys.size(); ++i) {
        for (int j = i - 1; j >= 0 && cased_compare(keys.fetch(j), keys.fetch(j + 1)) > 0; --j) {
            std::swap(keys.elements_[j], keys.elements_[j + 1]);
            if (companions.bounds(j + 1)) {
                std::swap(companions.elements_[j], companions.elements_[j + 1]);
            }
        }
    }
}
