// DetachedThread: a worker loop on a thread of its own, with a startup handshake.
#include <pthread.h>
#include <time.h>

#include <atomic>

#include "qorbasic/tasks.h"

namespace {

// How often waitDone looks at the state.
constexpr long kDonePollUsec = 500000;
// How often startup looks whether the new thread has taken over.
constexpr long kHandshakePollUsec = 50;

// Lives on startup's stack. The new thread takes the object from it, moves
// the state on, and sets `taken`; startup returns only then. So no shutdown
// of the owner can fall between startup and the thread's first step, and
// the thread never has to look at an object whose owner may have freed it.
struct Handshake {
    DetachedThread* thread;
    std::atomic<bool> taken{false};
};

}  // namespace

DetachedThread::DetachedThread(Predicate0* worker) : state_(THREAD_DONE), worker_(worker) {}

// A state of THREAD_RUNNING or THREAD_STOPPING means that a thread of this
// object still runs its loop: a second one on the same worker is refused.
bool DetachedThread::startup() {
    {
        ScopedLock hold(mutex_);
        if (state_ == THREAD_RUNNING || state_ == THREAD_STOPPING) return false;
        state_ = THREAD_STARTING;
    }
    Handshake handshake;
    handshake.thread = this;
    pthread_t thread;
    if (pthread_create(&thread, nullptr, &DetachedThread::server_threadproc, &handshake) != 0) {
        return false;
    }
    pthread_detach(thread);
    while (!handshake.taken.load(std::memory_order_acquire)) thread_nap(kHandshakePollUsec);
    return true;
}

void* DetachedThread::server_threadproc(void* arg) {
    Handshake* handshake = static_cast<Handshake*>(arg);
    DetachedThread* self = handshake->thread;
    Predicate0* worker = nullptr;
    {
        ScopedLock hold(self->mutex_);
        // Only a shutdown from another thread, racing startup itself, can
        // have moved the state on: then the loop must not run, and the owner
        // may free the object as soon as the lock is released.
        if (self->state_ == THREAD_STARTING) {
            worker = self->worker_;
            self->state_ = worker != nullptr ? THREAD_RUNNING : THREAD_DONE;
        }
    }
    // startup returns on this store, and `handshake` goes with its stack.
    handshake->taken.store(true, std::memory_order_release);
    if (worker == nullptr) return nullptr;
    while (self->getState() == THREAD_RUNNING) {
        if (!worker->predicate0()) break;
    }
    // The last touch of the object: once the owner sees THREAD_DONE it may
    // free it.
    self->setState(THREAD_DONE);
    return nullptr;
}

void DetachedThread::shutdown() {
    ScopedLock hold(mutex_);
    if (state_ == THREAD_RUNNING) {
        state_ = THREAD_STOPPING;
    } else if (state_ == THREAD_STARTING) {
        state_ = THREAD_DONE;
    }
}

bool DetachedThread::waitDone(int seconds) const {
    const time_t start = time(nullptr);
    for (;;) {
        if (getState() == THREAD_DONE) return true;
        if (time(nullptr) > start + seconds) return false;
        thread_nap(kDonePollUsec);
    }
}

DetachedThread::THREADSTATE DetachedThread::getState() const {
    ScopedLock hold(mutex_);
    return state_;
}

void DetachedThread::setState(THREADSTATE state) {
    ScopedLock hold(mutex_);
    state_ = state;
}
