// SignalManager: signals latched by the handler and dispatched by checkSignals.
#include <signal.h>

#include <atomic>

#include "qorbasic/signals.h"

namespace {

constexpr int kSignalCount = 32;

// The kernel's handler has no other way to find the manager.
std::atomic<SignalManager*> g_current_manager{nullptr};

static_assert(std::atomic<int>::is_always_lock_free && std::atomic<bool>::is_always_lock_free,
              "the flags are shared with a signal handler");
static_assert(sizeof(std::atomic<int>) == sizeof(int) && sizeof(std::atomic<bool>) == sizeof(bool),
              "the flags keep the layout of 32 ints and a bool");

}  // namespace

SignalManager::SignalManager() : any_pending_(false) {
    for (std::atomic<int>& flag : flags_) flag.store(0, std::memory_order_relaxed);
    g_current_manager.store(this);
}

SignalManager::~SignalManager() {
    g_current_manager.store(nullptr);
}

bool SignalManager::is_signum(int signum) {
    return signum >= 0 && signum < kSignalCount;
}

void SignalManager::catchSignal(int signum) {
    if (!is_signum(signum)) return;
    if (flags_[signum].fetch_or(SIGNAL_CAUGHT) & SIGNAL_CAUGHT) return;
    // The semantics of signal() on Linux: interrupted calls restart, the
    // action stays installed, and the signal is blocked while it runs.
    struct sigaction action = {};
    action.sa_handler = &SignalManager::handler;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(signum, &action, nullptr);
}

void SignalManager::handler(int signum) {
    if (!is_signum(signum)) return;
    SignalManager* manager = g_current_manager.load();
    if (manager == nullptr) return;
    // The bit first, then any_pending: checkSignals relies on that order.
    manager->flags_[signum].fetch_or(SIGNAL_PENDING);
    manager->any_pending_.store(true);
}

void SignalManager::checkSignals() {
    // Cleared before the loop, so that a signal coming in during the loop
    // after its number has been passed is dispatched by the next call
    // instead of waiting for some other signal.
    if (!any_pending_.exchange(false)) return;
    for (int signum = 0; signum < kSignalCount; ++signum) {
        if ((flags_[signum].load() & SIGNAL_PENDING) == 0) continue;
        handleSignal(signum);
        // Cleared after the call: the same signal coming in meanwhile is
        // taken as handled by it.
        flags_[signum].fetch_and(~SIGNAL_PENDING);
    }
}
