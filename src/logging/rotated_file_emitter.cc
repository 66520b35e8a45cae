// RotatedFileEmitterActor: dated log files per period, and the retention scrub.
#include "logging/rotated_file_emitter.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cctype>
#include <cstring>

#include "logging/formats.h"
#include "logging/library_log.h"
#include "qorbasic/files.h"
#include "qorbasic/profiles.h"
#include "qorbasic/timeutils.h"

namespace {

constexpr long kDay = 86400000000L;
constexpr long kHour = 3600000000L;
constexpr long kMinute = 60000000L;
constexpr long kRetention = 30 * kDay;
constexpr long kShortestInterval = 1000;
constexpr long kLinkCheckInterval = 1000000;
constexpr size_t kKeptLineCapacity = 16384;

std::atomic<qor::detail::EmitterClock> g_clock{nullptr};

long emitter_now() {
    qor::detail::EmitterClock clock = g_clock.load(std::memory_order_relaxed);
    return clock != nullptr ? clock() : current_time_usec1970();
}

bool all_digits(const char* text, int count) {
    for (int i = 0; i < count; ++i) {
        if (!std::isdigit(static_cast<unsigned char>(text[i]))) return false;
    }
    return true;
}

// One of the four dated forms followed by ".log": 20180401.log,
// 20180401-13.log, 20180401-1305.log, 20180401-130509.log.
bool is_dated_log_name(const char* name) {
    size_t length = std::strlen(name);
    for (int time_digits : {0, 2, 4, 6}) {
        size_t expected = 8 + (time_digits > 0 ? 1 + time_digits : 0) + 4;
        if (length != expected || !all_digits(name, 8)) continue;
        if (time_digits > 0 && (name[8] != '-' || !all_digits(name + 9, time_digits))) continue;
        if (std::strcmp(name + length - 4, ".log") == 0) return true;
    }
    return false;
}

// The report goes straight to standard error in the standard line form:
// the emission path holds this actor's mutex, and on the direct path the
// LogInput mutex too, so a log call from here could only be dropped.
void report_removal(const std::string& path) {
    if (!qor::detail::library_source()->would_send(QOR_LOGLEVEL_INFO)) return;
    BasicLog::LogMessage message("removing outdated logfile", QOR_LOGLEVEL_INFO, __FILE__, __func__,
                                 BasicLog::LOGGERNAME_BASICLIB);
    message.add("filename", path);
    std::string headers, content;
    BasicLog::standard_format_headers(headers, message.headers());
    BasicLog::standard_format_content(content, message.body());
    BasicLog::stderr_emitter(QOR_LOGLEVEL_INFO, headers, BasicLog::logging_escape(content));
}

}  // namespace

namespace qor {
namespace detail {

void set_file_emitter_clock(EmitterClock clock) {
    g_clock.store(clock, std::memory_order_relaxed);
}

}  // namespace detail
}  // namespace qor

RotatedFileEmitterActor::RotatedFileEmitterActor(qrsvc::ActorContext& context)
    : qrsvc::Actor(context),
      interval_(kDay),
      current_interval_start_(0),
      writer_(nullptr),
      line_end_owed_(false),
      link_checked_(0) {
    ProfileUtils::installation_path(dir_);
}

RotatedFileEmitterActor::~RotatedFileEmitterActor() = default;

int RotatedFileEmitterActor::configProperty(const char* name, const char* value) {
    if (cased_equals(name, "interval")) {
        interval_ = parse_interval(value);
    } else if (cased_equals(name, "prefix")) {
        prefix_.assign(value != nullptr ? value : "");
    } else if (cased_equals(name, "dir")) {
        dir_.assign(value != nullptr ? value : "");
    } else {
        return qrsvc::CONFIG_UNKNOWN;
    }
    return qrsvc::CONFIG_ACCEPTED;
}

int RotatedFileEmitterActor::configReference(const char*, qrsvc::Actor*) {
    return qrsvc::CONFIG_UNKNOWN;
}

bool RotatedFileEmitterActor::verifyConfig() {
    return interval_ >= kShortestInterval;
}

qrsvc::ActorInterface* RotatedFileEmitterActor::findInterface(QRSTR const& name) {
    if (cased_equals(name, "log_emitter")) return static_cast<BasicLog::Emitter*>(this);
    if (cased_equals(name, "logfile_emitter")) {
        return static_cast<BasicLog::FileEmitterInterface*>(this);
    }
    return nullptr;
}

