// The output side of queued mode: the thread that hands queued messages to
// the queued emitters, and the process-wide calls that start, stop and drain
// it.
#include <linux/futex.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>

#include "logging/messages.h"
#include "qorbasic/log.h"
#include "qorbasic/threads.h"
#include "qorbasic/timeutils.h"

namespace {

// Messages taken from the queue under one hold of its lock.
constexpr int kBatchSize = 20;
// The longest wait of an idle output thread, also when no insert wakes it.
constexpr long kIdleWaitUsec = 1000000;
constexpr long kShutdownWaitUsec = 30000000;
// What the exit handler may spend writing what is still queued.
constexpr long kExitDrainUsec = 2000000;

constexpr int kDoorbellQuiet = 0;
constexpr int kDoorbellRung = 1;
constexpr int kDoorbellWaiting = 2;

long futex(std::atomic<int>* word, int op, int value, const struct timespec* timeout) {
    static_assert(sizeof(std::atomic<int>) == sizeof(int), "a futex word is an int");
    return syscall(SYS_futex, reinterpret_cast<int*>(word), op, value, timeout, nullptr, 0);
}

}  // namespace

LogOutput::LogOutput(TypedWorkQueue<const BasicLog::LogMessage>& queue, bool use_queue)
    : queue_(queue), use_queue_(use_queue), state_(EMITTERS_STOPPED) {}

bool LogOutput::startup() {
    if (!use_queue_.load()) return true;
    ScopedLock hold(state_);
    if (!state_.equals(EMITTERS_STOPPED, hold)) return false;
    state_.set(EMITTERS_RUNNING, hold);
    pthread_t thread;
    if (pthread_create(&thread, nullptr, &LogOutput::raw_threadproc, this) != 0) {
        state_.set(EMITTERS_STOPPED, hold);
        return false;
    }
    pthread_detach(thread);
    return true;
}

void LogOutput::begin_shutdown() {
    {
        ScopedLock hold(state_);
        if (state_.equals(EMITTERS_RUNNING, hold)) state_.set(EMITTERS_STOPPING, hold);
    }
    // The thread notices the request at once, not after its idle wait.
    wake();
}

bool LogOutput::complete_shutdown() {
    if (!use_queue_.load()) return true;
    return wait_until_stopped(kShutdownWaitUsec);
}

bool LogOutput::wait_until_stopped(long timeout_usec) {
    return waitUntil(AtomicEqualityTestPredicate<EmitterState>(state_, EMITTERS_STOPPED),
                     timeout_usec);
}

bool LogOutput::is_running() {
    return state_.equals(EMITTERS_RUNNING);
}

void LogOutput::add_emitter(BasicLog::Emitter* emitter) {
    if (emitter == nullptr) return;
    ScopedLock hold(state_);
    emitters_.push_back(emitter);
}

void LogOutput::emergency_emitter(BasicLog::Emitter* emitter) {
    ScopedLock hold(state_);
    emitters_.clear();
    if (emitter != nullptr) emitters_.push_back(emitter);
}

// The queue's lock is held for the extraction only, so that call sites can
// insert while the batch is written; the state's lock, for the writing, so
// that the emitters list can't change under it. The two are never held
// together. An emitter may log meanwhile: its line goes into the queue.
int LogOutput::write_messages() {
    const BasicLog::LogMessage* batch[kBatchSize];
    int count = 0;
    {
        ScopedLock hold(queue_);
        while (count < kBatchSize && (batch[count] = queue_.extract(hold)) != nullptr) ++count;
    }
    if (count == 0) return 0;
    ScopedLock hold(state_);
    for (int i = 0; i < count; ++i) {
        for (BasicLog::Emitter* emitter : emitters_) {
            try {
                emitter->processMessage(*batch[i]);
            } catch (...) {
                // A failing emitter loses its line; the others carry on.
            }
        }
        qor::detail::MessageStore::dispose(const_cast<BasicLog::LogMessage*>(batch[i]));
    }
    return count;
}

