// A small client of libqorbasic: it gets a named source and logs messages
// with parameters at several levels, to show the level filter at work, then
// stores a setting in a configuration file and logs the result.
#include <qorbasic/qorbasic.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

namespace {

BasicLog::Source* client_log() {
    static BasicLog::Source* source = BasicLog::make_logsource_instance("examples/client.cc");
    return source;
}

void log_line(const qor_loglevel_impl* level, const char* text, const char* name,
              QRSTR const& value) {
    BasicLog::Source* log = client_log();
    QOR_LOG_AT(log, level, text).add(name, value).add("source", log->name());
}

// The road of one request: store a setting through the flat interface (under
// the lock file of the config file), read it back, and log what happened.
void store_setting() {
    char dir_template[] = "/tmp/qorbasic-example-XXXXXX";
    const char* dir = mkdtemp(dir_template);
    if (dir == nullptr) return;
    // A daemon keeps the default lock directory; the example keeps its lock
    // files beside its config file so that it runs for any user.
    setenv("QOR_LOCK_DIR", dir, 0);

    const std::string path = std::string(dir) + "/client.conf";
    const int stored = configutils_writeconfig(path.c_str(), "listen_port", "8080");
    char value[64];
    configutils_readconfig(value, sizeof value, path.c_str(), "listen_port");
    log_line(QOR_LOGLEVEL_INFO, "setting stored", "result", stored);
    log_line(QOR_LOGLEVEL_INFO, "setting read back", "listen_port", value);

    FileUtils::removeRecursively(dir);
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

    set_default_loglevel(QOR_LOGLEVEL_INFO);
    store_setting();
    return 0;
}
