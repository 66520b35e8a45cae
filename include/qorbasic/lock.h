// Locks of libqorbasic: the abstract Lockable, the two non-recursive
// mutexes and the scope-bound holder ScopedLock.
//
// Every class of the library that must be locked holds a PortableMutex and
// is locked through a ScopedLock, which holds the lock from the end of its
// constructor to its destructor:
//
//   PortableMutex mutex;
//   {
//       ScopedLock hold(mutex);
//       ... guarded work ...
//   }  // released here
//
// An operation that needs its caller to hold a lock takes a ScopedLock& as
// proof of it. Neither mutex is recursive: locking one that the calling
// thread already holds is a deadlock.
#ifndef QORBASIC_LOCK_H
#define QORBASIC_LOCK_H

#include <mutex>

#include "qorbasic/export.h"

class QOR_API Lockable {
  public:
    virtual ~Lockable();
    virtual void lock() = 0;
    virtual void unlock() = 0;
};

// A standard non-recursive mutex. lock() raises std::system_error when the
// platform's lock operation fails; unlock() reports nothing.
class QOR_API BasicMutex : public Lockable {
  public:
    BasicMutex();
    ~BasicMutex() override;
    void lock() override;
    void unlock() override;

    BasicMutex(const BasicMutex&) = delete;
    BasicMutex& operator=(const BasicMutex&) = delete;

  private:
    std::mutex mutex_;
};

// The mutex that all classes of the library hold: a BasicMutex on the heap,
// reached through its virtual slots.
class QOR_API PortableMutex : public Lockable {
  public:
    PortableMutex();
    ~PortableMutex() override;
    void lock() override;
    void unlock() override;

    PortableMutex(const PortableMutex&) = delete;
    PortableMutex& operator=(const PortableMutex&) = delete;

  private:
    BasicMutex* held_;
};

// Holds a Lockable for its whole scope; there is no early release.
class QOR_API ScopedLock {
  public:
    explicit ScopedLock(Lockable& lockable);
    ~ScopedLock();

    ScopedLock(const ScopedLock&) = delete;
    ScopedLock& operator=(const ScopedLock&) = delete;

  private:
    Lockable* held_;
};

#endif  // QORBASIC_LOCK_H
