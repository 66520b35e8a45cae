// Messages: the two halves of a message, the message itself, and the builder
// with which call sites compose one, typed parameters included.
#include <cerrno>
#include <cstdint>
#include <cstring>

#include "qorbasic/log.h"
#include "qorbasic/numbers.h"
#include "qorbasic/strings.h"
#include "qorbasic/timeutils.h"

namespace BasicLog {

MessageHeaders::MessageHeaders(const qor_loglevel_impl* level, const char* source_file,
                               const char* function, const char* logger_name)
    : level_(level),
      timestamp_(current_time_usec1970()),
      source_file_(source_file),
      function_(function),
      logger_name_(logger_name) {}

MessageContent::MessageContent(const char* text) {
    string_copy(text_, sizeof text_, text);
}

// Each text is kept up to its first NUL, as a StringVector keeps it.
void MessageContent::add(QRSTR const& name, QRSTR const& value) {
    const char* name_text = name.ptr() != nullptr ? name.ptr() : "";
    const char* value_text = value.ptr() != nullptr ? value.ptr() : "";
    if (count_ < kInlineParams) {
        inline_[count_].name.assign(name_text);
        inline_[count_].value.assign(value_text);
    } else {
        overflow_.push_back(Param{name_text, value_text});
    }
    ++count_;
}

int MessageContent::paramCount() const {
    return count_;
}

const std::string& MessageContent::paramName(int index) const {
    if (index < 0 || index >= count_) return none_;
    return index < kInlineParams ? inline_[index].name : overflow_[index - kInlineParams].name;
}

const std::string& MessageContent::paramValue(int index) const {
    if (index < 0 || index >= count_) return none_;
    return index < kInlineParams ? inline_[index].value : overflow_[index - kInlineParams].value;
}

LogMessage::LogMessage(const char* text, const qor_loglevel_impl* level, const char* source_file,
                       const char* function, const char* logger_name)
    : headers_(level, source_file, function, logger_name), content_(text) {}

LogMessageProcessor::~LogMessageProcessor() = default;

LogMessageBuilder::LogMessageBuilder(LogMessageProcessor& processor, const char* logger_name,
                                     const qor_loglevel_impl* level, const char* text,
                                     const char* source_file, const char* function)
    : processor_(processor),
      message_(new LogMessage(text, level, source_file, function, logger_name)) {}

LogMessageBuilder::~LogMessageBuilder() {
    processor_.processMessage(message_);
    message_ = nullptr;
}

LogMessageBuilder& LogMessageBuilder::add(const char* name, QRSTR const& value) {
    message_->add(name, value);
    return *this;
}

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
