// The emitter actors that the factory makes. Each is a qrsvc::Actor to its
// host and, behind findInterface("log_emitter"), a BasicLog::Emitter to the
// log; the Emitter base is private so that the interface lookup is the one
// way to it.
#ifndef QORBASIC_SRC_LOGGING_EMITTER_ACTORS_H
#define QORBASIC_SRC_LOGGING_EMITTER_ACTORS_H

#include <string>

#include "qorbasic/actors.h"

namespace qor {
namespace detail {

// What the simple emitter actors share: no properties, no references, a
// startup that always succeeds and the interface "log_emitter".
class PlainEmitterActor : public qrsvc::Actor, private BasicLog::Emitter {
  public:
    explicit PlainEmitterActor(qrsvc::ActorContext& context) : qrsvc::Actor(context) {}
    ~PlainEmitterActor() override;
    int configProperty(const char* name, const char* value) override;
    int configReference(const char* name, qrsvc::Actor* actor) override;
    bool verifyConfig() override;
    qrsvc::ActorInterface* findInterface(QRSTR const& name) override;

  protected:
    bool implAsyncStartup(ScopedLock& proof) override;
};

}  // namespace detail
}  // namespace qor

class NullEmitterActor : public qor::detail::PlainEmitterActor {
  public:
    using PlainEmitterActor::PlainEmitterActor;
    void send_one_line(const qor_loglevel_impl* level, const std::string& headers,
                       const std::string& content) override;
    const char* emitter_type() const override;
};

// Lines go to standard output with puts, unflushed.
class StdoutEmitterActor : public qor::detail::PlainEmitterActor {
  public:
    using PlainEmitterActor::PlainEmitterActor;
    void send_one_line(const qor_loglevel_impl* level, const std::string& headers,
                       const std::string& content) override;
    const char* emitter_type() const override;
};

// Lines go to standard error, which the C library leaves unbuffered.
class StderrEmitterActor : public qor::detail::PlainEmitterActor {
  public:
    using PlainEmitterActor::PlainEmitterActor;
    void send_one_line(const qor_loglevel_impl* level, const std::string& headers,
                       const std::string& content) override;
    const char* emitter_type() const override;
};

// Opens the system log as "subsystem" at startup and sends each line at
// its level's priority as "category [LEVEL time] content", escaped.
class SyslogEmitterActor : public qor::detail::PlainEmitterActor {
  public:
    using PlainEmitterActor::PlainEmitterActor;
    ~SyslogEmitterActor() override;
    int configProperty(const char* name, const char* value) override;
    bool verifyConfig() override;
    void send_one_line(const qor_loglevel_impl* level, const std::string& headers,
                       const std::string& content) override;
    const char* emitter_type() const override;

  protected:
    bool implAsyncStartup(ScopedLock& proof) override;
    void implAsyncShutdown(ScopedLock& proof) override;

  private:
    std::string subsystem_;
    std::string category_;
    qor_syslog_impl* log_ = nullptr;  // guarded by asyncMutex()
};

#endif  // QORBASIC_SRC_LOGGING_EMITTER_ACTORS_H