void* LogOutput::raw_threadproc(void* self) {
    thread_setname("logging_output");
    static_cast<LogOutput*>(self)->threadproc();
    return nullptr;
}

void LogOutput::threadproc() {
    {
        ScopedLock hold(state_);
        if (!state_.equals(EMITTERS_RUNNING, hold)) {
            state_.set(EMITTERS_STOPPED, hold);
            return;
        }
    }
    while (state_.equals(EMITTERS_RUNNING)) {
        if (write_messages() == 0) wait_for_wake(kIdleWaitUsec);
    }
    state_.set(EMITTERS_STOPPED);
}

// Lets an insert or a stop request end the idle wait of the thread. The
// common case, a thread busy with earlier messages or already woken, costs
// one load; only a thread that sleeps costs a system call.
void LogOutput::wake() {
    if (doorbell_.load() == kDoorbellRung) return;
    if (doorbell_.exchange(kDoorbellRung) == kDoorbellWaiting) {
        futex(&doorbell_, FUTEX_WAKE_PRIVATE, INT_MAX, nullptr);
    }
}

// Called after write_messages found the queue empty. A wake() between that
// look and this call left the bell rung, and the wait ends at once; the bell
// is quiet again before the caller looks at the queue next, so a later
// insert rings it anew.
void LogOutput::wait_for_wake(long usec) {
    int expected = kDoorbellQuiet;
    if (doorbell_.compare_exchange_strong(expected, kDoorbellWaiting)) {
        struct timespec timeout = {usec / 1000000, (usec % 1000000) * 1000};
        futex(&doorbell_, FUTEX_WAIT_PRIVATE, kDoorbellWaiting, &timeout);
    }
    doorbell_.store(kDoorbellQuiet);
}

namespace {

// Runs at a normal exit in queued mode: stops the thread and writes what is
// still queued on the exiting thread, within a bounded time. If the thread
// doesn't stop in that time (an emitter blocks), it holds the state's lock,
// and the rest of the queue is left alone rather than waiting for it.
void drain_at_exit() {
    LogOutput* output = LoggerGlobals::instance().output_side();
    const long deadline = current_time_usec1970() + kExitDrainUsec;
    output->begin_shutdown();
    if (!output->wait_until_stopped(kExitDrainUsec)) return;
    while (current_time_usec1970() < deadline && output->write_messages() > 0) {
    }
}

}  // namespace

void LoggerGlobals::add_emitter(BasicLog::Emitter* emitter) {
    if (use_queue_.load()) {
        output_.add_emitter(emitter);
    } else {
        input_.add_emitter(emitter);
    }
}

// The input side decides, under its lock, whether a message went out
// already; the output side and this holder follow it. The exit handler is
// registered once, by the call that turns queued mode on.
bool LoggerGlobals::switch_to_queue() {
    if (!input_.switch_to_queue(&output_)) return false;
    output_.set_use_queue(true);
    if (!use_queue_.exchange(true)) std::atexit(drain_at_exit);
    return true;
}

namespace BasicLog {

bool use_queued_logging() {
    return LoggerGlobals::instance().switch_to_queue();
}

bool logging_startup() {
    return LoggerGlobals::instance().output_side()->startup();
}

bool logging_shutdown() {
    LogOutput* output = LoggerGlobals::instance().output_side();
    output->begin_shutdown();
    return output->complete_shutdown();
}

bool logging_complete() {
    return !LoggerGlobals::instance().output_side()->is_running();
}

void logger_dump() {
    LogOutput* output = LoggerGlobals::instance().output_side();
    while (output->write_messages() > 0) {
    }
}

void dump_log() {
    // Never destroyed: the exit handler may still write to it after the
    // static destructors have run.
    static EmergencyEmitter* emergency = new EmergencyEmitter;
    LoggerGlobals::instance().output_side()->emergency_emitter(emergency);
    logger_dump();
}

void add_queued_emitter(Emitter* emitter) {
    if (emitter == nullptr) return;
    LoggerGlobals::instance().add_emitter(emitter);
}

}  // namespace BasicLog
