// The library's own log calls. Every source file of the library logs through
// the source "basiclib"; QOR_LOG asks it first and builds nothing when the
// level is filtered out:
//
//   QOR_LOG(QOR_LOGLEVEL_ERROR, "rename failed").add("path", path).addErrno();
#ifndef QORBASIC_SRC_LOGGING_LIBRARY_LOG_H
#define QORBASIC_SRC_LOGGING_LIBRARY_LOG_H

#include "qorbasic/log.h"

namespace qor {
namespace detail {

// The "basiclib" source of the process-wide input side, which is built on
// the first call.
BasicLog::Source* library_source();

// Called once by the process-wide holder, while it is built.
void remember_library_source(BasicLog::Source* source);

}  // namespace detail
}  // namespace qor

#define QOR_LOG(level, text) QOR_LOG_AT(::qor::detail::library_source(), level, text)
// The same, naming the file and function the line reports.
#define QOR_LOG_SITE(level, text, file, function) \
    QOR_LOG_AT_SITE(::qor::detail::library_source(), level, text, file, function)

#endif  // QORBASIC_SRC_LOGGING_LIBRARY_LOG_H
