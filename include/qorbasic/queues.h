// Queues and locked values of libqorbasic: a first-in-first-out queue of
// pointers in fixed pages, its typed front, a value with its own lock, and a
// predicate that waits for such a value.
//
// The queue hands pointers from producer threads to a consumer without
// owning them. A producer inserts under the queue's lock taken by insert
// itself; the consumer takes the lock once for a whole batch:
//
//   struct Job { int id; };
//   TypedWorkQueue<Job> queue;
//   queue.insert(new Job{7});          // false only for null or out of memory
//   {
//       ScopedLock hold(queue);
//       while (Job* job = queue.extract(hold)) { std::printf("%d\n", job->id); delete job; }
//   }
//
//   AtomicValue<int> state(0);
//   waitUntil(AtomicEqualityTestPredicate<int>(state, 2), 1000000);
//
// The surprising cases:
// - A page holds 30 pointers and never wraps around: once its last slot has
//   been used it is full, even if entries were taken from its front. One
//   empty page is kept in reserve, so a queue whose two sides keep pace
//   allocates nothing.
// - Null is refused by insert, and extract returns null for "empty".
// - bulk_extract always returns the count asked for; the data ends at the
//   first null it stored.
// - The locks are not recursive: a thread holding a ScopedLock on a queue
//   must not call TypedWorkQueue::insert, and one holding a value's lock
//   must use the forms of set and equals that take the ScopedLock.
// - Destroying a queue frees its pages, never the pointers still in it.
#ifndef QORBASIC_QUEUES_H
#define QORBASIC_QUEUES_H

#include <cstdint>

#include "qorbasic/export.h"
#include "qorbasic/lock.h"
#include "qorbasic/threads.h"

// A queue of non-null pointers. Every operation takes a ScopedLock& as proof
// that the caller holds this queue's lock; none takes the lock itself.
class QOR_API SimplePointerQueue : public Lockable {
  public:
    // One page of entries. Entries are appended behind the last used slot
    // and taken from `first`; an emptied page starts again at slot 0.
    class QOR_API PQPAGE {
      public:
        static constexpr int SLOTS = 30;

        PQPAGE();
        ~PQPAGE();
        // False for null, and when slot 29 has been used.
        bool insert(void* item);

        int32_t first;
        int32_t count;
        void* slots[SLOTS];
        PQPAGE* next;

        PQPAGE(const PQPAGE&) = delete;
        PQPAGE& operator=(const PQPAGE&) = delete;
    };

    SimplePointerQueue();
    ~SimplePointerQueue() override;
    void lock() override;
    void unlock() override;

    // Appends; false for null or when a page can't be allocated.
    bool insert(void* item, ScopedLock& held);
    // The oldest entry, or null when the queue is empty.
    void* extract(ScopedLock& held);
    bool has_data(ScopedLock& held) const;
    // Inserts the non-null entries of items[0..n) in order and nulls each
    // one taken. Returns n, or the index of the first entry refused.
    int bulk_insert(void** items, int n, ScopedLock& held);
    // Calls extract n times into out[0..n), nulls included; returns n.
    int bulk_extract(void** out, int n, ScopedLock& held);

    SimplePointerQueue(const SimplePointerQueue&) = delete;
    SimplePointerQueue& operator=(const SimplePointerQueue&) = delete;

  protected:
    PortableMutex mutex_;
    PQPAGE* head_;   // oldest page
    PQPAGE* tail_;   // page that takes new entries
    PQPAGE* spare_;  // one empty page kept for reuse, not in the list
};

// The typed front of SimplePointerQueue, sharing its one lock.
template <typename T>
class TypedWorkQueue : public Lockable {
  public:
    TypedWorkQueue() = default;
    ~TypedWorkQueue() override = default;
    void lock() override { queue_.lock(); }
    void unlock() override { queue_.unlock(); }

    // Takes the queue's lock itself: never call it while holding that lock.
    bool insert(T* item) {
        ScopedLock hold(queue_);
        return queue_.insert(const_cast<void*>(static_cast<const void*>(item)), hold);
    }
    // The caller holds a ScopedLock on this queue, usually for a batch.
    T* extract(ScopedLock& held) { return static_cast<T*>(queue_.extract(held)); }
    bool has_data(ScopedLock& held) const { return queue_.has_data(held); }

    TypedWorkQueue(const TypedWorkQueue&) = delete;
    TypedWorkQueue& operator=(const TypedWorkQueue&) = delete;

  private:
    SimplePointerQueue queue_;
};

// A value with its own lock. The forms without a ScopedLock take the lock;
// those with one expect the caller to hold it, for a test-and-set:
//
//   ScopedLock hold(state);
//   if (state.equals(IDLE, hold)) state.set(BUSY, hold);
template <typename T>
class AtomicValue : public Lockable {
  public:
    explicit AtomicValue(const T& initial) : value_(initial) {}
    ~AtomicValue() override = default;
    void lock() override { mutex_.lock(); }
    void unlock() override { mutex_.unlock(); }

    T get() const {
        ScopedLock hold(mutex_);
        return value_;
    }
    void set(const T& value) {
        ScopedLock hold(mutex_);
        value_ = value;
    }
    bool equals(const T& value) const {
        ScopedLock hold(mutex_);
        return value_ == value;
    }
    void set(const T& value, ScopedLock&) { value_ = value; }
    bool equals(const T& value, ScopedLock&) const { return value_ == value; }

    AtomicValue(const AtomicValue&) = delete;
    AtomicValue& operator=(const AtomicValue&) = delete;

  private:
    // Locking is not a change of the value, so const readers lock too.
    mutable PortableMutex mutex_;
    T value_;
};

// True while the value equals the constant given at construction. It takes
// the value's lock: never test it while holding that lock.
template <typename T>
class AtomicEqualityTestPredicate : public Predicate0 {
  public:
    AtomicEqualityTestPredicate(const AtomicValue<T>& value, const T& expected)
        : value_(value), expected_(expected) {}
    ~AtomicEqualityTestPredicate() override = default;
    bool predicate0() const override { return value_.get() == expected_; }

  private:
    const AtomicValue<T>& value_;
    T expected_;
};

#endif  // QORBASIC_QUEUES_H
