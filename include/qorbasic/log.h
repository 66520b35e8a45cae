// Logging of libqorbasic: levels, named sources, messages and emitters.
//
// A source is a named logger, got once per source file and kept; a log call
// asks the source first and builds nothing when the level is filtered out:
//
//   static BasicLog::Source* logger = BasicLog::make_logsource_instance(__FILE__);
//   int port = 80;
//   QOR_LOG_WARN(logger, "connect failed").add("host", "a").addInt("port", port).addErrno();
//
// The QOR_LOG_<LEVEL> macros (TRACE, DEBUG, INFO, NOTICE, WARN, ERROR, FATAL)
// test the level first and evaluate none of the add() arguments when it is
// filtered out; QOR_LOG_AT_SITE names the level, file and function itself.
// Written out, a call is:
//
//   BasicLog::Source* net = BasicLog::make_logsource_instance("net");
//   if (net->would_send(QOR_LOGLEVEL_WARN)) {
//       BasicLog::LogMessageBuilder(net->receiver(), net->name().c_str(),
//                                   QOR_LOGLEVEL_WARN, "connect failed",
//                                   __FILE__, __func__)
//           .add("host", "a");
//   }
//
// The builder's destructor submits the message. Without any set-up every
// message becomes one line on standard error, written on the calling thread:
//
//   [WARNING 2017-04-01 13:25:09.000123] connect failed: host=a port=80 errmsg=... errno=113
//
// Levels are pointers to seven constant records compared as pointers, in
// severity order from QOR_LOGLEVEL_TRACE to QOR_LOGLEVEL_FATAL;
// QOR_LOGLEVEL_DEFAULT is null ("no level of its own") and counts as INFO in
// would_send(). The start level is INFO. Message texts are cut to 599
// characters; values are printed as they are, not quoted. A text or value
// is kept up to its first NUL.
//
// The early emitter must not log: a log call made on a thread while that
// thread is emitting on the calling side is dropped rather than deadlocking
// on the log path. For the same reason a bad level met while such a line is
// formatted prints as "<log level>" without the "invalid log level" report
// it gives elsewhere. A queued emitter (queued mode, below) may log: its
// line is queued like any other.
//
// The process-wide logging state is never destroyed, so log calls from exit
// handlers and late static destructors still work.
#ifndef QORBASIC_LOG_H
#define QORBASIC_LOG_H

#include <atomic>
#include <string>
#include <vector>

#include "qorbasic/export.h"
#include "qorbasic/lock.h"
#include "qorbasic/queues.h"
#include "qorbasic/text.h"

struct qor_loglevel_impl {
    int magic;  // 12345 in every record
    int syslog_priority;
    const char* short_name;
    const char* full_name;
    const char* alias;
};

QOR_C_API const qor_loglevel_impl* const QOR_LOGLEVEL_TRACE;
QOR_C_API const qor_loglevel_impl* const QOR_LOGLEVEL_DEBUG;
QOR_C_API const qor_loglevel_impl* const QOR_LOGLEVEL_INFO;
QOR_C_API const qor_loglevel_impl* const QOR_LOGLEVEL_NOTICE;
QOR_C_API const qor_loglevel_impl* const QOR_LOGLEVEL_WARN;
QOR_C_API const qor_loglevel_impl* const QOR_LOGLEVEL_ERROR;
QOR_C_API const qor_loglevel_impl* const QOR_LOGLEVEL_FATAL;
QOR_C_API const qor_loglevel_impl* const QOR_LOGLEVEL_DEFAULT;

// True for the seven level records only (not for QOR_LOGLEVEL_DEFAULT).
QOR_C_API bool loglevel_is_valid(const qor_loglevel_impl* level);
QOR_C_API const char* loglevel_shortname(const qor_loglevel_impl* level);
QOR_C_API const char* loglevel_fullname(const qor_loglevel_impl* level);
QOR_C_API int loglevel_to_syslog(const qor_loglevel_impl* level);
QOR_C_API void set_default_loglevel(const qor_loglevel_impl* level);
QOR_C_API const qor_loglevel_impl* get_default_loglevel();
QOR_C_API bool logger_wouldSend(const qor_loglevel_impl* level);
// Reads a level name ("WARN", "[ERROR ...", "E~", "critical"); never null,
// INFO for anything it does not know.
QOR_C_API const qor_loglevel_impl* parse_loglevel(const char* text);

