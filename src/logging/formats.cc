// Formats: the text forms of a message's two halves, and the composition of
// one line from them.
#include "logging/formats.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include "json/json_internal.h"
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

// Room for a level's name in a header buffer; every name of the table and the
// fallback fit.
constexpr size_t kLevelNameRoom = 16;

// The level and the local time, as the standard headers show them.
struct HeaderFields {
    const char* level;
    size_t level_length;
    long local_ticks;
    char stamp[qor::detail::kTimestampBufferSize];
    int stamp_length;

    explicit HeaderFields(const BasicLog::MessageHeaders& headers)
        : level(loglevel_fullname(headers.loglevel())),
          level_length(std::strlen(level)),
          local_ticks(gmt_to_local(headers.timestamp())),
          stamp_length(qor::detail::format_timestamp(stamp, local_ticks, true, ' ')) {}
};

void append_json_string(std::string& out, const std::string& text) {
    qor::detail::append_json_string(out, text.data(), text.size());
}

// Copies bytes into a buffer that was sized in advance and returns the end;
// the buffer is a std::string, which keeps its own terminator.
inline char* put_bytes(char* to, const char* from, size_t size) {
    std::memcpy(to, from, size);  // NOLINT(bugprone-not-null-terminated-result)
    return to + size;
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

// The JSON writer leaves a NUL raw; the appended text is rewritten once,
// in one pass, only when it holds one.
void append_json_string(std::string& out, const char* data, size_t size) {
    size_t start = out.size();
    JsonWriter::appendString(out, data, size);
    size_t nuls = static_cast<size_t>(
        std::count(out.begin() + static_cast<std::ptrdiff_t>(start), out.end(), '\0'));
    if (nuls == 0) return;
    std::string escaped;
    escaped.reserve(out.size() - start + 5 * nuls);
    for (size_t i = start; i < out.size(); ++i) {
        if (out[i] == '\0') {
            escaped += "\\u0000";
        } else {
            escaped += out[i];
        }
    }
    out.resize(start);
    out += escaped;
}

}  // namespace detail
}  // namespace qor

namespace BasicLog {

// Written into a local buffer and assigned once: this runs for every line.
void standard_format_headers(std::string& out, const MessageHeaders& headers) {
    HeaderFields fields(headers);
    char text[kLevelNameRoom + qor::detail::kTimestampBufferSize + 3];
    if (fields.level_length > kLevelNameRoom) {
        out.assign("[").append(fields.level).append(" ").append(fields.stamp).append("]");
        return;
    }
    char* p = text;
    *p++ = '[';
    std::memcpy(p, fields.level, fields.level_length);
    p += fields.level_length;
    *p++ = ' ';
    std::memcpy(p, fields.stamp, static_cast<size_t>(fields.stamp_length));
    p += fields.stamp_length;
    *p++ = ']';
    out.assign(text, static_cast<size_t>(p - text));
}

void levelonly_format_headers(std::string& out, const MessageHeaders& headers) {
    out.assign("[");
    out += loglevel_fullname(headers.loglevel());
    out += ']';
}

// The text that a JsonHash of "level", "ticks" and "time" writes: keys in
// sorted order, no white space, the ticks as a whole number.
void json_format_headers(std::string& out, const MessageHeaders& headers) {
    HeaderFields fields(headers);
    char ticks[24];
    char* ticks_end = std::to_chars(ticks, ticks + sizeof ticks, fields.local_ticks).ptr;
    out.assign("{\"level\":");
    qor::detail::append_json_string(out, fields.level, fields.level_length);
    out += ",\"ticks\":";
    out.append(ticks, ticks_end);
    out += ",\"time\":";
    qor::detail::append_json_string(out, fields.stamp, static_cast<size_t>(fields.stamp_length));
    out += '}';
}

void null_format_headers(std::string& out, const MessageHeaders&) {
    out.clear();
}

// Sized first and written in one pass: this runs for every line.
void standard_format_content(std::string& out, const MessageContent& content) {
    const char* text = content.text();
    size_t text_length = std::strlen(text);
    int count = content.paramCount();
    size_t total = text_length + (count > 0 ? 1 : 0);
    for (int i = 0; i < count; ++i) {
        total += content.paramName(i).size() + content.paramValue(i).size() + 2;
    }
    out.resize(total);
    char* p = &out[0];
    p = put_bytes(p, text, text_length);
    if (count > 0) *p++ = ':';
    for (int i = 0; i < count; ++i) {
        const std::string& name = content.paramName(i);
        const std::string& value = content.paramValue(i);
        *p++ = ' ';
        p = put_bytes(p, name.data(), name.size());
        *p++ = '=';
        p = put_bytes(p, value.data(), value.size());
    }
}

// The text of a JsonHash with "msg" and, when there are parameters, "params":
// an array of one-entry hashes, so that a name given twice stays twice.
void json_format_content(std::string& out, const MessageContent& content) {
    out.assign("{\"msg\":");
    qor::detail::append_json_string(out, content.text(), std::strlen(content.text()));
    int count = content.paramCount();
    if (count > 0) {
        out += ",\"params\":[";
        for (int i = 0; i < count; ++i) {
            if (i > 0) out += ',';
            out += '{';
            append_json_string(out, content.paramName(i));
            out += ':';
            append_json_string(out, content.paramValue(i));
            out += '}';
        }
        out += ']';
    }
    out += '}';
}

void null_format_content(std::string& out, const MessageContent&) {
    out.clear();
}

std::string& logging_escape(std::string& text) {
    if (!text.empty()) escape_bytes(&text[0], text.size());
    return text;
}

}  // namespace BasicLog
