// Signal latching of libqorbasic: POSIX signals turned into calls in
// ordinary code.
//
// The handler that the kernel runs only sets flags; the client's main loop
// polls checkSignals, which calls handleSignal once for each signal that
// came in, on the loop's thread and never in a signal context:
//
//   class Signals : public SignalManager {
//   public:
//       void handleSignal(int signum) override {
//           if (signum == SIGTERM) stop = true;
//       }
//       bool stop = false;
//   };
//   Signals signals;
//   signals.catchSignal(SIGTERM);
//   signals.catchSignal(SIGHUP);
//   while (!signals.stop) { signals.checkSignals(); ... the loop's work ... }
//
// The surprising cases:
// - A signal that comes in several times before a check is dispatched once,
//   and the signals of one check go out lowest number first, whatever the
//   order in which they arrived.
// - Only numbers 0 to 31 are handled; catchSignal ignores the others
//   (real-time signals among them) without a word.
// - The manager constructed last is the one the handler fills; after its
//   destructor, signals still caught are ignored. Nothing restores the
//   previous actions.
// - catchSignal installs once per number: a second call does nothing, even
//   if the action was changed in between.
#ifndef QORBASIC_SIGNALS_H
#define QORBASIC_SIGNALS_H

#include <atomic>
#include <csignal>

#include "qorbasic/export.h"

class QOR_API SignalManager {
  public:
    // Bits of an entry of the flags.
    static constexpr int SIGNAL_CAUGHT = 1;
    static constexpr int SIGNAL_PENDING = 2;

    // Becomes the current manager.
    SignalManager();
    // No manager is current afterwards.
    virtual ~SignalManager();
    // Called by checkSignals on its own thread, once per latched signal.
    virtual void handleSignal(int signum) = 0;

    // Installs the handler for signum (0 to 31) unless already caught here.
    void catchSignal(int signum);
    // Dispatches every latched signal, lowest number first. Of the signals
    // that come in during the dispatch, one of a higher number than the one
    // being handled goes out in this call, one of a lower number in the next
    // call, and one of the number being handled is absorbed by it.
    void checkSignals();

    // The action installed by catchSignal: latches signum in the current
    // manager. Safe in a signal context: no lock, no allocation, no log.
    static void handler(int signum);
    static bool is_signum(int signum);

    SignalManager(const SignalManager&) = delete;
    SignalManager& operator=(const SignalManager&) = delete;

  private:
    // Shared with the signal context, so lock-free atomics of the same size
    // as the plain int and bool they stand for.
    std::atomic<int> flags_[32];
    std::atomic<bool> any_pending_;
};

#endif  // QORBASIC_SIGNALS_H
