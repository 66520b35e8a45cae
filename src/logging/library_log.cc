// The library's own source, "basiclib", and the flat test on it.
#include "logging/library_log.h"

namespace {

// Set once, while the process-wide input side is built, so that the library's
// own log calls find their source without taking a lock: they may come from
// a thread that is on the log path already.
BasicLog::Source* g_library_source = nullptr;

}  // namespace

namespace qor {
namespace detail {

void remember_library_source(BasicLog::Source* source) {
    g_library_source = source;
}

BasicLog::Source* library_source() {
    LoggerGlobals::instance();
    return g_library_source;
}

}  // namespace detail
}  // namespace qor

bool logger_wouldSend(const qor_loglevel_impl* level) {
    return qor::detail::library_source()->would_send(level);
}
