// Messages: the two halves of a message, the message itself, and the builder
// with which call sites compose one, typed parameters included.
#include "logging/messages.h"

#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstring>

#include "qorbasic/log.h"
#include "qorbasic/numbers.h"
#include "qorbasic/strings.h"
#include "qorbasic/timeutils.h"

namespace {

// Each text of a message is kept up to its first NUL, as a StringVector
// keeps it.
size_t kept_length(QRSTR const& text) {
    return text.ptr() != nullptr ? strnlen(text.ptr(), static_cast<size_t>(text.length())) : 0;
}

// A kept message whose strings have grown beyond this is freed instead, so
// that one huge message doesn't pin its size on the thread.
constexpr size_t kKeptMessageCapacity = 4096;

// The thread's kept message. The flag outlives the holder's destructor (it
// is trivially destructible), so that a log call made later in the thread's
// exit, from another thread-local destructor, allocates as before instead of
// reaching a destroyed holder.
thread_local bool t_kept_gone = false;

struct KeptMessage {
    BasicLog::LogMessage* message = nullptr;
    ~KeptMessage() {
        delete message;
        message = nullptr;
        t_kept_gone = true;
    }
};

thread_local KeptMessage t_kept;

}  // namespace

namespace qor {
namespace detail {

BasicLog::LogMessage* MessageStore::make(const char* text, const qor_loglevel_impl* level,
                                         const char* source_file, const char* function,
                                         const char* logger_name) {
    BasicLog::LogMessage* message = t_kept_gone ? nullptr : t_kept.message;
    if (message == nullptr) {
        return new BasicLog::LogMessage(text, level, source_file, function, logger_name);
    }
    t_kept.message = nullptr;
    message->headers_ = BasicLog::MessageHeaders(level, source_file, function, logger_name);
    BasicLog::MessageContent& content = message->content_;
    content.count_ = 0;
    content.overflow_.clear();
    string_copy(content.text_, sizeof content.text_, text);
    return message;
}

void MessageStore::dispose(BasicLog::LogMessage* message) {
    if (message == nullptr) return;
    size_t capacity =
        message->content_.overflow_.capacity() * sizeof(BasicLog::MessageContent::Param);
    for (const BasicLog::MessageContent::Param& param : message->content_.inline_) {
        capacity += param.name.capacity() + param.value.capacity();
    }
    if (t_kept_gone || t_kept.message != nullptr || capacity > kKeptMessageCapacity) {
        delete message;
        return;
    }
    t_kept.message = message;
}

// clear and append reuse the room that a kept message's strings have, without
// the general path of assign.
void MessageStore::append(BasicLog::MessageContent& content, const char* name, size_t name_length,
                          const char* value, size_t value_length) {
    if (content.count_ >= BasicLog::MessageContent::kInlineParams) content.overflow_.emplace_back();
    BasicLog::MessageContent::Param& param =
        content.count_ < BasicLog::MessageContent::kInlineParams ? content.inline_[content.count_]
                                                                 : content.overflow_.back();
    param.name.clear();
    param.name.append(name, name_length);
    param.value.clear();
    param.value.append(value, value_length);
    ++content.count_;
}

}  // namespace detail
}  // namespace qor

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

void MessageContent::add(QRSTR const& name, QRSTR const& value) {
    qor::detail::MessageStore::append(*this, name.ptr() != nullptr ? name.ptr() : "",
                                      kept_length(name), value.ptr() != nullptr ? value.ptr() : "",
                                      kept_length(value));
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
      message_(qor::detail::MessageStore::make(text, level, source_file, function, logger_name)) {}

LogMessageBuilder::~LogMessageBuilder() {
    processor_.processMessage(message_);
    message_ = nullptr;
}

LogMessageBuilder& LogMessageBuilder::add(const char* name, QRSTR const& value) {
    qor::detail::MessageStore::append(
        *message_, name != nullptr ? name : "", name != nullptr ? std::strlen(name) : 0,
        value.ptr() != nullptr ? value.ptr() : "", kept_length(value));
    return *this;
}

// The digits of render_decimal64, written in place.
LogMessageBuilder& LogMessageBuilder::addInt(const char* name, long value) {
    char digits[24];
    char* end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    qor::detail::MessageStore::append(*message_, name != nullptr ? name : "",
                                      name != nullptr ? std::strlen(name) : 0, digits,
                                      static_cast<size_t>(end - digits));
    return *this;
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
