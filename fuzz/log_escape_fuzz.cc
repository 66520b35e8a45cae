// The two escapes of log lines on arbitrary bytes. logging_escape keeps the
// length, leaves printable bytes alone and makes every byte printable. The
// JSON form of a message with the bytes as text and as a parameter leaves no
// raw NUL and reads back through the JSON parser to the same text.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "logging/formats.h"
#include "qorbasic/json.h"
#include "qorbasic/log.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    std::string escaped = bytes;
    BasicLog::logging_escape(escaped);
    if (escaped.size() != bytes.size()) abort();
    for (size_t i = 0; i < size; ++i) {
        unsigned char in = data[i];
        unsigned char out = static_cast<unsigned char>(escaped[i]);
        if (out < 32 || out > 126 || (in >= 32 && in <= 126 && out != in)) abort();
    }

    std::string json;
    qor::detail::append_json_string(json, bytes.data(), bytes.size());
    if (json.find('\0') != std::string::npos) abort();

    // Text and values are kept up to their first NUL, as a message keeps them.
    std::string value = bytes.substr(0, bytes.find('\0'));
    BasicLog::MessageContent content(value.c_str());
    content.add("name", value);
    content.add(value, "");
    BasicLog::json_format_content(json, content);
    std::unique_ptr<JsonNode> parsed(JsonUtil::parse(json));
    if (!parsed) abort();
    if (parsed->getStringValue("msg") != content.text()) abort();
    const JsonArray* params = parsed->getArrayValue("params");
    if (params == nullptr || params->size() != 2) abort();
    if ((*params)[0]->getStringValue("name") != value) abort();
    if ((*params)[1]->getStringValue(value) != "") abort();
    return 0;
}
