// Status codes, their texts and the client translators.
#include "qorbasic/status.h"

namespace {

struct StatusText {
    int status;
    const char* text;
};

const StatusText kBuiltinTexts[] = {
    {STATUS_SUCCESS, "success"},
    {STATUS_SUCCESS_WARNINGS, "success with warnings"},
    {STATUS_CLIENT_ERROR, "client error"},
    {STATUS_INVALID_COMMAND, "invalid command"},
    {STATUS_INVALID_ARGUMENT, "invalid argument"},
    {STATUS_APPLICATION_ERROR, "application error"},
    {STATUS_AUTHENTICATION_ERROR, "authentication error (vexctl requires sudo for this command)"},
    {STATUS_HOST_ERROR, "error on host system"},
    {STATUS_EXTERNAL_ERROR, "error on external system"},
    {STATUS_MULTIPLE_RESULTS, "multiple results"},
    {STATUS_INTERNAL_ERROR, "internal error"},
    {STATUS_UNIMPLEMENTED, "unimplemented"},
    {STATUS_OPENDIR_FAILED, "stdlib error: opendir"},
    {STATUS_READLINK_FAILED, "stdlib error: readlink"},
    {STATUS_STAT_FAILED, "stdlib error: file stat"},
    {STATUS_OPEN_FAILED, "stdlib error: file open"},
    {STATUS_READ_FAILED, "stdlib error: file read"},
    {STATUS_WRITE_FAILED, "stdlib error: file write"},
    {STATUS_CHMOD_FAILED, "stdlib error: chmod"},
    {STATUS_GETIFADDRS_FAILED, "stdlib error: getifaddrs"},
    {STATUS_FORK_FAILED, "stdlib error: fork"},
    {STATUS_WAITPID_FAILED, "stdlib error: waitpid"},
    {STATUS_UNLINK_FAILED, "stdlib error: unlink"},
    {STATUS_UNLINK_DIR_FAILED, "stdlib error: unlink(directory)"},
    {STATUS_RMDIR_FAILED, "stdlib error: rmdir"},
    {STATUS_MKDIR_FAILED, "stdlib error: mkdir"},
    {STATUS_RENAME_FAILED, "stdlib error: rename"},
    {STATUS_COPYFILE_FAILED, "stdlib error: copyfile"},
    {STATUS_GETCWD_FAILED, "stdlib error: getcwd"},
    {STATUS_SYSTEM_FAILED, "stdlib error: system"},
    {STATUS_INVALID, "invalid status code"},
};

unsigned class_byte(int status) {
    return static_cast<unsigned>(status) >> 24;
}
int module_id(int status) {
    return (status >> 12) & 0xFFF;
}

// The text of a code that no translator words, from its class byte alone.
const char* fallback_text(int status) {
    switch (class_byte(status)) {
        case 0x00:
            return "generic success";
        case 0x10:
            return "generic client error";
        case 0x12:
            return "generic application error";
        case 0x14:
            return "generic host error";
        case 0x16:
            return "generic external-dependency error";
        case 0x20:
            return "unrecognized informational status code";
        case 0x22:
            return "unrecognized transient-error status code";
        case 0x24:
            return "unrecognized internal-error status code";
        case 0x11:
        case 0x13:
        case 0x15:
            return "generic error code";
        default:
            break;
    }
    return status > 0 ? "unrecognized status code value" : "integer is not a status code";
}

}  // namespace

bool is_success(int status) {
    return class_byte(status) == 0;
}
bool is_error(int status) {
    return class_byte(status) >= 0x10 && class_byte(status) <= 0x16;
}

const char* builtin_status_text(int status) {
    if (module_id(status) != 0) return nullptr;
    for (const StatusText& row : kBuiltinTexts) {
        if (row.status == status) return row.text;
    }
    return nullptr;
}

errorutils_globals::errorutils_globals() : ids{0}, translators{builtin_status_text} {}
errorutils_globals::~errorutils_globals() = default;

errorutils_globals& errorutils_instance() {
    static errorutils_globals instance;
    return instance;
}

void register_status_translator(int module_id, status_translator translator) {
    if (translator == nullptr) return;
    errorutils_globals& registry = errorutils_instance();
    registry.ids.push_back(module_id);
    registry.translators.push_back(translator);
}

const char* status_string(int status) {
    const errorutils_globals& registry = errorutils_instance();
    const int module = module_id(status);
    for (size_t i = 0; i < registry.ids.size(); ++i) {
        if (registry.ids[i] != module) continue;
        if (const char* text = registry.translators[i](status)) return text;
    }
    return fallback_text(status);
}

CommandResult::CommandResult(int status) : status(status) {}

CommandResult::CommandResult(int status, const QRSTR& subject, const QRSTR& operation)
    : status(status),
      subject(subject.ptr(), static_cast<size_t>(subject.length())),
      operation(operation.ptr(), static_cast<size_t>(operation.length())) {}

bool CommandResult::is_success() const {
    return ::is_success(status);
}
bool CommandResult::is_error() const {
    return ::is_error(status);
}
