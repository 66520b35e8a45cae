// The per-thread marker of the log path (see log_path.h).
#include "logging/log_path.h"

namespace {

thread_local int t_log_path_depth = 0;

}  // namespace

namespace qor {
namespace detail {

bool thread_in_log_path() {
    return t_log_path_depth > 0;
}

LogPathMark::LogPathMark() : depth_(&t_log_path_depth) {
    ++*depth_;
}

}  // namespace detail
}  // namespace qor
