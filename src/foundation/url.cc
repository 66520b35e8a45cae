// URLs taken apart and put together, and percent coding.
#include "qorbasic/url.h"

#include "foundation/text_alias.h"
#include "qorbasic/numbers.h"
#include "qorbasic/strings.h"

namespace {

bool all_chars_pass(const std::string& text, bool (*test)(char)) {
    for (char c : text) {
        if (!test(c)) return false;
    }
    return true;
}

bool is_decimal_digit(char c) {
    return c >= '0' && c <= '9';
}

// Without brackets, two or more colons before the first '/' mark an IPv6
// host; the last colon counted, at most the eighth, starts the port. Returns
// that colon's position, or npos for a host name.
size_t unbracketed_ipv6_end(const std::string& url, size_t pos) {
    size_t authority_end = url.find('/', pos);
    if (authority_end == std::string::npos) authority_end = url.size();
    int colons = 0;
    size_t last_colon = std::string::npos;
    for (size_t i = pos; i < authority_end && colons < 8; ++i) {
        if (url[i] == ':') {
            ++colons;
            last_colon = i;
        }
    }
    return colons >= 2 ? last_colon : std::string::npos;
}

bool parse_url_into(std::string& scheme, std::string& host, std::string& port, std::string& path,
                    const std::string& url) {
    scheme.clear();
    host.clear();
    port.clear();
    path.clear();

    const size_t marker = url.find("://");
    if (marker == std::string::npos) return false;
    size_t pos = marker + 3;
    scheme.assign(url, 0, pos);
    if (pos >= url.size()) return false;

    bool ipv6 = false;
    if (url[pos] == '[') {
        const size_t close = url.find(']', pos);
        if (close == std::string::npos) return false;
        host.assign(url, pos + 1, close - pos - 1);
        pos = close + 1;
        ipv6 = true;
    } else {
        const size_t colon = unbracketed_ipv6_end(url, pos);
        if (colon != std::string::npos) {
            host.assign(url, pos, colon - pos);
            pos = colon;
            ipv6 = true;
        }
    }

    if (!ipv6) {
        // A host name ends at the first ':' anywhere behind it, the path
        // included, and only without one at the first '/'.
        size_t end = url.find(':', pos);
        if (end == std::string::npos) end = url.find('/', pos);
        if (end == std::string::npos) {
            host.assign(url, pos, std::string::npos);
            return all_chars_pass(host, is_domain_char);
        }
        host.assign(url, pos, end - pos);
        pos = end;
    }

    if (!all_chars_pass(host, ipv6 ? is_ipv6_char : is_domain_char)) return false;
    if (host.empty()) return false;

    if (pos < url.size() && url[pos] == ':') {
        const size_t digits = ++pos;
        while (pos < url.size() && is_decimal_digit(url[pos])) ++pos;
        port.assign(url, digits, pos - digits);
    }
    path.assign(url, pos, std::string::npos);
    return true;
}

constexpr bool is_unreserved(int c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

// The text of each byte value: the byte itself for letters and digits, "%XX"
// for the 194 others. Built once at compile time.
struct PercentTable {
    char text[256][4];

    constexpr PercentTable() : text() {
        const char digits[] = "0123456789ABCDEF";
        for (int c = 0; c < 256; ++c) {
            if (is_unreserved(c)) {
                text[c][0] = static_cast<char>(c);
            } else {
                text[c][0] = '%';
                text[c][1] = digits[c >> 4];
                text[c][2] = digits[c & 0xF];
            }
        }
    }
};

constexpr PercentTable kPercentTable;

int hex_digit_or_zero(char c) {
    const int value = hex_to_decimal(c);
    return value < 0 ? 0 : value;
}

}  // namespace

bool parse_url(std::string& scheme, std::string& host, std::string& port, std::string& path,
               const std::string& url) {
    // The outputs are cleared first, so a url that is one of them is read
    // from a copy.
    if (&url == &scheme || &url == &host || &url == &port || &url == &path) {
        const std::string copy(url);  // NOLINT(performance-unnecessary-copy-initialization)
        return parse_url_into(scheme, host, port, path, copy);
    }
    return parse_url_into(scheme, host, port, path, url);
}

bool make_url(const std::string& scheme, const std::string& host, const std::string& port,
              const std::string& path, std::string& url) {
    if (scheme.empty() || host.empty()) return false;
    const bool bracketed = host.find(':') != std::string::npos;
    const bool aliased = &url == &scheme || &url == &host || &url == &port || &url == &path;
    std::string local;
    std::string& target = aliased ? local : url;
    target.clear();
    target.reserve(scheme.size() + host.size() + port.size() + path.size() + 3);
    target.append(scheme);
    if (bracketed) target.push_back('[');
    target.append(host);
    if (bracketed) target.push_back(']');
    if (!port.empty()) target.append(1, ':').append(port);
    target.append(path);
    if (aliased) url.swap(local);
    return true;
}

std::string& percent_encode(std::string& out, QRSTR const& text) {
    if (text_views(text, out)) {
        const std::string copy(text.ptr(), static_cast<size_t>(text.length()));
        return percent_encode(out, copy);
    }
    const unsigned char* p = reinterpret_cast<const unsigned char*>(text.ptr());
    const int n = text.length();
    size_t size = 0;
    for (int i = 0; i < n; ++i) size += is_unreserved(p[i]) ? 1 : 3;
    out.clear();
    out.reserve(size);
    for (int i = 0; i < n; ++i) {
        const char* code = kPercentTable.text[p[i]];
        out.append(code, is_unreserved(p[i]) ? 1 : 3);
    }
    return out;
}

std::string& percent_decode(std::string& out, QRSTR const& text) {
    if (text_views(text, out)) {
        const std::string copy(text.ptr(), static_cast<size_t>(text.length()));
        return percent_decode(out, copy);
    }
    const char* p = text.ptr();
    const int n = text.length();
    out.clear();
    out.reserve(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) {
        if (p[i] != '%') {
            out.push_back(p[i]);
            continue;
        }
        if (n - i - 1 < 2) break;
        out.push_back(
            static_cast<char>(hex_digit_or_zero(p[i + 1]) * 16 + hex_digit_or_zero(p[i + 2])));
        i += 2;
    }
    return out;
}

bool split_string_pair(std::string& left, std::string& right, QRSTR const& text, int separator) {
    if (text_views(text, left) || text_views(text, right)) {
        const std::string copy(text.ptr(), static_cast<size_t>(text.length()));
        return split_string_pair(left, right, copy, separator);
    }
    const char* p = text.ptr();
    const int n = text.length();
    for (int i = 0; i < n; ++i) {
        if (static_cast<int>(static_cast<signed char>(p[i])) == separator) {
            left.assign(p, static_cast<size_t>(i));
            right.assign(p + i + 1, static_cast<size_t>(n - i - 1));
            return true;
        }
    }
    left.assign(p, static_cast<size_t>(n));
    right.clear();
    return false;
}