const char* RotatedFileEmitterActor::emitter_type() const {
    return "RotatedFileEmitter";
}

// An interval that verifyConfig refuses can't be divided by: the start
// fails rather than the first line crashing.
bool RotatedFileEmitterActor::implAsyncStartup(ScopedLock& lock) {
    if (!verifyConfig()) return false;
    close_file(lock);
    current_interval_start_ = current_interval();
    return true;
}

void RotatedFileEmitterActor::implAsyncShutdown(ScopedLock& lock) {
    close_file(lock);
}

void RotatedFileEmitterActor::close_file(ScopedLock&) {
    writer_.clear();
    current_filename_.clear();
}

void RotatedFileEmitterActor::getCurrentFilename(std::string& out) const {
    ScopedLock hold(asyncMutex());
    out = current_filename_;
}

long RotatedFileEmitterActor::current_interval() const {
    return period_of(emitter_now());
}

long RotatedFileEmitterActor::period_of(long now) const {
    now = gmt_to_local(now);
    if (interval_ < 1) return now;  // not verified: no division by zero
    return now / interval_ * interval_;
}

void RotatedFileEmitterActor::send_one_line(const qor_loglevel_impl*, const std::string& headers,
                                            const std::string& content) {
    ScopedLock hold(asyncMutex());
    if (!ensure_writefd(hold)) return;
    qor::detail::compose_line(line_, headers, content,
                              qor::detail::kLineEscaped | qor::detail::kLineNewline);
    if (line_end_owed_) line_.insert(0, 1, '\n');
    if (writer_->write(line_.data(), static_cast<int>(line_.size()))) line_end_owed_ = false;
    // One huge line must not pin its size on the actor for good.
    if (line_.capacity() > kKeptLineCapacity) std::string().swap(line_);
}

// Besides a new period, a file that another process removed while it was
// open is opened anew: lines written to it would be lost to everyone. The
// test costs a stat call, as much as the write itself, so it is made at
// most once a second.
bool RotatedFileEmitterActor::ensure_writefd(ScopedLock& lock) {
    const long now = emitter_now();
    const long period = period_of(now);
    if (writer_.is_valid() && writer_->is_open() && period == current_interval_start_) {
        if (now >= link_checked_ && now - link_checked_ < kLinkCheckInterval) return true;
        link_checked_ = now;
        if (!writer_->is_unlinked()) return true;
    }
    close_file(lock);
    scrub_old_files();
    current_interval_start_ = period;
    FileUtils::makeDir(dir_, FileUtils::ACCESSMODE_RWX_OWNER_RX_ALL);
    std::string name;
    const char* prefix = prefix_.c_str();
    if (interval_ == kDay) {
        filename_by_day(name, prefix, period, ".log");
    } else if (interval_ == kHour) {
        filename_by_hour(name, prefix, period, ".log");
    } else if (interval_ == kMinute) {
        filename_by_minute(name, prefix, period, ".log");
    } else {
        filename_by_second(name, prefix, period, ".log");
    }
    std::string path;
    FileUtils::join_filename(path, dir_, name);
    writer_.assign(new UnbufferedFileWriter(path.c_str()));
    if (!writer_->is_open()) {
        close_file(lock);
        return false;
    }
    current_filename_ = path;
    line_end_owed_ = writer_->ends_mid_line();
    link_checked_ = now;
    return true;
}

// Names are read and removed relative to one open handle of the directory,
// and looked at without following links: a name swapped for a link or a
// directory between the scan and the removal is not what gets removed.
void RotatedFileEmitterActor::scrub_old_files() {
    const long cutoff = emitter_now() - kRetention;
    int dir_fd = open(dir_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dir_fd < 0) return;
    DIR* scan = fdopendir(dir_fd);
    if (scan == nullptr) {
        close(dir_fd);
        return;
    }
    while (const struct dirent* entry = readdir(scan)) {
        const char* name = entry->d_name;
        bool ours = prefix_.empty()
                        ? is_dated_log_name(name)
                        : limited_cased_equals(name, prefix_, static_cast<int>(prefix_.size()));
        if (!ours) continue;
        struct stat info;
        if (fstatat(dir_fd, name, &info, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISREG(info.st_mode)) {
            continue;
        }
        long modified = info.st_mtim.tv_sec * 1000000L + info.st_mtim.tv_nsec / 1000;
        if (modified >= cutoff) continue;
        std::string path;
        report_removal(FileUtils::join_filename(path, dir_, name));
        unlinkat(dir_fd, name, 0);
    }
    closedir(scan);
}
