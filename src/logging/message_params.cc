#include <cerrno>
#include <cstdint>
#include <cstring>

#include "qorbasic/log.h"
#include "qorbasic/numbers.h"
#include "qorbasic/strings.h"
#include "qorbasic/timeutils.h"

namespace BasicLog {

LogMessageBuilder& LogMessageBuilder::addInt(const char* name, long value) {
    std::string text;
    return add(name, render_decimal64(text, value));
}

LogMessageBuilder& LogMessageBuilder::addHex(const char* name, unsigned value) {
    std::string text;
    return add(name, render_hex32(text, value, true));
}

LogMessageBuilder& LogMessageBuilder::addBool(const char* name, bool value) {
    return add(name, value ? "true" : "false");
}

LogMessageBuilder& LogMessageBuilder::addHost(const char* name, QRSTR const& host, int port) {
    std::string text;
    return add(name, join_string(text, host, ":", port));
}

LogMessageBuilder& LogMessageBuilder::addPtr(const char* name, const void* p) {
    std::string text;
    return add(
        name, render_hex64(text, static_cast<unsigned long>(reinterpret_cast<uintptr_t>(p)), true));
}

// The ticks are printed as they are: a caller that wants local time converts
// them first.
LogMessageBuilder& LogMessageBuilder::addTimestamp(const char* name, long ticks) {
    std::string text;
    standard_timestamp(text, ticks, false, 'T');
    return add(name, text);
}

LogMessageBuilder& LogMessageBuilder::addWide(const char* name, const wchar_t* text) {
    if (text == nullptr || *text == L'\0') return *this;
    std::string ascii;
    widechar_to_ascii(ascii, text);
    return add(name, ascii);
}

LogMessageBuilder& LogMessageBuilder::addErrno() {
    int error = errno;
    add("errmsg", std::strerror(error));
    return addInt("errno", error);
}

// A wait status: exited (low seven bits zero) gives its exit code, killed
// gives the signal; stopped (low bits 127) says nothing of either.
LogMessageBuilder& LogMessageBuilder::addProcessStatus(int status) {
    int low = status & 0x7f;
    if (low == 0) return addInt("status", (status >> 8) & 0xff);
    if (low != 0x7f) return addInt("signal", low);
    return *this;
}

}  // namespace BasicLog