// Assertion failures. The default handler prints
// "assert error, <file> line <n>, \"<message>\" \n" on standard error, logs
// it, and raises SIGILL; it returns if the signal is ignored or handled.
typedef void (*assert_failure_handler)(const char* file, int line, const char* message);
QOR_C_API void invokeAssertFailure(const char* file, int line, const char* message);
QOR_C_API void setAssertFailure(assert_failure_handler handler);
QOR_API void defaultAssertFailure(const char* file, int line, const char* message);

namespace qor {
namespace detail {
class MessageStore;
}  // namespace detail
}  // namespace qor

namespace qrsvc {
// Common base of the objects that an actor hands out by name.
class QOR_API ActorInterface {
  public:
    virtual ~ActorInterface();
};
}  // namespace qrsvc

namespace BasicLog {

QOR_API extern const char* const LOGGERNAME_DAEMON;
QOR_API extern const char* const LOGGERNAME_VEXCTL;
QOR_API extern const char* const LOGGERNAME_PLUGIN;
QOR_API extern const char* const LOGGERNAME_VEXCORE;
QOR_API extern const char* const LOGGERNAME_BASICLIB;
QOR_API extern const char* const LOGGERNAME_LOOM2;
QOR_API extern const char* const LOGGERNAME_KELCOMMON;
QOR_API extern const char* const LOGGERNAME_TABAPP;
QOR_API extern const char* const LOGGERNAME_LOOMCLIENT;
QOR_API extern const char* const LOGGERNAME_LOOMSERVER;
QOR_API extern const char* const LOGGERNAME_TEST;
QOR_API extern const char* const LOGGERNAME_OTHER;

class QOR_API MessageHeaders {
  public:
    MessageHeaders(const qor_loglevel_impl* level, const char* source_file, const char* function,
                   const char* logger_name);
    const qor_loglevel_impl* loglevel() const { return level_; }
    long timestamp() const { return timestamp_; }
    const char* sourceFile() const { return source_file_; }
    const char* function() const { return function_; }
    const char* loggerName() const { return logger_name_; }

  private:
    const qor_loglevel_impl* level_;
    long timestamp_;
    const char* source_file_;
    const char* function_;
    const char* logger_name_;
};

class QOR_API MessageContent {
  public:
    explicit MessageContent(const char* text);
    void add(QRSTR const& name, QRSTR const& value);
    int paramCount() const;
    const std::string& paramName(int index) const;
    const std::string& paramValue(int index) const;
    const char* text() const { return text_; }

  private:
    friend class qor::detail::MessageStore;
    // The first parameters live inline, so that a usual message makes no
    // allocation per parameter; the rest go to the overflow list.
    static constexpr int kInlineParams = 6;
    struct Param {
        std::string name;
        std::string value;
    };
    int count_ = 0;
    Param inline_[kInlineParams];
    std::vector<Param> overflow_;
    std::string none_;
    char text_[600];
};

class QOR_API LogMessage {
  public:
    LogMessage(const char* text, const qor_loglevel_impl* level, const char* source_file,
               const char* function, const char* logger_name);
    void add(QRSTR const& name, QRSTR const& value) { content_.add(name, value); }
    const MessageHeaders& headers() const { return headers_; }
    const MessageContent& body() const { return content_; }

  private:
    friend class qor::detail::MessageStore;
    MessageHeaders headers_;
    MessageContent content_;
};

// Takes ownership of each message handed to it.
class QOR_API LogMessageProcessor {
  public:
    virtual ~LogMessageProcessor();
    virtual void processMessage(LogMessage* message) = 0;
};

// Composes one message; the destructor hands it to the processor.
class QOR_API LogMessageBuilder {
  public:
    LogMessageBuilder(LogMessageProcessor& processor, const char* logger_name,
                      const qor_loglevel_impl* level, const char* text, const char* source_file,
                      const char* function);
    ~LogMessageBuilder();
    LogMessageBuilder(const LogMessageBuilder&) = delete;
    LogMessageBuilder& operator=(const LogMessageBuilder&) = delete;

