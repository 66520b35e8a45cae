// A small client of libqorbasic: it gets a named source and logs messages
// with parameters at several levels, to show the level filter at work.
#include <qorbasic/qorbasic.h>

namespace {

BasicLog::Source* client_log() {
    static BasicLog::Source* source = BasicLog::make_logsource_instance("examples/client.cc");
    return source;
}

void log_line(const qor_loglevel_impl* level, const char* text, const char* name,
              QRSTR const& value) {
    BasicLog::Source* log = client_log();
    if (!log->would_send(level)) return;
    BasicLog::LogMessageBuilder(log->receiver(), log->name().c_str(), level, text, __FILE__,
                                __func__)
        .add(name, value)
        .add("source", log->name());
}

}  // namespace

int main() {
    // The start level is INFO: the DEBUG line is filtered out.
    log_line(QOR_LOGLEVEL_INFO, "client started", "level",
             loglevel_fullname(get_default_loglevel()));
    log_line(QOR_LOGLEVEL_DEBUG, "hidden at INFO", "detail", 1);
    log_line(QOR_LOGLEVEL_WARN, "connect failed", "errmsg", "No route to host");

    set_default_loglevel(QOR_LOGLEVEL_DEBUG);
    log_line(QOR_LOGLEVEL_DEBUG, "shown at DEBUG", "detail", 2);
    log_line(QOR_LOGLEVEL_ERROR, "giving up", "attempts", 3);
    return 0;
}
