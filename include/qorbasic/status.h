// Status codes of libqorbasic and CommandResult.
//
// A status code is a 32-bit int: bits 31-24 the class, bits 23-12 the module
// id, bits 11-0 the number. Success is 1, not 0:
//
//   CommandResult r(STATUS_MKDIR_FAILED, "/var/app", "mkdir");
//   if (!r.is_success()) std::fprintf(stderr, "%s failed: %s\n", r.operation.c_str(),
//                                     status_string(r.status));
//
// is_error() is true only for the class bytes 0x10 to 0x16: informational,
// transient and internal codes (0x20, 0x22, 0x24) are neither successes nor
// errors, so a caller that must tell success from everything else tests
// is_success(). The value 0 has the success class but the text "invalid
// status code".
//
// Client programs word their own codes by registering a translator under
// their module id; module 0 is the library's own. Registration has no lock
// and must finish before other threads call status_string().
#ifndef QORBASIC_STATUS_H
#define QORBASIC_STATUS_H

#include <string>
#include <vector>

#include "qorbasic/export.h"
#include "qorbasic/text.h"

constexpr int STATUS_SUCCESS = 0x00000001;
constexpr int STATUS_SUCCESS_WARNINGS = 0x00000002;
constexpr int STATUS_CLIENT_ERROR = 0x10000001;
constexpr int STATUS_INVALID_COMMAND = 0x10000002;
constexpr int STATUS_INVALID_ARGUMENT = 0x10000003;
constexpr int STATUS_APPLICATION_ERROR = 0x12000001;
constexpr int STATUS_AUTHENTICATION_ERROR = 0x12000002;
constexpr int STATUS_HOST_ERROR = 0x14000001;
constexpr int STATUS_EXTERNAL_ERROR = 0x16000001;
constexpr int STATUS_MULTIPLE_RESULTS = 0x20000001;
constexpr int STATUS_INTERNAL_ERROR = 0x24000001;
constexpr int STATUS_UNIMPLEMENTED = 0x24000002;
constexpr int STATUS_OPENDIR_FAILED = 0x14000002;
constexpr int STATUS_READLINK_FAILED = 0x14000003;
constexpr int STATUS_STAT_FAILED = 0x14000004;
constexpr int STATUS_OPEN_FAILED = 0x14000005;
constexpr int STATUS_READ_FAILED = 0x14000006;
constexpr int STATUS_WRITE_FAILED = 0x14000007;
constexpr int STATUS_CHMOD_FAILED = 0x14000008;
constexpr int STATUS_GETIFADDRS_FAILED = 0x14000009;
constexpr int STATUS_FORK_FAILED = 0x1400000A;
constexpr int STATUS_WAITPID_FAILED = 0x1400000B;
constexpr int STATUS_UNLINK_FAILED = 0x1400000C;
constexpr int STATUS_UNLINK_DIR_FAILED = 0x1400000D;
constexpr int STATUS_RMDIR_FAILED = 0x1400000E;
constexpr int STATUS_MKDIR_FAILED = 0x1400000F;
constexpr int STATUS_RENAME_FAILED = 0x14000010;
constexpr int STATUS_COPYFILE_FAILED = 0x14000011;
constexpr int STATUS_GETCWD_FAILED = 0x14000012;
constexpr int STATUS_SYSTEM_FAILED = 0x14000013;
constexpr int STATUS_INVALID = 0x00000000;

QOR_API bool is_success(int status);
QOR_API bool is_error(int status);
// Never null; the text has static lifetime.
QOR_API const char* status_string(int status);

// A translator returns a static text for a full status code, or null.
typedef const char* (*status_translator)(int status);
// Appends to the registry; a null translator is ignored.
QOR_API void register_status_translator(int module_id, status_translator translator);

// The words of the library's own codes (module 0), or null for any other
// code. Registered first, so it answers before any client translator of
// module 0.
QOR_API const char* builtin_status_text(int status);

// The translator registry: one instance per process, made on first use by
// errorutils_instance(). ids[i] is the module id of translators[i], in the
// order of registration; entries are never removed.
class QOR_API errorutils_globals {
  public:
    errorutils_globals();
    ~errorutils_globals();

    errorutils_globals(const errorutils_globals&) = delete;
    errorutils_globals& operator=(const errorutils_globals&) = delete;

    std::vector<int> ids;
    std::vector<status_translator> translators;
};

QOR_API errorutils_globals& errorutils_instance();

// The by-value result of the FileUtils operations.
struct QOR_API CommandResult {
    int status;
    std::string subject;    // what the failed step worked on, usually a path
    std::string operation;  // the failed operation's name

    CommandResult(int status);  // NOLINT: results convert from codes
    CommandResult(int status, const QRSTR& subject, const QRSTR& operation);

    bool is_success() const;
    bool is_error() const;
};

#endif  // QORBASIC_STATUS_H