    LogMessageBuilder& add(const char* name, QRSTR const& value);
    LogMessageBuilder& addInt(const char* name, long value);
    LogMessageBuilder& addHex(const char* name, unsigned value);
    LogMessageBuilder& addBool(const char* name, bool value);
    LogMessageBuilder& addHost(const char* name, QRSTR const& host, int port);
    LogMessageBuilder& addPtr(const char* name, const void* p);
    LogMessageBuilder& addTimestamp(const char* name, long ticks);
    LogMessageBuilder& addWide(const char* name, const wchar_t* text);
    LogMessageBuilder& addErrno();
    LogMessageBuilder& addProcessStatus(int status);

  private:
    LogMessageProcessor& processor_;
    LogMessage* message_;
};

// A named logger with a level. Sources live until the process ends.
class QOR_API Source {
  public:
    Source(LogMessageProcessor& receiver, const char* name, const qor_loglevel_impl* default_level);
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    const std::string& name() const { return name_; }
    LogMessageProcessor& receiver() { return *receiver_; }
    const qor_loglevel_impl* effective_log_level() const;
    bool would_send(const qor_loglevel_impl* level) const;
    void set_default_level(const qor_loglevel_impl* level);
    // The source's own level, which takes precedence over the default;
    // QOR_LOGLEVEL_DEFAULT gives the source back to the default level.
    void set_own_level(const qor_loglevel_impl* level);

  private:
    std::string name_;
    LogMessageProcessor* receiver_;
    mutable PortableMutex mutex_;
    // Written under mutex_; read without it, so that a filtered-out call
    // costs no more than two loads and a compare.
    std::atomic<const qor_loglevel_impl*> own_level_;
    std::atomic<const qor_loglevel_impl*> default_level_;
};

class MessageContent;

// An output for finished messages. Subclasses choose their text forms by
// overriding formatHeaders/formatContent and their output by send_one_line.
class QOR_API Emitter : public qrsvc::ActorInterface {
  public:
    ~Emitter() override;
    virtual void formatHeaders(std::string& out, const MessageHeaders& headers) const;
    virtual void formatContent(std::string& out, const MessageContent& content) const;
    virtual void processMessage(const LogMessage& message);
    virtual void send_one_line(const qor_loglevel_impl* level, const std::string& headers,
                               const std::string& content) = 0;
    virtual const char* emitter_type() const = 0;
};

class QOR_API StderrEmitter : public Emitter {
  public:
    ~StderrEmitter() override;
    void send_one_line(const qor_loglevel_impl* level, const std::string& headers,
                       const std::string& content) override;
    const char* emitter_type() const override;
};

// Text forms of a message's two halves; each replaces the whole of `out`.
// standard: "[LEVEL YYYY-MM-DD HH:MM:SS.uuuuuu]" and "text: name=value ...".
// levelonly: "[LEVEL]". null: empty.
// json: {"level":"WARNING","ticks":1491053109000123,"time":"2017-04-01 13:25:09.000123"}
// (ticks and time in local time) and
// {"msg":"connect failed","params":[{"errmsg":"No route to host"},{"errno":"113"}]},
// with "params" only when there are any; every value is a string.
QOR_API void standard_format_headers(std::string& out, const MessageHeaders& headers);
QOR_API void levelonly_format_headers(std::string& out, const MessageHeaders& headers);
QOR_API void json_format_headers(std::string& out, const MessageHeaders& headers);
QOR_API void null_format_headers(std::string& out, const MessageHeaders& headers);
QOR_API void standard_format_content(std::string& out, const MessageContent& content);
QOR_API void json_format_content(std::string& out, const MessageContent& content);
QOR_API void null_format_content(std::string& out, const MessageContent& content);

// Line writers: "headers content" and a line feed, flushed; the level is not
// looked at. Each half ends at its first NUL. null_emitter writes nothing.
QOR_API void stderr_emitter(const qor_loglevel_impl* level, const std::string& headers,
                            const std::string& content);
QOR_API void stdout_emitter(const qor_loglevel_impl* level, const std::string& headers,
                            const std::string& content);
QOR_API void null_emitter(const qor_loglevel_impl* level, const std::string& headers,
                          const std::string& content);

// Makes `text` one printable line, byte for byte, so its length stays: every
// byte below 32 (tab, line feed, NUL...) becomes a blank, every byte above 126
// (DEL, each byte of a UTF-8 sequence) a "?". Returns `text`.
QOR_API std::string& logging_escape(std::string& text);

QOR_API Source* make_logsource_instance(const char* name);
QOR_API Source* find_logsource(const char* name);
QOR_API void logsource_instance_list(StringVector& out);
QOR_API void add_early_emitter(Emitter* emitter);

// Writes the standard headers and the content as JSON to standard output,
// unescaped, flushed per line: the output of last resort of dump_log.
class QOR_API EmergencyEmitter : public Emitter {
  public:
    ~EmergencyEmitter() override;
    void formatHeaders(std::string& out, const MessageHeaders& headers) const override;
    void formatContent(std::string& out, const MessageContent& content) const override;
    void send_one_line(const qor_loglevel_impl* level, const std::string& headers,
                       const std::string& content) override;
    const char* emitter_type() const override;
};

// Queued mode. By default every message is written on the calling thread by
// the early emitter, and that is all. A process that calls
// use_queued_logging() before its first log call logs in queued mode: the
// early emitter still writes each message on the calling thread, and the
// message then goes into a queue, from which the thread "logging_output",
// started by logging_startup(), hands it to every emitter added with
// add_queued_emitter(), in order. An insert wakes that thread, so a line
// waits microseconds, not seconds. At a normal exit an exit handler stops
// the thread and writes what is still queued on the exiting thread, for at
// most 2 seconds. Queued emitters are not owned by the library and must
// stay alive until the process ends.
//
//   BasicLog::use_queued_logging();
//   BasicLog::add_early_emitter(quiet_emitter);  // or keep stderr
//   BasicLog::add_queued_emitter(slow_emitter);
//   BasicLog::logging_startup();
//   ... log as usual ...
//   BasicLog::logging_shutdown();  // stops the thread; queued lines stay
//   BasicLog::logger_dump();       // writes them on this thread
//
// True when queued mode is in force after the call; false, changing nothing,
// once a message has been logged in direct mode.
QOR_API bool use_queued_logging();
// Starts the output thread; true in direct mode. False when it is running
// or still stopping, or can't be made.
QOR_API bool logging_startup();
// Stops the output thread without draining the queue; false when it hasn't
// stopped within 30 seconds. True in direct mode.
QOR_API bool logging_shutdown();
// True unless the output thread is running.
QOR_API bool logging_complete();
// Writes everything queued to the queued emitters, on the calling thread.
QOR_API void logger_dump();
// The flush of last resort: sets every queued emitter aside for good in
// favour of an EmergencyEmitter, then writes the queue to it on the calling
// thread. Not to be called from inside an emitter.
QOR_API void dump_log();
// Queued mode: the emitter joins the queued emitters, not owned. Direct
// mode: it replaces the early emitter, which is deleted, and is owned.
QOR_API void add_queued_emitter(Emitter* emitter);

}  // namespace BasicLog

