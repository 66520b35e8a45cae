// The file emitter: one log file per period in one directory, rotated and
// scrubbed by the lines themselves, with no timer and no thread.
#ifndef QORBASIC_SRC_LOGGING_ROTATED_FILE_EMITTER_H
#define QORBASIC_SRC_LOGGING_ROTATED_FILE_EMITTER_H

#include <string>

#include "qorbasic/actors.h"
#include "qorbasic/guards.h"

namespace qor {
namespace detail {

// The one clock of the file emitter (periods and the retention cutoff), in
// ticks since 1970 UTC. Tests put their own in to cross periods and the
// 30-day cutoff without sleeping; null brings the wall clock back.
typedef long (*EmitterClock)();
void set_file_emitter_clock(EmitterClock clock);

}  // namespace detail
}  // namespace qor

class RotatedFileEmitterActor : public qrsvc::Actor,
                                private BasicLog::Emitter,
                                private BasicLog::FileEmitterInterface {
  public:
    explicit RotatedFileEmitterActor(qrsvc::ActorContext& context);
    ~RotatedFileEmitterActor() override;

    // "interval" (a text such as "1 hour"), "prefix" and "dir".
    int configProperty(const char* name, const char* value) override;
    int configReference(const char* name, qrsvc::Actor* actor) override;
    // True for an interval of at least one millisecond.
    bool verifyConfig() override;
    // "log_emitter" and "logfile_emitter".
    qrsvc::ActorInterface* findInterface(QRSTR const& name) override;

    const char* emitter_type() const override;
    void send_one_line(const qor_loglevel_impl* level, const std::string& headers,
                       const std::string& content) override;
    void getCurrentFilename(std::string& out) const override;

    // The start of the current period on the local clock.
    long current_interval() const;
    // True when a file of the current period is open, opening it if needed.
    bool ensure_writefd(ScopedLock& proof);
    // Removes this emitter's files older than 30 days from dir.
    void scrub_old_files();

  protected:
    bool implAsyncStartup(ScopedLock& proof) override;
    void implAsyncShutdown(ScopedLock& proof) override;

  private:
    void close_file(ScopedLock& proof);

    long interval_;
    std::string dir_;
    std::string prefix_;
    long current_interval_start_;
    ScopedPtr<UnbufferedFileWriter> writer_;
    std::string current_filename_;
    // The open file ends in the middle of a line that a failed write left:
    // the next line starts with a line end, so it comes out whole.
    bool line_end_owed_;
};

#endif  // QORBASIC_SRC_LOGGING_ROTATED_FILE_EMITTER_H
