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

void MessageContent::add(QRSTR const& name, QRSTR const& value) {
    names_.append(name);
    values_.append(value);
}

int MessageContent::paramCount() const {
    return names_.size();
}

const std::string& MessageContent::paramName(int index) const {
    return names_.fetch(index);
}

const std::string& MessageContent::paramValue(int index) const {
    return values_.fetch(index);
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