class LogOutput;

// The registry of sources and the taker of every finished message.
class QOR_API LogInput : public BasicLog::LogMessageProcessor {
  public:
    // An input without a queue, always in direct mode.
    explicit LogInput(const qor_loglevel_impl* level);
    // In queued mode a message goes into `queue` after the early emitter.
    LogInput(TypedWorkQueue<const BasicLog::LogMessage>& queue, bool use_queue,
             const qor_loglevel_impl* level);
    ~LogInput() override;

    void processMessage(BasicLog::LogMessage* message) override;
    BasicLog::Source* make_source(const char* name);
    BasicLog::Source* find_source(const char* name);
    int find_source(const char* name, ScopedLock& proof);
    void list_sources(StringVector& out);
    void add_emitter(BasicLog::Emitter* emitter);
    void setLogLevel(const qor_loglevel_impl* level);
    const qor_loglevel_impl* getLogLevel() const;
    // Turns queued mode on, with `output` woken by each insert, unless a
    // message has already been handled in direct mode. True when queued
    // mode is in force afterwards.
    bool switch_to_queue(LogOutput* output);

  private:
    LogInput(TypedWorkQueue<const BasicLog::LogMessage>* queue, bool use_queue,
             const qor_loglevel_impl* level);

    TypedWorkQueue<const BasicLog::LogMessage>* queue_;  // null: direct mode only
    bool use_queue_;
    bool handled_any_ = false;  // a message has been handled: the mode is fixed
    LogOutput* wake_ = nullptr;
    mutable PortableMutex mutex_;
    std::vector<BasicLog::Source*> sources_;
    const qor_loglevel_impl* default_level_;
    BasicLog::Emitter* early_emitter_;
};

