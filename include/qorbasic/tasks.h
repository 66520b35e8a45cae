// Tasks of libqorbasic: the start, stop and complete lifecycle of AsyncTask,
// and DetachedThread, a worker loop on a detached thread.
//
// An AsyncTask runs no thread of its own. A subclass says what starting,
// stopping and "has it finished?" mean, and its owner polls:
//
//   class Poller : public AsyncTask {
//     public:
//       Poller() : AsyncTask("poller") {}
//     protected:
//       bool implAsyncStartup(ScopedLock&) override { return true; }
//       void implAsyncShutdown(ScopedLock&) override {}
//       void implAsyncCheckComplete(ScopedLock& lock) override {
//           setAsyncState(ASYNC_COMPLETE, lock);
//       }
//   };
//   Poller poller;
//   poller.asyncStartup();
//   poller.asyncShutdown();
//   while (!poller.asyncIsComplete()) thread_nap(10000);
//
// A DetachedThread calls its worker's predicate0() in a loop until it returns
// false or the owner calls shutdown(); the owner then waits for THREAD_DONE:
//
//   class Pump : public Predicate0 {
//     public:
//       bool predicate0() const override { return ++rounds_ < 1000; }  // false: done
//     private:
//       mutable int rounds_ = 0;
//   };
//   Pump pump;
//   DetachedThread thread(&pump);
//   if (thread.startup()) {
//       thread.shutdown();
//       thread.waitDone(5);
//   }
//
// The surprising cases:
// - A task is not restartable, and a second asyncStartup, or one after
//   asyncShutdown, leaves it ASYNC_FAILED. A failed task counts as complete.
// - asyncShutdown on a task that never started completes it at once,
//   without calling implAsyncShutdown.
// - The impl steps run with the task's mutex held and must not call the
//   public operations of their own task: the mutex is not recursive.
// - A DetachedThread must outlive its thread: destroy it only after
//   waitDone returned true (or getState() gave THREAD_DONE). waitDone polls
//   every half second.
#ifndef QORBASIC_TASKS_H
#define QORBASIC_TASKS_H

#include <string>

#include "qorbasic/export.h"
#include "qorbasic/lock.h"
#include "qorbasic/text.h"
#include "qorbasic/threads.h"

class QOR_API AsyncTask {
  public:
    enum STATE {
        ASYNC_CREATED = 1,
        ASYNC_RUNNING = 2,
        ASYNC_STOPPING = 3,
        ASYNC_COMPLETE = 4,
        ASYNC_FAILED = 5,
    };

    explicit AsyncTask(QRSTR const& name);
    AsyncTask(const AsyncTask&) = delete;
    AsyncTask& operator=(const AsyncTask&) = delete;

    // True when the task came up; false, and ASYNC_FAILED, when the step
    // failed or the task was not in ASYNC_CREATED.
    bool asyncStartup();
    // Begins stopping a running task; completes one that never started.
    void asyncShutdown();
    // True once the task is complete or failed. Polling it is what moves a
    // stopping task on: it calls implAsyncCheckComplete.
    bool asyncIsComplete();

    const std::string& asyncName() const { return name_; }
    // The task's mutex, for subclasses that guard their own data with it.
    Lockable& asyncMutex() const { return mutex_; }
    void setAsyncState(STATE state, ScopedLock& proof);
    bool verifyState(STATE state, ScopedLock& proof) const;

  protected:
    // The three steps run on the caller's thread with the task's mutex held.
    virtual bool implAsyncStartup(ScopedLock& proof) = 0;
    virtual void implAsyncShutdown(ScopedLock& proof) = 0;
    virtual void implAsyncCheckComplete(ScopedLock& proof) = 0;

  public:
    // Calls no step: the subclass's part is gone by then.
    virtual ~AsyncTask();

  private:
    mutable PortableMutex mutex_;
    STATE state_;
    std::string name_;
};

// A worker loop on a detached POSIX thread, stopped by a polling handshake.
class QOR_API DetachedThread {
  public:
    enum THREADSTATE {
        THREAD_STARTING = 1,
        THREAD_RUNNING = 2,
        THREAD_STOPPING = 3,
        THREAD_DONE = 4,
    };

    // The worker is not owned; its predicate0() returns false when the work
    // is finished. Until startup the state is THREAD_DONE.
    explicit DetachedThread(Predicate0* worker);
    DetachedThread(const DetachedThread&) = delete;
    DetachedThread& operator=(const DetachedThread&) = delete;

    // Returns once the new thread has taken over, so a shutdown that
    // follows always reaches the loop. False when the thread can't be
    // created (the state stays THREAD_STARTING until a shutdown) or when a
    // thread of this object still runs.
    bool startup();
    // THREAD_RUNNING becomes THREAD_STOPPING, THREAD_STARTING THREAD_DONE.
    void shutdown();
    // True once the state is THREAD_DONE; false when `seconds` have passed.
    bool waitDone(int seconds) const;
    THREADSTATE getState() const;
    void setState(THREADSTATE state);

    // The body of the thread; `arg` is startup's handshake.
    static void* server_threadproc(void* arg);

  private:
    mutable PortableMutex mutex_;
    THREADSTATE state_;
    Predicate0* worker_;
};

#endif  // QORBASIC_TASKS_H
