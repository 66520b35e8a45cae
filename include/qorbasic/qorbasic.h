// libqorbasic, everything at once: include this header, or the one header
// of the family you need.
#ifndef QORBASIC_QORBASIC_H
#define QORBASIC_QORBASIC_H

#include "qorbasic/actors.h"
#include "qorbasic/config.h"
#include "qorbasic/export.h"
#include "qorbasic/files.h"
#include "qorbasic/fileutils_flat.h"
#include "qorbasic/guards.h"
#include "qorbasic/json.h"
#include "qorbasic/json_validator.h"
#include "qorbasic/lock.h"
#include "qorbasic/log.h"
#include "qorbasic/net.h"
#include "qorbasic/numbers.h"
#include "qorbasic/panic.h"
#include "qorbasic/profiles.h"
#include "qorbasic/queues.h"
#include "qorbasic/signals.h"
#include "qorbasic/status.h"
#include "qorbasic/strings.h"
#include "qorbasic/tasks.h"
#include "qorbasic/text.h"
#include "qorbasic/threads.h"
#include "qorbasic/timeutils.h"
#include "qorbasic/url.h"

#endif  // QORBASIC_QORBASIC_H