// The output side of queued mode: the thread that hands queued messages to
// the queued emitters, in batches of 20. In direct mode it does nothing.
class QOR_API LogOutput {
  public:
    enum EmitterState { EMITTERS_STOPPED = 0, EMITTERS_RUNNING = 1, EMITTERS_STOPPING = 2 };

    LogOutput(TypedWorkQueue<const BasicLog::LogMessage>& queue, bool use_queue);
    bool startup();
    void begin_shutdown();
    bool complete_shutdown();
    // True once the thread has stopped, false after `timeout_usec`.
    bool wait_until_stopped(long timeout_usec);
    bool is_running();
    void add_emitter(BasicLog::Emitter* emitter);
    void emergency_emitter(BasicLog::Emitter* emitter);
    // Hands one batch of at most 20 messages to every emitter, in order, and
    // frees them; the number handled.
    int write_messages();
    static void* raw_threadproc(void* self);
    void threadproc();
    // Wakes the thread from its wait for messages; cheap when it isn't waiting.
    void wake();
    void set_use_queue(bool use_queue) { use_queue_.store(use_queue); }

    LogOutput(const LogOutput&) = delete;
    LogOutput& operator=(const LogOutput&) = delete;

  private:
    // Returns on wake() or after `usec`, whichever comes first.
    void wait_for_wake(long usec);

    TypedWorkQueue<const BasicLog::LogMessage>& queue_;
    std::atomic<bool> use_queue_;
    AtomicValue<EmitterState> state_;
    std::vector<BasicLog::Emitter*> emitters_;
    // A futex word: 0 quiet, 1 woken, 2 the thread waits on it.
    std::atomic<int> doorbell_{0};
};

// The process-wide holder of the logging state.
class QOR_API LoggerGlobals {
  public:
    static LoggerGlobals& instance();
    LogInput* input_side();
    LogOutput* output_side();
    // To the output side in queued mode, to the input side otherwise.
    void add_emitter(BasicLog::Emitter* emitter);
    // See BasicLog::use_queued_logging.
    bool switch_to_queue();

  private:
    LoggerGlobals();
    TypedWorkQueue<const BasicLog::LogMessage> queue_;
    std::atomic<bool> use_queue_;
    LogInput input_;
    LogOutput output_;
};

// Log call macros. The source expression is evaluated once; when the level is
// filtered out nothing else is: not the text, not the add() arguments. The
// macro is a whole statement that ends in an expression, so chained add()
// calls follow it and a trailing else binds as it would to a plain call.
#define QOR_LOG_AT_SITE(source, level, text, file, function)                                    \
    if (::BasicLog::Source* const qor_log_source_ = (source);                                   \
        !qor_log_source_->would_send(level)) {                                                  \
    } else                                                                                      \
        ::BasicLog::LogMessageBuilder(qor_log_source_->receiver(),                              \
                                      qor_log_source_->name().c_str(), (level), (text), (file), \
                                      (function))
#define QOR_LOG_AT(source, level, text) QOR_LOG_AT_SITE(source, level, text, __FILE__, __func__)
#define QOR_LOG_TRACE(source, text) QOR_LOG_AT(source, QOR_LOGLEVEL_TRACE, text)
#define QOR_LOG_DEBUG(source, text) QOR_LOG_AT(source, QOR_LOGLEVEL_DEBUG, text)
#define QOR_LOG_INFO(source, text) QOR_LOG_AT(source, QOR_LOGLEVEL_INFO, text)
#define QOR_LOG_NOTICE(source, text) QOR_LOG_AT(source, QOR_LOGLEVEL_NOTICE, text)
#define QOR_LOG_WARN(source, text) QOR_LOG_AT(source, QOR_LOGLEVEL_WARN, text)
#define QOR_LOG_ERROR(source, text) QOR_LOG_AT(source, QOR_LOGLEVEL_ERROR, text)
#define QOR_LOG_FATAL(source, text) QOR_LOG_AT(source, QOR_LOGLEVEL_FATAL, text)

#endif  // QORBASIC_LOG_H
