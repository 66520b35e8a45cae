// Both field splitters on arbitrary text, with the first byte as separator.
// Joining the fields again gives the text back: exactly for the list form,
// and without a trailing separator for the stream form.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "qorbasic/strings.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const char separator = static_cast<char>(data[0]);
    const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);

    const std::vector<std::string> fields = split_string(text, separator);
    std::string expected = text;
    if (!expected.empty() && expected.back() == separator) expected.pop_back();
    if (join_string(separator, fields) != expected) abort();

    StringVector list;
    split_string(list, text, static_cast<signed char>(separator));
    if (text.find('\0') == std::string::npos) {  // StringVector keeps text up to a NUL
        std::vector<std::string> listed;
        for (int i = 0; i < list.size(); ++i) listed.push_back(list.fetch(i));
        if (join_string(separator, listed) != text) abort();
    }
    return 0;
}
