// The storage of messages on the log path. Each thread keeps one finished
// message, with the room that its parameter strings have grown, and the next
// message that the thread builds takes it instead of a new allocation. A
// message may still be freed with delete by whoever owns it; handing it to
// dispose only lets it be reused. Parameters go in without the temporaries
// of the public add.
#ifndef QORBASIC_SRC_LOGGING_MESSAGES_H
#define QORBASIC_SRC_LOGGING_MESSAGES_H

#include "qorbasic/log.h"

namespace qor {
namespace detail {

class MessageStore {
  public:
    // A message as the LogMessage constructor makes it, the timestamp taken now.
    static BasicLog::LogMessage* make(const char* text, const qor_loglevel_impl* level,
                                      const char* source_file, const char* function,
                                      const char* logger_name);
    // Frees `message` or keeps it for the thread's next make; null is ignored.
    static void dispose(BasicLog::LogMessage* message);
    // Appends a parameter of the given texts, as MessageContent::add does
    // with texts that hold no NUL.
    static void append(BasicLog::MessageContent& content, const char* name, size_t name_length,
                       const char* value, size_t value_length);
    static void append(BasicLog::LogMessage& message, const char* name, size_t name_length,
                       const char* value, size_t value_length) {
        append(message.content_, name, name_length, value, value_length);
    }
};

// For a std::unique_ptr that owns a message.
struct MessageDisposal {
    void operator()(BasicLog::LogMessage* message) const { MessageStore::dispose(message); }
};

}  // namespace detail
}  // namespace qor

#endif  // QORBASIC_SRC_LOGGING_MESSAGES_H
