// Actors of libqorbasic: objects that a host process makes by class name,
// configures with name/value pairs, starts and stops, and asks for named
// interfaces. The library's actors are its log emitters.
//
// The host writes the context; the factory makes the actor:
//
//   class Context : public qrsvc::ActorContext {
//     public:
//       Context(std::string name, std::string cls) : name_(name), class_(cls) {}
//       const std::string& name() const override { return name_; }
//       const std::string& className() const override { return class_; }
//     private:
//       std::string name_, class_;
//   };
//   Context context("logfile", "file_emitter");
//   qrsvc::Actor* actor = BasicLog::emitter_factory().makeActor(context);
//   actor->configProperty("dir", "/var/log/svc");
//   actor->configProperty("interval", "1 hour");
//   if (actor->verifyConfig() && actor->asyncStartup()) {
//       qrsvc::ActorInterface* found = actor->findInterface("log_emitter");
//       BasicLog::add_early_emitter(dynamic_cast<BasicLog::Emitter*>(found));
//   }
//
// The class names are "null_emitter", "stdout_emitter", "stderr_emitter",
// "syslog_emitter" and "file_emitter"; names of classes, properties and
// interfaces are compared case sensitively.
//
// The surprising cases:
// - An emitter handed to add_early_emitter belongs to the log from then on:
//   deleting it through BasicLog::Emitter destroys the whole actor. Don't
//   delete the actor yourself after that.
// - Set every property, then verifyConfig, then asyncStartup: the file
//   emitter divides by its interval from startup on. configProperty takes no
//   lock, so never call it on a running actor.
// - The emitters don't look at their state: a line that comes before
//   asyncStartup or after asyncShutdown is written all the same (the file
//   emitter opens its file again for it).
// - "file_emitter" writes one file per period (default one day, aligned on
//   the local clock) named <prefix><date>.log in "dir", and removes files of
//   its prefix older than 30 days when it opens a file. With an empty prefix
//   it removes only names of its own dated forms ending in ".log".
#ifndef QORBASIC_ACTORS_H
#define QORBASIC_ACTORS_H

#include <cstdint>
#include <string>

#include "qorbasic/export.h"
#include "qorbasic/log.h"
#include "qorbasic/tasks.h"
#include "qorbasic/text.h"

namespace qrsvc {

// Results of configProperty and configReference (not status codes).
enum {
    CONFIG_ACCEPTED = 1,
    CONFIG_UNKNOWN = 3,  // the actor has no property or reference of that name
};

// What the host tells an actor about itself. The library only reads it.
class QOR_API ActorContext {
  public:
    virtual ~ActorContext();
    // The name of this actor instance.
    virtual const std::string& name() const = 0;
    // The class of actor to make, as the factory knows it.
    virtual const std::string& className() const = 0;
};

class QOR_API Actor : public AsyncTask {
  public:
    // The context is not owned and must outlive the actor.
    explicit Actor(ActorContext& context);

    // Asks the context each time, so it follows a renamed context, while
    // asyncName() keeps the name the actor was made with.
    const std::string& actorName() const;

  protected:
    // Does nothing.
    void implAsyncShutdown(ScopedLock& proof) override;
    // Moves a stopping actor to complete at once.
    void implAsyncCheckComplete(ScopedLock& proof) override;

  public:
    ~Actor() override;
    // CONFIG_ACCEPTED or CONFIG_UNKNOWN.
    virtual int configProperty(const char* name, const char* value) = 0;
    virtual int configReference(const char* name, Actor* actor) = 0;
    // False when a required setting is missing or out of range.
    virtual bool verifyConfig() = 0;
    // The named interface of this actor, or null.
    virtual ActorInterface* findInterface(QRSTR const& name) = 0;

  private:
    std::uint32_t liveness_;  // kAlive while the object lives, kDead after
    ActorContext* context_;
};

class QOR_API ActorFactory {
  public:
    virtual ~ActorFactory();
    // A new actor that the caller owns, or null for an unknown class.
    virtual Actor* makeActor(ActorContext& context) = 0;
    // Appends the class names this factory makes; `out` is not cleared.
    virtual void reportClasses(StringVector& out) = 0;
};

}  // namespace qrsvc

namespace BasicLog {

// The interface "logfile_emitter" of the file emitter.
class QOR_API FileEmitterInterface : public qrsvc::ActorInterface {
  public:
    ~FileEmitterInterface() override;
    // The full path of the open log file; empty while none is open.
    virtual void getCurrentFilename(std::string& out) const = 0;
};

// The process-wide factory of the emitter actors.
QOR_API qrsvc::ActorFactory& emitter_factory();

}  // namespace BasicLog

// Appends to one file with plain write calls and no buffer, so each line is
// in the file when write() returns. Only regular files are opened: a link at
// the path is not followed, and a FIFO or device is refused without
// blocking.
class QOR_API UnbufferedFileWriter {
  public:
    // Null or "" leaves it closed; so does a failed open.
    explicit UnbufferedFileWriter(const char* path);
    ~UnbufferedFileWriter();
    UnbufferedFileWriter(const UnbufferedFileWriter&) = delete;
    UnbufferedFileWriter& operator=(const UnbufferedFileWriter&) = delete;

    bool is_open() const { return fd_ >= 0; }
    // Writes all of it; a length below 1 is true at once. A failed write
    // closes the writer and gives false, with part of the data perhaps
    // written.
    bool write(const char* data, int length);
    void close();

    // True when the file is not empty and its last byte is not a line feed:
    // a writer before this one was cut off in the middle of a line.
    bool ends_mid_line() const;
    // True when the open file has no name left: another process removed it.
    bool is_unlinked() const;

  private:
    int fd_;
};

// A handle on the process's system log connection.
class QOR_API qor_syslog_impl {
  public:
    // Opens the log as `appname`, or "<appname unavailable>" for null or "".
    explicit qor_syslog_impl(const char* appname);
    ~qor_syslog_impl();
    qor_syslog_impl(const qor_syslog_impl&) = delete;
    qor_syslog_impl& operator=(const qor_syslog_impl&) = delete;

    // Sends `text` at the level's priority (QOR_LOGLEVEL_DEFAULT as INFO);
    // null or "" sends nothing.
    void sendlog(const qor_loglevel_impl* level, const char* text) const;

  private:
    std::string ident_;  // openlog keeps the pointer: alive while open
};

QOR_C_API qor_syslog_impl* qor_syslog_open(const char* appname);
// A null handle is ignored.
QOR_C_API void qor_syslog_send(qor_syslog_impl* handle, const qor_loglevel_impl* level,
                               const char* text);
// Closes the process's system log connection and frees the handle.
QOR_C_API void qor_syslog_close(qor_syslog_impl* handle);

#endif  // QORBASIC_ACTORS_H
