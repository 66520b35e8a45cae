// Formats: the text forms of a message's two halves, and the composition of
// one line from them.
#include "logging/formats.h"

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

void append_json_string(std::string& out, const char* data, size_t size) {
    size_t start = out.size();
    JsonWriter::appendString(out, data, size);
    for (size_t at = out.find('\0', start); at != std::string::npos; at = out.find('\0', at)) {
        out.replace(at, 1, "\\u0000");
    }
}

}  // namespace detail
}  // namespace qor

namespace BasicLog {

void standard_format_headers(std::string& out, const MessageHeaders& headers) {
    HeaderFields fields(headers);
    out.clear();
    out.reserve(fields.level_length + fields.stamp_length + 3);
    out += '[';
    out.append(fields.level, fields.level_length);
    out += ' ';
    out.append(fields.stamp, fields.stamp_length);
    out += ']';
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
