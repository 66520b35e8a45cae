#include "qorbasic/log.h"
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

}  // namespace BasicLog
