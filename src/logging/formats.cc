// Formats: the text forms of a message's two halves, and the composition of
// one line from them.
#include "logging/formats.h"

#include <cstring>

#include "qorbasic/log.h"
#include "qorbasic/timeutils.h"
#include "time/timestamp_format.h"

namespace {

// Every byte outside 32..126 becomes printable: a blank below, "?" above.
void escape_bytes(char* data, size_t size) {
    for (size_t i = 0; i < size; ++i) {
        unsigned char byte = static_cast<unsigned char>(data[i]);
        if (byte < 32) {
            data[i] = ' ';
        } else if (byte > 126) {
            data[i] = '?';
        }
    }
}

}  // namespace

namespace qor {
namespace detail {

void compose_line(std::string& out, const std::string& headers, const std::string& content,
                  unsigned flags) {
    bool escaped = (flags & kLineEscaped) != 0;
    size_t head = escaped ? headers.size() : std::strlen(headers.c_str());
    size_t body = escaped ? content.size() : std::strlen(content.c_str());
    out.clear();
    out.reserve(head + body + 2);
    out.append(headers.data(), head);
    out += ' ';
    out.append(content.data(), body);
    if (escaped) escape_bytes(&out[0], out.size());
    if ((flags & kLineNewline) != 0) out += '\n';
}

}  // namespace detail
}  // namespace qor

namespace BasicLog {

void standard_format_headers(std::string& out, const MessageHeaders& headers) {
    const char* level = loglevel_fullname(headers.loglevel());
    size_t level_length = std::strlen(level);
    char stamp[qor::detail::kTimestampBufferSize];
    int stamp_length =
        qor::detail::format_timestamp(stamp, gmt_to_local(headers.timestamp()), true, ' ');
    out.clear();
    out.reserve(level_length + stamp_length + 3);
    out += '[';
    out.append(level, level_length);
    out += ' ';
    out.append(stamp, stamp_length);
    out += ']';
}

void standard_format_content(std::string& out, const MessageContent& content) {
    out.assign(content.text());
    int count = content.paramCount();
    if (count == 0) return;
    size_t total = out.size() + 1;
    for (int i = 0; i < count; ++i) {
        total += content.paramName(i).size() + content.paramValue(i).size() + 2;
    }
    out.reserve(total);
    out += ':';
    for (int i = 0; i < count; ++i) {
        out += ' ';
        out += content.paramName(i);
        out += '=';
        out += content.paramValue(i);
    }
}

}  // namespace BasicLog
