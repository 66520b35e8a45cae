// Per-thread marker of the log path. A thread that holds the LogInput mutex,
// or that is inside an emitter, must not make a log call: the mutex is not
// recursive, so the call would wait for itself. Every place that takes a lock
// of the log path marks the thread for that time, and processMessage drops a
// message from a marked thread instead of waiting. Code that only reports
// (the level functions, the assertion handler) asks first and skips its log
// step.
#ifndef QORBASIC_SRC_LOGGING_LOG_PATH_H
#define QORBASIC_SRC_LOGGING_LOG_PATH_H

namespace qor {
namespace detail {

bool thread_in_log_path();

// Marks the calling thread for its scope; nests.
class LogPathMark {
  public:
    LogPathMark();
    ~LogPathMark() { --*depth_; }
    LogPathMark(const LogPathMark&) = delete;
    LogPathMark& operator=(const LogPathMark&) = delete;

    // The thread was on the log path already when this mark was made.
    bool nested() const { return *depth_ > 1; }

  private:
    // The thread's counter, looked up once: each lookup of a thread-local
    // costs a call in a shared library.
    int* depth_;
};

}  // namespace detail
}  // namespace qor

#endif  // QORBASIC_SRC_LOGGING_LOG_PATH_H
