// URLs and percent coding in libqorbasic.
//
// parse_url and make_url take a URL apart into scheme, host, port and path,
// and put one together again; the scheme keeps its "://", and an IPv6 host is
// given without brackets:
//
//   std::string scheme, host, port, path;
//   parse_url(scheme, host, port, path, "https://[fe80::1]:8443/x");
//   // "https://", "fe80::1", "8443", "/x"
//   std::string url;
//   make_url("http://", "::1", "80", "/a", url);   // "http://[::1]:80/a"
//
// percent_encode leaves only the 62 letters and digits as they are; '-', '.',
// '_', '~' and all other bytes become "%XX" with upper-case digits.
// percent_decode reads "%xx" in either case and never fails.
//
// What users trip on:
// - Without brackets, a host with two or more colons is read as IPv6 and the
//   last colon starts the port: "http://fe80::1" gives host "fe80:" and port
//   "1". Put IPv6 hosts in brackets.
// - The first ':' behind a host name ends it, even inside the path, so
//   "http://host/a:b" fails. The port takes only the digits behind the colon;
//   the rest, digits or not, is the path: "http://host:80x/y" gives port "80"
//   and path "x/y".
// - On failure, the outputs set before the failing step keep their values.
// - percent_decode drops a '%' with fewer than two bytes behind it, reads a
//   byte that is not a hex digit as 0 ("%zz" is one NUL byte), and leaves '+'
//   as it is.
#ifndef QORBASIC_URL_H
#define QORBASIC_URL_H

#include <string>

#include "qorbasic/export.h"
#include "qorbasic/text.h"

QOR_API bool parse_url(std::string& scheme, std::string& host, std::string& port, std::string& path,
                       const std::string& url);
// False, with `url` unchanged, when `scheme` or `host` is empty. A host with a
// ':' is put in brackets.
QOR_API bool make_url(const std::string& scheme, const std::string& host, const std::string& port,
                      const std::string& path, std::string& url);

QOR_API std::string& percent_encode(std::string& out, QRSTR const& text);
QOR_API std::string& percent_decode(std::string& out, QRSTR const& text);

// Cuts `text` at the first `separator` byte. Without one, `left` gets the
// whole text, `right` is cleared and the result is false.
QOR_API bool split_string_pair(std::string& left, std::string& right, QRSTR const& text,
                               int separator);

#endif  // QORBASIC_URL_H
