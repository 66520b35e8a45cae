// Sources: named loggers with a level, and the names of the standard ones.
#include <cstdint>

#include "qorbasic/log.h"

namespace BasicLog {

const char* const LOGGERNAME_DAEMON = "daemon";
const char* const LOGGERNAME_VEXCTL = "vexctl";
const char* const LOGGERNAME_PLUGIN = "plugin";
const char* const LOGGERNAME_VEXCORE = "vexcore";
const char* const LOGGERNAME_BASICLIB = "basiclib";
const char* const LOGGERNAME_LOOM2 = "loom2";
const char* const LOGGERNAME_KELCOMMON = "kelcommon";
const char* const LOGGERNAME_TABAPP = "tabapp";
const char* const LOGGERNAME_LOOMCLIENT = "loomclient";
const char* const LOGGERNAME_LOOMSERVER = "loomserver";
const char* const LOGGERNAME_TEST = "test";
const char* const LOGGERNAME_OTHER = "other";

namespace {

// A source's levels are always records of the table (or DEFAULT for its own
// level), so that would_send compares real levels.
const qor_loglevel_impl* valid_or_info(const qor_loglevel_impl* level) {
    return loglevel_is_valid(level) ? level : QOR_LOGLEVEL_INFO;
}

}  // namespace

Source::Source(LogMessageProcessor& receiver, const char* name,
               const qor_loglevel_impl* default_level)
    : name_(name == nullptr ? "" : name),
      receiver_(&receiver),
      own_level_(QOR_LOGLEVEL_DEFAULT),
      default_level_(valid_or_info(default_level)) {}

const qor_loglevel_impl* Source::effective_log_level() const {
    ScopedLock hold(mutex_);
    const qor_loglevel_impl* own = own_level_.load(std::memory_order_relaxed);
    return own != QOR_LOGLEVEL_DEFAULT ? own : default_level_.load(std::memory_order_relaxed);
}

// The filter of every log call. The two level fields are written under the
// mutex but read here without it: each is one atomic pointer, so a reader
// sees either the old or the new level, which is all that the lock gave.
bool Source::would_send(const qor_loglevel_impl* level) const {
    const qor_loglevel_impl* threshold = own_level_.load(std::memory_order_relaxed);
    if (threshold == QOR_LOGLEVEL_DEFAULT)
        threshold = default_level_.load(std::memory_order_relaxed);
    if (level == QOR_LOGLEVEL_DEFAULT) level = QOR_LOGLEVEL_INFO;
    return reinterpret_cast<uintptr_t>(level) >= reinterpret_cast<uintptr_t>(threshold);
}

void Source::set_default_level(const qor_loglevel_impl* level) {
    ScopedLock hold(mutex_);
    default_level_.store(valid_or_info(level), std::memory_order_relaxed);
}

// Anything but one of the seven levels gives the source back to its default.
void Source::set_own_level(const qor_loglevel_impl* level) {
    ScopedLock hold(mutex_);
    own_level_.store(loglevel_is_valid(level) ? level : QOR_LOGLEVEL_DEFAULT,
                     std::memory_order_relaxed);
}

}  // namespace BasicLog
