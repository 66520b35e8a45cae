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

#define QOR_LOG(level, text)                                                                    \
    if (!::qor::detail::library_source()->would_send(level)) {                                  \
    } else                                                                                      \
        ::BasicLog::LogMessageBuilder(::qor::detail::library_source()->receiver(),              \
                                      ::qor::detail::library_source()->name().c_str(), (level), \
                                      (text), __FILE__, __func__)

#endif  // QORBASIC_SRC_LOGGING_LIBRARY_LOG_H
