// Threads of libqorbasic: sleeping, polling waits, thread names and the
// immediate end of a process.
//
// There is no condition variable in the library: every wait is a poll built
// on thread_nap. A wait for a flag that another thread sets:
//
//   class Done : public Predicate0 {
//   public:
//       explicit Done(const std::atomic<bool>& flag) : flag_(flag) {}
//       bool predicate0() const override { return flag_.load(); }
//   private:
//       const std::atomic<bool>& flag_;
//   };
//   std::atomic<bool> flag{false};   // set by the other thread
//   if (!waitUntil(Done(flag), 2000000)) { /* two seconds went by */ }
//
// The surprising cases:
// - thread_nap sleeps whole seconds only from 5 s up (5999999 us is 5 s),
//   and a signal ends it early without a word; thread_sleep sleeps on after
//   a signal, up to the wall-clock target.
// - waitUntil polls every 10 ms, and a wall clock that is set back restarts
//   the whole timeout.
// - A thread name longer than 15 characters is refused by the system and
//   the thread keeps its old name.
// - exit_process runs no exit handlers and flushes no stream. The exit codes
//   are compared by address: all five records hold the same number.
#ifndef QORBASIC_THREADS_H
#define QORBASIC_THREADS_H

#include <string>

#include "qorbasic/export.h"

// The test that waitUntil polls. It runs on the waiting thread and does its
// own locking.
class QOR_API Predicate0 {
  public:
    virtual ~Predicate0();
    virtual bool predicate0() const = 0;
};

// True as soon as the predicate holds, tested every 10 ms; false once
// `timeout_usec` has passed on the wall clock. A predicate that already
// holds wins whatever the timeout.
QOR_API bool waitUntil(const Predicate0& predicate, long timeout_usec);

// One sleep of at most `usec` microseconds; nothing for 0 or less.
QOR_C_API void thread_nap(long usec);
// Sleeps until `usec` microseconds have passed on the wall clock, within
// 5 us of the target.
QOR_C_API void thread_sleep(long usec);
// Names the calling thread; null or "" becomes "<anonymous thread>".
QOR_C_API void thread_setname(const char* name);
// The calling thread's name, or "<error in pthread_getname>".
QOR_C_API void thread_getname(std::string& out);

// An exit code: a record told apart from the others by its address only.
struct qor_exitcode_impl {
    short value;
};

QOR_C_API const qor_exitcode_impl* const EXIT_PROCESS_NORMAL;
QOR_C_API const qor_exitcode_impl* const EXIT_PROCESS_SHUTDOWN;
QOR_C_API const qor_exitcode_impl* const EXIT_PROCESS_USAGE;
QOR_C_API const qor_exitcode_impl* const EXIT_PROCESS_INIT;
QOR_C_API const qor_exitcode_impl* const EXIT_PROCESS_ERROR;

// Ends the process at once with _exit: status 0 for NORMAL, SHUTDOWN and
// USAGE, 101 for anything else.
QOR_C_API void exit_process(const qor_exitcode_impl* code) __attribute__((noreturn));

#endif  // QORBASIC_THREADS_H
